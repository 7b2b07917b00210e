// The equations from Y, U, V to red, green, blue. Each gives channels of 8 bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/Truncation.h"
#include "convert/vector/YuyvParameters.h"

namespace kvexa::convert {

struct RgbPixel {
  std::uint32_t red;
  std::uint32_t green;
  std::uint32_t blue;
};

constexpr IntegerWeights integerStudioWeights{1192, 1634, 401, 832, 2065, 228224, 138752, 283392};
constexpr IntegerWeights integerFullWeights{1024, 1436, 352, 731, 1815, 183763, 138674, 232259};

// Sums are unsigned and clamped at both ends. extraBits is how many bits a sample has beyond 8.
struct IntegerMethod {
  IntegerWeights weights;
  unsigned extraBits;

  std::uint32_t channel(std::uint32_t added, std::uint32_t subtracted) const {
    if (added < subtracted) return 0;
    const std::uint32_t sum = added - subtracted;
    if (sum >= 0x40000U << extraBits) return 255;
    return (sum >> extraBits) >> 10;
  }

  RgbPixel pixel(std::uint32_t y, std::uint32_t u, std::uint32_t v) const {
    const std::uint32_t luma = weights.luma * y;
    return {channel(luma + weights.redOfV * v, weights.redOffset << extraBits),
            channel(luma + (weights.greenOffset << extraBits), weights.greenOfU * u + weights.greenOfV * v),
            channel(luma + weights.blueOfU * u, weights.blueOffset << extraBits)};
  }
};

// A double to a channel of 8 bits; what is not a number counts as the integer that it truncates to.
inline std::uint32_t clampedChannel(double value, unsigned extraBits) {
  if (value < 0.0) return 0;
  if (value > static_cast<double>((256U << extraBits) - 1)) return 255;
  return truncateToWord(value) >> extraBits & 0xFF;
}

constexpr DoubleWeights doubleStudioWeights{16.0, 1.164, 1.596, 0.392, 0.813, 2.017};
constexpr DoubleWeights doubleFullWeights{0.0, 1.0, 1.402, 0.344, 0.714, 1.772};

struct DoubleMethod {
  DoubleWeights weights;
  unsigned extraBits;

  // The offset of the luma is not scaled with the depth of the samples, by intent; that of the chroma is.
  RgbPixel pixel(std::uint32_t y, std::uint32_t u, std::uint32_t v) const {
    const double centre = static_cast<double>(128U << extraBits);
    const double luma = (y - weights.lumaOffset) * weights.luma;
    const double du = u - centre;
    const double dv = v - centre;
    return {clampedChannel(luma + weights.redOfV * dv, extraBits),
            clampedChannel(luma - weights.greenOfU * du - weights.greenOfV * dv, extraBits),
            clampedChannel(luma + weights.blueOfU * du, extraBits)};
  }
};

struct MatrixMethod {
  std::array<double, 12> weights;  // the constants already scaled
  unsigned extraBits;

  MatrixMethod(const std::array<double, 13>& matrix, unsigned extraBitsOfSamples)
      : extraBits(extraBitsOfSamples) {
    const double scale = matrix[12] * static_cast<double>(1U << extraBits);
    for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = i % 4 == 3 ? scale * matrix[i] : matrix[i];
  }

  std::uint32_t channel(std::size_t first, double y, double u, double v) const {
    const double sum =
        weights[first] * y + weights[first + 1] * u + weights[first + 2] * v + weights[first + 3];
    return clampedChannel(sum, extraBits);
  }

  RgbPixel pixel(std::uint32_t y, std::uint32_t u, std::uint32_t v) const {
    return {channel(0, y, u, v), channel(4, y, u, v), channel(8, y, u, v)};
  }
};

}  // namespace kvexa::convert
