#include "sim/sensor/Delivery.h"

#include <algorithm>
#include <cstring>

#include "sim/sensor/Mosaic.h"

namespace sim {

namespace {

std::uint64_t kept(unsigned from, unsigned to, unsigned step) {
  return to <= from ? 0 : (std::uint64_t{to} - from + step - 1) / step;
}

unsigned samplesPerColumn(const Delivery& delivery, bool yuv) {
  return yuv && (delivery.packed || delivery.yuvToRgb) ? 2 : 1;
}

constexpr Yuv black;

// The captured area over the sensor's samples; what is outside the sensor is black.
class Area {
 public:
  Area(const Delivery& delivery, const SensorPicture& picture, const std::vector<std::uint16_t>& samples)
      : delivery_(delivery), picture_(picture), samples_(samples) {}

  std::uint16_t sample(unsigned column, unsigned line) const {
    const std::uint64_t x = std::uint64_t{delivery_.left} + column;
    const std::uint64_t y = std::uint64_t{delivery_.top} + line;
    return at(x, y);
  }

  // The two samples of a YUV pixel.
  std::uint16_t half(unsigned column, unsigned line, unsigned which) const {
    const std::uint64_t x = 2 * (std::uint64_t{delivery_.left} + column) + which;
    const std::uint64_t y = std::uint64_t{delivery_.top} + line;
    return at(x, y);
  }

  std::uint8_t sample8(unsigned column, unsigned line) const {
    return static_cast<std::uint8_t>(sample(column, line) >> (picture_.bits - 8));
  }

  std::uint8_t half8(unsigned column, unsigned line, unsigned which) const {
    return static_cast<std::uint8_t>(half(column, line, which) >> (picture_.bits - 8));
  }

  // The neighbouring samples of a line from a place on; null when some of them are outside the sensor.
  const std::uint16_t* row(std::uint64_t first, std::size_t count, unsigned line) const {
    const std::uint64_t y = std::uint64_t{delivery_.top} + line;
    const std::size_t rowLength = picture_.samplesPerRow();
    if (first + count > rowLength || y >= picture_.height) return nullptr;
    return samples_.data() + static_cast<std::size_t>(y * rowLength + first);
  }

  unsigned columns() const { return delivery_.right - delivery_.left; }
  unsigned lines() const { return delivery_.bottom - delivery_.top; }

 private:
  std::uint16_t at(std::uint64_t x, std::uint64_t y) const {
    const std::size_t rowLength = picture_.samplesPerRow();
    if (x < rowLength && y < picture_.height) return samples_[static_cast<std::size_t>(y * rowLength + x)];
    if (!picture_.yuv) return 0;
    return static_cast<std::uint16_t>(((x & 1) != 0 ? black.y : black.u) << (picture_.bits - 8));
  }

  const Delivery& delivery_;
  const SensorPicture& picture_;
  const std::vector<std::uint16_t>& samples_;
};

class Writer {
 public:
  explicit Writer(std::size_t bytes) { out_.reserve(bytes); }

  void byte(unsigned value) { out_.push_back(static_cast<std::uint8_t>(value & 0xFF)); }

  void word(unsigned value) {
    byte(value);
    byte(value >> 8);
  }

  void rgb565(Colour colour) {
    word(static_cast<unsigned>(colour.red >> 3 << 11 | colour.green >> 2 << 5 | colour.blue >> 3));
  }

  // So many bytes, which the caller fills.
  std::uint8_t* room(std::size_t bytes) {
    out_.resize(out_.size() + bytes);
    return out_.data() + out_.size() - bytes;
  }

  std::vector<std::uint8_t> take() { return std::move(out_); }

