// Runs the loops of an instruction set over the groups of a frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/RowLoops.h"
#include "convert/yuyv/YuyvMethods.h"

namespace kvexa::convert {

// The sums of a method as plain weights, for an estimate; the order of terms is lost here.
struct AffineSums {
  double weights[3][3];
  double constants[3];
};

// The loop for the groups of a frame, and its parameters.
struct VectorisedYuyv {
  YuyvLoop loop = nullptr;
  YuyvParameters parameters;
  bool estimates = false;
  AffineSums sums{};

  // Converts as many groups as the loop can and returns how many.
  std::size_t run(const RowLoops& loops, const std::uint8_t* source, std::uint8_t* pixels, std::size_t groups,
                  std::size_t sampleBytes, std::size_t pixelBytes);
};

// order and format as indices: format less the first code.
VectorisedYuyv vectorisedOf(const RowLoops& loops, const IntegerMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format);
VectorisedYuyv vectorisedOf(const RowLoops& loops, const DoubleMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format);
VectorisedYuyv vectorisedOf(const RowLoops& loops, const MatrixMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format);

// The estimate for samples up to a value. Not usable where a sum could leave the range of the loops'
// integers, or is no number.
YuyvEstimate estimateOf(const AffineSums& sums, double largestSample, unsigned extraBits);

}  // namespace kvexa::convert
