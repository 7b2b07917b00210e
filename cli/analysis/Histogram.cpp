#include "cli/analysis/Histogram.h"

#include <algorithm>
#include <cmath>

namespace analysis {

void Histogram::add(const Plane& plane) {
  // Two tables in turn: neighbours are often equal, and one table would wait for its own last store.
  std::vector<std::uint32_t> even(values);
  std::vector<std::uint32_t> odd(values);
  const std::size_t pairs = plane.samples.size() / 2;
  const std::uint16_t* sample = plane.samples.data();
  for (std::size_t i = 0; i < pairs; ++i, sample += 2) {
    ++even[sample[0]];
    ++odd[sample[1]];
  }
  if (plane.samples.size() % 2 != 0) ++even[*sample];
  for (std::size_t value = 0; value < values; ++value) {
    counts_[value] += std::uint64_t{even[value]} + odd[value];
  }
}

Values Histogram::describe(Levels levels, unsigned bits) const {
  Values result;
  std::uint64_t sum = 0;
  std::uint64_t black = 0;
  std::uint64_t saturated = 0;
  const std::uint16_t largest = fullRange(bits).white;
  for (std::size_t value = 0; value < values; ++value) {
    const std::uint64_t count = counts_[value];
    if (count == 0) continue;
    if (result.count == 0) result.least = static_cast<std::uint16_t>(value);
    result.greatest = static_cast<std::uint16_t>(value);
    result.count += count;
    sum += count * value;
    if (value <= levels.black) black += count;
    if (value >= levels.white) saturated += count;
    if (value > largest) result.beyondDepth += count;
  }
  if (result.count == 0) return result;
  const auto total = static_cast<double>(result.count);
  result.mean = static_cast<double>(sum) / total;
  double squares = 0;
  for (std::size_t value = result.least; value <= result.greatest; ++value) {
    const double deviation = static_cast<double>(value) - result.mean;
    squares += static_cast<double>(counts_[value]) * deviation * deviation;
  }
  result.sigma = std::sqrt(squares / total);
  result.blackShare = static_cast<double>(black) / total;
  result.saturatedShare = static_cast<double>(saturated) / total;
  return result;
}

std::vector<std::uint64_t> Histogram::bins(unsigned bits) const {
  const std::size_t range = std::size_t{fullRange(bits).white} + 1;
  const std::size_t count = std::min<std::size_t>(range, 256);
  const std::size_t width = range / count;
  std::vector<std::uint64_t> result(count);
  for (std::size_t value = 0; value < values; ++value) {
    result[std::min(value / width, count - 1)] += counts_[value];
  }
  return result;
}

}  // namespace analysis