 private:
  std::vector<std::uint8_t> out_;
};

unsigned shifted(std::uint16_t sample, int shift) {
  if (shift >= 16 || shift <= -16) return 0;
  return shift >= 0 ? static_cast<unsigned>(sample) << shift : static_cast<unsigned>(sample) >> -shift;
}

// The same for a row of samples.
void putBytes(const std::uint16_t* samples, std::size_t count, int shift, std::uint8_t* out) {
  if (shift >= 0) {
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(samples[i] << shift);
  } else {
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(samples[i] >> -shift);
  }
}

void putWords(const std::uint16_t* samples, std::size_t count, int shift, std::uint8_t* out) {
  for (std::size_t i = 0; i < count; ++i) {
    const int value = shift >= 0 ? samples[i] << shift : samples[i] >> -shift;
    const auto word = static_cast<std::uint16_t>(value);  // the low byte first, as in this computer's memory
    std::memcpy(out + 2 * i, &word, sizeof word);
  }
}

// The other one of a pair of neighbours; at the far rim the one before, whose colour is the same.
unsigned neighbour(unsigned position, unsigned count) {
  const unsigned other = position ^ 1U;
  if (other < count) return other;
  return position == 0 ? 0 : position - 1;
}

// Nearest-neighbour demosaic within the pixel's 2x2 cell.
Colour demosaic(const Area& area, unsigned pattern, unsigned x, unsigned y) {
  const unsigned otherX = neighbour(x, area.columns());
  const unsigned otherY = neighbour(y, area.lines());
  const std::uint8_t own = area.sample8(x, y);
  const std::uint8_t beside = area.sample8(otherX, y);
  const std::uint8_t below = area.sample8(x, otherY);
  const std::uint8_t across = area.sample8(otherX, otherY);
  switch (bayerColour(pattern, x, y)) {
    case BayerColour::red: return {own, beside, across};
    case BayerColour::blue: return {across, beside, own};
    case BayerColour::green: break;
  }
  const bool redBeside = bayerColour(pattern, x + 1, y) == BayerColour::red;
  return redBeside ? Colour{beside, own, below} : Colour{below, own, beside};
}

Colour yuvPixel(const Area& area, unsigned x, unsigned y) {
  const unsigned first = x & ~1U;
  const unsigned second = first + 1 < area.columns() ? first + 1 : first;
  return toColour({area.half8(x, y, 1), area.half8(first, y, 0), area.half8(second, y, 0)});
}

}  // namespace

std::uint64_t Delivery::frameBytes(bool yuv) const {
  const std::uint64_t columns = kept(left, right, columnStep);
  const std::uint64_t lines = kept(top, bottom, lineStep);
  if (bayerToRgb || yuvToRgb) return columns * lines * 2;
  return columns * lines * samplesPerColumn(*this, yuv) * (narrow || packed ? 1 : 2);
}

std::vector<std::uint8_t> Delivery::bytes(const SensorPicture& picture,
                                          const std::vector<std::uint16_t>& samples) const {
  Writer writer(static_cast<std::size_t>(frameBytes(picture.yuv)));
  const Area area(*this, picture, samples);
  const bool pixelColumns = samplesPerColumn(*this, picture.yuv) == 2;
  const bool bytesOnly = narrow || packed;
  const auto put = [&](std::uint16_t sample) {
    bytesOnly ? writer.byte(shifted(sample, shift)) : writer.word(shifted(sample, shift));
  };
  // Most captures take whole rows as they are.
  const bool wholeRows =
      columnStep == 1 && !bayerToRgb && !yuvToRgb && shift > -16 && shift < 16 && left < right;
  const std::size_t perColumn = samplesPerColumn(*this, picture.yuv);
  const std::size_t rowSamples = wholeRows ? perColumn * (right - left) : 0;
  for (unsigned y = 0; top + y < bottom; y += lineStep) {
    const std::uint16_t* const row =
        wholeRows ? area.row(std::uint64_t{left} * perColumn, rowSamples, y) : nullptr;
    if (row != nullptr) {
      bytesOnly ? putBytes(row, rowSamples, shift, writer.room(rowSamples))
                : putWords(row, rowSamples, shift, writer.room(2 * rowSamples));
      continue;
    }
    for (unsigned x = 0; left + x < right; x += columnStep) {
      if (bayerToRgb) {
        writer.rgb565(demosaic(area, bayerPattern, x, y));
      } else if (yuvToRgb && picture.yuv) {
        writer.rgb565(yuvPixel(area, x, y));
      } else if (yuvToRgb) {
        writer.word(area.sample(x, y));
      } else if (pixelColumns) {
        put(area.half(x, y, 0));
        put(area.half(x, y, 1));
      } else {
        put(area.sample(x, y));
      }
    }
  }
  return writer.take();
}

}  // namespace sim
