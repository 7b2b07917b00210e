#include "sim/sensor/Scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace sim {

namespace {

// The source pixels that one target pixel sees along one axis, and how much of each.
struct Taps {
  unsigned first = 0;
  std::vector<float> weights;  // sum 1
};

Taps averageTaps(double from, double to, unsigned size) {
  const auto first = static_cast<unsigned>(std::clamp(std::floor(from), 0.0, size - 1.0));
  const auto last = static_cast<unsigned>(std::clamp(std::ceil(to) - 1, double(first), size - 1.0));
  Taps taps{first, {}};
  double sum = 0;
  for (unsigned i = first; i <= last; ++i)
    sum += std::max(std::min(to, i + 1.0) - std::max(from, double(i)), 1e-9);
  for (unsigned i = first; i <= last; ++i) {
    const double covered = std::max(std::min(to, i + 1.0) - std::max(from, double(i)), 1e-9);
    taps.weights.push_back(static_cast<float>(covered / sum));
  }
  return taps;
}

Taps interpolationTaps(double centre, unsigned size) {
  const double position = std::clamp(centre - 0.5, 0.0, size - 1.0);
  const auto first = static_cast<unsigned>(position);
  const auto share = static_cast<float>(position - first);
  if (first + 1 >= size) return {first, {1.0F}};
  return {first, {1.0F - share, share}};
}

// `scale` source pixels go into a target pixel; the first target pixel begins at `offset`.
std::vector<Taps> axis(unsigned targetSize, unsigned sourceSize, double offset, double scale) {
  std::vector<Taps> all;
  all.reserve(targetSize);
  for (unsigned i = 0; i < targetSize; ++i) {
    const double from = offset + i * scale;
    all.push_back(scale > 1 ? averageTaps(from, from + scale, sourceSize)
                            : interpolationTaps(from + scale / 2, sourceSize));
  }
  return all;
}

using Sum = std::array<float, 3>;

void addScaled(Sum& sum, Colour colour, float weight) {
  sum[0] += weight * static_cast<float>(colour.red);
  sum[1] += weight * static_cast<float>(colour.green);
  sum[2] += weight * static_cast<float>(colour.blue);
}

std::uint8_t rounded(float value) {
  return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}  // namespace

Scene::Scene(unsigned width, unsigned height, std::vector<Colour> pixels)
    : width_(width), height_(height), pixels_(std::move(pixels)) {
  if (width == 0 || height == 0 || pixels_.size() != std::uint64_t{width} * height) {
    throw SceneError("a scene needs width * height pixels");
  }
}

std::shared_ptr<const Scene> Scene::plain(Colour colour) {
  return std::make_shared<const Scene>(1U, 1U, std::vector<Colour>{colour});
}

std::vector<Colour> Scene::render(unsigned width, unsigned height) const {
  std::vector<Colour> target(std::size_t{width} * height);
  if (target.empty()) return target;
  if (pixels_.size() == 1) {
    std::fill(target.begin(), target.end(), pixels_.front());
    return target;
  }
  const double scale = std::min(double(width_) / width, double(height_) / height);
  const std::vector<Taps> columns = axis(width, width_, (width_ - scale * width) / 2, scale);
  const std::vector<Taps> rows = axis(height, height_, (height_ - scale * height) / 2, scale);

  std::vector<Sum> mixed(width_);  // the source rows of one target row
  Colour* out = target.data();
  for (const Taps& row : rows) {
    std::fill(mixed.begin(), mixed.end(), Sum{});
    for (std::size_t i = 0; i < row.weights.size(); ++i) {
      const Colour* source = pixels_.data() + std::size_t{width_} * (row.first + i);
      for (unsigned x = 0; x < width_; ++x) addScaled(mixed[x], source[x], row.weights[i]);
    }
    for (const Taps& column : columns) {
      Sum sum{};
      for (std::size_t i = 0; i < column.weights.size(); ++i) {
        const Sum& pixel = mixed[column.first + i];
        for (std::size_t c = 0; c < sum.size(); ++c) sum[c] += column.weights[i] * pixel[c];
      }
      *out++ = {rounded(sum[0]), rounded(sum[1]), rounded(sum[2])};
    }
  }
  return target;
}

}  // namespace sim
