// The parameters of the loops over filtered Bayer rows.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvexa::convert {

// Lanes of the widest supported vectors.
constexpr std::size_t mostFloatLanes = 16;
constexpr std::size_t mostDoubleLanes = 8;

// The kernels of one row: weights of two sites in turn, repeated over the lanes of a vector. Indices
// are channel (red, green, blue) times 9 plus the element of the kernel.
struct FilterWeights {
  alignas(64) float single[27][mostFloatLanes];
  alignas(64) double exact[27][mostDoubleLanes];
  // A sum in single precision and the one in doubles are never further apart than the slack.
  alignas(64) float lowestStart[3][mostFloatLanes];  // the slack, negative
  alignas(64) float span[3][mostFloatLanes];         // twice the slack
  double ceiling;
  unsigned bits;
  bool hasEqualChannels;  // all three have the same weights, so one sum serves them
};

// Rows of samples as floats or doubles, both of which represent them exactly. One column before and one after
// the pixels can be read.
template <typename Number>
struct RowsOf {
  const Number* above;
  const Number* own;
  const Number* below;
};
using FilterRows = RowsOf<float>;
using ExactRows = RowsOf<double>;

// Filters pixels of a row and returns how many were done: all, or all but the last. doubts is set to the
// number of vectors for which single precision was not precise enough.
using FilterLoop = std::size_t (*)(const FilterRows& rows, std::uint8_t* pixels, std::size_t count,
                                   const FilterWeights& weights, std::size_t& doubts);
// The same in doubles alone.
using ExactFilterLoop = std::size_t (*)(const ExactRows& rows, std::uint8_t* pixels, std::size_t count,
                                        const FilterWeights& weights);

}  // namespace kvexa::convert
