// What one instruction set contributes: loops over a row. The converters walk the frame, ask the loop to do
// as much of each row as it can, and do the rest with the plain code that gives the meaning.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/FilterParameters.h"
#include "convert/vector/YuyvParameters.h"

namespace kvexa::convert {

// Interior pixels of one row of a Bayer mosaic, from column 1 on. Returns the first column that is left
// to do, at most width - 1.
using BayerRowKernel = std::size_t (*)(const std::uint8_t* above, const std::uint8_t* own,
                                       const std::uint8_t* below, std::uint8_t* output, std::size_t width,
                                       unsigned bits);

struct RowKernels {
  // By packing (565, 888), whether the row holds red, whether column 1 holds its red or blue.
  BayerRowKernel bayer8[2][2][2];
  // The same for 16-bit samples, first by whether they use more than 14 bits.
  BayerRowKernel bayer16[2][2][2][2];
  // The bits that any of the 16-bit samples has.
  std::uint32_t (*combinedBits16)(const std::uint8_t* samples, std::size_t count);
  // By order, then format less 10. Integer method: studio, full range.
  YuyvKernel yuyvInteger8[2][2][3];
  YuyvKernel yuyvInteger16[2][3];
  // The same by the bytes of a sample less 1, for the methods in doubles and for a matrix.
  YuyvKernel yuyvDouble[2][2][3];
  YuyvKernel yuyvMatrix[2][2][3];
  // By the bytes of a sample less 1, then packing (565, 888).
  FilterKernel filter[2][2];
  ExactFilterKernel filterExactly[2][2];
  // Samples as floats; returns the bits that any of them has.
  std::uint32_t (*widenSamples[2])(const std::uint8_t* samples, float* output, std::size_t count);
  void (*widenToDoubles)(const float* floats, double* output, std::size_t count);
};

extern const RowKernels scalarRowKernels;  // every entry null: nothing is done ahead
extern const RowKernels sse2RowKernels;
extern const RowKernels sse41RowKernels;
extern const RowKernels avx2RowKernels;
extern const RowKernels avx512RowKernels;

}  // namespace kvexa::convert
