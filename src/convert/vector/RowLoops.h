// What an instruction set provides: loops over a row. The converters go through the frame, let the loop do as
// much of each row as it can, and do the rest with the plain code, which defines the result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/FilterParameters.h"
#include "convert/vector/YuyvParameters.h"

namespace kvexa::convert {

// Interior pixels of one row of a Bayer mosaic, from column 1 on. Returns the first column that is left
// to do, at most width - 1.
using BayerRowLoop = std::size_t (*)(const std::uint8_t* above, const std::uint8_t* own,
                                     const std::uint8_t* below, std::uint8_t* output, std::size_t width,
                                     unsigned bits);

struct RowLoops {
  // By packing (565, 888), whether the row holds red, whether column 1 holds its red or blue.
  BayerRowLoop bayer8[2][2][2];
  // The same for 16-bit samples, first by whether they use more than 14 bits.
  BayerRowLoop bayer16[2][2][2][2];
  // The bits that any of the 16-bit samples has.
  std::uint32_t (*combinedBits16)(const std::uint8_t* samples, std::size_t count);
  // By order, then format less 10. Integer method: studio, full range.
  YuyvLoop yuyvInteger8[2][2][3];
  YuyvLoop yuyvInteger16[2][3];
  // The same by the bytes of a sample less 1, for the methods in doubles and for a matrix.
  YuyvLoop yuyvDouble[2][2][3];
  YuyvLoop yuyvMatrix[2][2][3];
  // By the bytes of a sample less 1, then packing (565, 888).
  FilterLoop filter[2][2];
  ExactFilterLoop filterExactly[2][2];
  // Samples as floats; returns the bits that any of them has.
  std::uint32_t (*widenSamples[2])(const std::uint8_t* samples, float* output, std::size_t count);
  void (*widenToDoubles)(const float* floats, double* output, std::size_t count);
};

extern const RowLoops scalarRowLoops;  // every entry null: no row is vectorised
#define INSTRUCTION_SET(name, vocabulary, needs) extern const RowLoops name##RowLoops;
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET

}  // namespace kvexa::convert
