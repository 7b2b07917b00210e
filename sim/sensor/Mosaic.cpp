#include "sim/sensor/Mosaic.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace sim {

namespace {

constexpr auto red = BayerColour::red;
constexpr auto green = BayerColour::green;
constexpr auto blue = BayerColour::blue;

// The top left 2x2 cell of each pattern, row by row.
constexpr std::array<std::array<BayerColour, 4>, 4> cells = {{
    {green, red, blue, green},
    {red, green, green, blue},
    {blue, green, green, red},
    {green, blue, red, green},
}};

std::uint8_t through(BayerColour filter, Colour colour) {
  if (filter == red) return colour.red;
  return filter == green ? colour.green : colour.blue;
}

// White stays white: the upper bits fill the new lower ones.
std::uint16_t widen(unsigned value, unsigned bits) {
  return static_cast<std::uint16_t>(value << (bits - 8) | value >> (16 - bits));
}

std::uint8_t toByte(double value) {
  return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

void drawBayerRow(const SensorPicture& picture, unsigned y, const Colour* row, std::uint16_t* out) {
  for (unsigned x = 0; x < picture.width; ++x) {
    out[x] = widen(through(bayerColour(picture.pattern, x, y), row[x]), picture.bits);
  }
}

// A pair of pixels shares the mean of its chroma; a last odd pixel pairs with itself.
void drawYuvRow(const SensorPicture& picture, const Colour* row, std::uint16_t* out) {
  const unsigned shift = picture.bits - 8;
  for (unsigned x = 0; x < picture.width; ++x) {
    const unsigned first = x & ~1U;
    const Yuv a = toYuv(row[first]);
    const Yuv b = toYuv(row[std::min(first + 1, picture.width - 1)]);
    const int chroma = x == first ? (a.u + b.u + 1) / 2 : (a.v + b.v + 1) / 2;
    out[2 * x] = static_cast<std::uint16_t>(chroma << shift);
    out[2 * x + 1] = static_cast<std::uint16_t>((x == first ? a.y : b.y) << shift);
  }
}

std::uint64_t mix(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

// Random numbers for neighbouring samples at a time, in steps that the compiler vectorises.
class NoiseLanes {
 public:
  static constexpr std::size_t count = 16;

  explicit NoiseLanes(std::uint64_t seed) {
    for (std::uint32_t& state : states_) {
      seed = mix(seed);
      state = static_cast<std::uint32_t>(seed) | 1;  // a lane of zeros would stay so
    }
  }

  void step() {
    for (std::uint32_t& state : states_) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
    }
  }

  // From -amplitude to amplitude, evenly; an amplitude has up to 16 bits.
  int noise(std::size_t lane, int amplitude) const {
    constexpr unsigned bits = 14;  // a number of so many bits times the span fits a word
    const std::uint32_t span = 2 * static_cast<std::uint32_t>(amplitude) + 1;
    return static_cast<int>((states_[lane] >> (32 - bits)) * span >> bits) - amplitude;
  }

 private:
  std::uint32_t states_[count];
};

}  // namespace

BayerColour bayerColour(unsigned pattern, unsigned x, unsigned y) {
  return cells[pattern & 3][(y & 1) * 2 + (x & 1)];
}

Yuv toYuv(Colour colour) {
  const double r = colour.red;
  const double g = colour.green;
  const double b = colour.blue;
  return {toByte(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255),
          toByte(128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255),
          toByte(128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255)};
}

Colour toColour(Yuv yuv) {
  const double y = 1.164383 * (yuv.y - 16);
  const double u = yuv.u - 128;
  const double v = yuv.v - 128;
  return {toByte(y + 1.596027 * v), toByte(y - 0.391762 * u - 0.812968 * v), toByte(y + 2.017232 * u)};
}

std::vector<std::uint16_t> drawSamples(const SensorPicture& picture) {
  const std::vector<Colour> pixels = picture.scene->render(picture.width, picture.height);
  const std::size_t rowLength = picture.samplesPerRow();
  std::vector<std::uint16_t> samples(rowLength * picture.height);
  for (unsigned y = 0; y < picture.height; ++y) {
    const Colour* row = pixels.data() + std::size_t{y} * picture.width;
    std::uint16_t* out = samples.data() + rowLength * y;
    if (picture.yuv) {
      drawYuvRow(picture, row, out);
    } else {
      drawBayerRow(picture, y, row, out);
    }
  }
  return samples;
}

void addNoise(const SensorPicture& picture, std::uint64_t number, std::vector<std::uint16_t>& samples) {
  if (picture.noise == 0) return;
  const int amplitude = static_cast<int>(picture.noise << (picture.bits - 8));
  const int white = static_cast<int>((1U << picture.bits) - 1);
  NoiseLanes lanes(mix(mix(picture.noiseSeed) ^ number));
  std::size_t at = 0;
  for (; at + NoiseLanes::count <= samples.size(); at += NoiseLanes::count) {
    lanes.step();
    for (std::size_t i = 0; i < NoiseLanes::count; ++i) {
      samples[at + i] =
          static_cast<std::uint16_t>(std::clamp(samples[at + i] + lanes.noise(i, amplitude), 0, white));
    }
  }
  lanes.step();
  for (std::size_t i = 0; at < samples.size(); ++i, ++at) {
    samples[at] = static_cast<std::uint16_t>(std::clamp(samples[at] + lanes.noise(i, amplitude), 0, white));
  }
}

void drawFrameNumber(const SensorPicture& picture, std::uint64_t number,
                     std::vector<std::uint16_t>& samples) {
  if (!picture.counter) return;
  const auto white = static_cast<std::uint16_t>((1U << picture.bits) - 1);
  const std::size_t rowLength = picture.samplesPerRow();
  const unsigned columns = std::min(picture.width, FrameCounter::cells * FrameCounter::cellSize);
  const unsigned rows = std::min(picture.height, FrameCounter::cellSize);
  for (unsigned y = 0; y < rows; ++y) {
    std::uint16_t* row = samples.data() + rowLength * y;
    for (unsigned x = 0; x < columns; ++x) {
      const unsigned bit = FrameCounter::cells - 1 - x / FrameCounter::cellSize;
      const bool lit = (number >> bit & 1) != 0;
      if (picture.yuv) {
        row[2 * x] = static_cast<std::uint16_t>(128U << (picture.bits - 8));
        row[2 * x + 1] = static_cast<std::uint16_t>((lit ? 235U : 16U) << (picture.bits - 8));
      } else {
        row[x] = lit ? white : std::uint16_t{0};
      }
    }
  }
}

}  // namespace sim
