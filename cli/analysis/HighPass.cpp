#include "cli/analysis/HighPass.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace analysis {

namespace {

constexpr std::uint32_t side = 5;
constexpr int area = side * side;

// Sum holds 25 samples, and 25 times one sample, with a sign.
template <class Sum, class Sample>
std::optional<double> varianceOf(const Sample* samples, std::uint32_t width, std::uint32_t height) {
  if (width < side || height < side) return std::nullopt;
  std::vector<Sum> columns(width);
  for (std::uint32_t y = 0; y < side - 1; ++y) {
    for (std::uint32_t x = 0; x < width; ++x)
      columns[x] += static_cast<Sum>(samples[std::size_t{y} * width + x]);
  }
  double sum = 0;
  double squares = 0;
  for (std::uint32_t y = 0; y + side <= height; ++y) {
    const Sample* first = samples + std::size_t{y} * width;
    const Sample* last = first + std::size_t{side - 1} * width;
    const Sample* middle = first + std::size_t{side / 2} * width;
    for (std::uint32_t x = 0; x < width; ++x) columns[x] += static_cast<Sum>(last[x]);
    Sum window = columns[0] + columns[1] + columns[2] + columns[3];
    for (std::uint32_t x = 0; x + side <= width; ++x) {
      window += columns[x + side - 1];
      const auto deviation = static_cast<double>(area * static_cast<Sum>(middle[x + side / 2]) - window);
      sum += deviation;
      squares += deviation * deviation;
      window -= columns[x];
    }
    for (std::uint32_t x = 0; x < width; ++x) columns[x] -= static_cast<Sum>(first[x]);
  }
  const double count = static_cast<double>(width - side + 1) * (height - side + 1);
  const double mean = sum / count;
  return (squares / count - mean * mean) / (area * area) * area / (area - 1);
}

}  // namespace

std::optional<double> highPassVariance(const Plane& plane) {
  return varianceOf<std::int32_t>(plane.samples.data(), plane.width, plane.height);
}

std::optional<double> highPassVariance(std::span<const std::uint32_t> sums, std::uint32_t width,
                                       std::uint32_t height) {
  return varianceOf<std::int64_t>(sums.data(), width, height);
}

std::optional<double> robustNoise(const Plane& plane) {
  if (plane.width < 2 || plane.height == 0) return std::nullopt;
  // A million differences tell as much as all.
  constexpr std::uint32_t enough = 1000000;
  const std::uint32_t step = std::max(1U, plane.height / std::max(1U, enough / plane.width));
  std::vector<std::uint32_t> counts(65536);
  std::uint64_t total = 0;
  for (std::uint32_t y = 0; y < plane.height; y += step) {
    const std::uint16_t* row = plane.row(y);
    for (std::uint32_t x = 1; x < plane.width; ++x)
      ++counts[static_cast<std::size_t>(std::abs(row[x] - row[x - 1]))];
    total += plane.width - 1;
  }
  // The median within its whole number: differences are rounded ones.
  const double half = static_cast<double>(total) / 2;
  double below = 0;
  std::size_t value = 0;
  while (below + counts[value] < half) below += counts[value++];
  const double width = value == 0 ? 0.5 : 1;
  const double start = value == 0 ? 0 : static_cast<double>(value) - 0.5;
  const double median = start + width * (half - below) / counts[value];
  constexpr double medianOfNormal = 0.67448975;  // of the absolute value, in standard deviations
  return median / medianOfNormal / std::sqrt(2.0);
}

}  // namespace analysis
