// The parameters of the loops over YUYV groups.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvexa::convert {

enum class YuyvOrder { lumaFirst, chromaFirst };  // Y0 U Y1 V; U Y0 V Y1

// The pixel formats, by their codes in the interface.
constexpr std::uint32_t yuyvFormatRgb888 = 10;
constexpr std::uint32_t yuyvFormatRgb565 = 11;
constexpr std::uint32_t yuyvFormatRgb555 = 12;

// Weights in units of 1/1024.
struct IntegerWeights {
  std::uint32_t luma;
  std::uint32_t redOfV;
  std::uint32_t greenOfU;
  std::uint32_t greenOfV;
  std::uint32_t blueOfU;
  std::uint32_t redOffset;
  std::uint32_t greenOffset;
  std::uint32_t blueOffset;
};

struct DoubleWeights {
  double lumaOffset;
  double luma;
  double redOfV;
  double greenOfU;
  double greenOfV;
  double blueOfU;
};

// The sums in single precision, in units of 2^-16 of a channel's value of 8 bits: weights of Y, U, V for red,
// green, blue and a constant each. They are never above the sums in doubles, and where their lower 16 bits
// are at most the limit, the whole numbers above these bits are the same.
struct YuyvEstimate {
  bool isUsable = false;  // if not, everything is computed in doubles
  float weights[3][3];
  float constants[3];
  int limit;
};

struct YuyvParameters {
  unsigned extraBits = 0;  // of a sample beyond 8
  const IntegerWeights* integerWeights = nullptr;
  DoubleWeights doubleWeights{};
  double matrix[12] = {};  // the constants already scaled
  YuyvEstimate estimate;
};

// Converts as many groups as it can, which it returns; source and pixels are those of the first group.
using YuyvLoop = std::size_t (*)(const std::uint8_t* source, std::uint8_t* pixels, std::size_t groups,
                                 const YuyvParameters& parameters);

}  // namespace kvexa::convert
