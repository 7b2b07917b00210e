// Content, kernels and matrices for the conversion tests.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "Adversary.h"
#include "Converters.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {

using KernelBlock = std::array<double, 108>;
using ColourMatrix = std::array<double, 13>;

// Samples of one character: any value at all; only values of the depth; black and white alone; nearly flat.
enum class Content { anything, inRange, extremes, flat };
constexpr Content allContents[] = {Content::anything, Content::inRange, Content::extremes, Content::flat};

inline std::vector<std::uint8_t> samplesOf(RandomSource& random, std::size_t byteCount,
                                           std::size_t sampleBytes, std::uint32_t bits, Content content) {
  auto bytes = random.bytes(byteCount);
  const std::uint32_t largest = (1U << bits) - 1;
  const std::uint32_t level = random.word() & largest;
  for (std::size_t i = 0; i + sampleBytes <= byteCount; i += sampleBytes) {
    std::uint32_t value = bytes[i] | (sampleBytes == 2 ? bytes[i + 1] * 256U : 0U);
    if (content == Content::inRange) value &= largest;
    if (content == Content::extremes) value = value & 1 ? largest : 0;
    if (content == Content::flat) value = level ^ (value & 1);
    bytes[i] = static_cast<std::uint8_t>(value);
    if (sampleBytes == 2) bytes[i + 1] = static_cast<std::uint8_t>(value >> 8);
  }
  return bytes;
}

inline std::string nameOfConverter(const testing::TestParamInfo<std::size_t>& info) {
  return allConverters()[info.param].name;
}

// The converters that something is true of, for tests that concern only these.
template <typename Predicate>
std::vector<std::size_t> convertersThat(const Predicate& predicate) {
  std::vector<std::size_t> indices;
  for (std::size_t i = 0; i < allConverters().size(); ++i) {
    if (predicate(allConverters()[i])) indices.push_back(i);
  }
  return indices;
}

inline auto everyConverter() {
  return testing::ValuesIn(convertersThat([](const Converter&) { return true; }));
}

inline double between(RandomSource& random, double low, double high) {
  const double unit = random.word() / 65536.0 + random.word() / 65536.0 / 65536.0;
  return low + (high - low) * unit;
}

// Kernels of one character: any weights; quarters, as bilinear demosaicing has; ninths, whose sums crowd
// whole numbers; the sample itself; sums near and beyond the ends; infinities, not-a-numbers, extremes.
enum class Weights { any, quarters, ninths, identity, wide, special, tiny };
constexpr Weights allWeights[] = {Weights::any,  Weights::quarters, Weights::ninths, Weights::identity,
                                  Weights::wide, Weights::special,  Weights::tiny};

inline double weightOf(RandomSource& random, Weights weights, std::size_t position) {
  static constexpr double infinity = std::numeric_limits<double>::infinity();
  static constexpr double specials[] = {infinity,      -infinity, std::numeric_limits<double>::quiet_NaN(),
                                        1e300,         -1e300,    4e9 / 255,
                                        -2147483648.0, 5e-324};
  switch (weights) {
    case Weights::any: return between(random, -0.6, 0.8);
    case Weights::quarters: return (random.below(7) - 2.0) / 4;
    case Weights::ninths: return 1.0 / 9;
    case Weights::identity: return position == 4 ? 1.0 : 0.0;
    case Weights::wide: return between(random, -40.0, 40.0);
    case Weights::special: return random.below(12) == 0 ? specials[random.below(8)] : between(random, -1, 1);
    case Weights::tiny: return std::ldexp(between(random, -1, 1), -static_cast<int>(random.below(1100)));
  }
  return 0.0;
}

inline KernelBlock kernelsOf(RandomSource& random, Weights weights) {
  KernelBlock block;
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = weightOf(random, weights, i % 9);
  equaliseChannels(random, block.data());
  return block;
}

inline ColourMatrix matrixOf(RandomSource& random, Weights weights) {
  ColourMatrix matrix;
  for (std::size_t i = 0; i < matrix.size(); ++i) matrix[i] = weightOf(random, weights, i % 4 + 4);
  for (std::size_t i = 3; i < 12; i += 4) matrix[i] = matrix[i] * 100 - 50;
  return matrix;
}

}  // namespace kvexa::test
