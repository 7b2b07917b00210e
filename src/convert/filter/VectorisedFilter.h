// Runs the loops of an instruction set over the interior of a filtered frame.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/FilterParameters.h"
#include "convert/vector/RowLoops.h"

namespace kvexa::convert {

// The kernels of one row for the loops, and how far their estimate can be trusted.
class FilterRowWeights {
 public:
  // Each site's three kernels of nine weights; first is the site of the even pixels of a row.
  FilterRowWeights(const double* firstSite, const double* secondSite, std::size_t sampleBytes, unsigned bits);

  // Sets the slack for samples up to a value. False when only doubles are precise enough.
  bool prepare(double largestSample);

  const FilterWeights& weights() const { return weights_; }

 private:
  FilterWeights weights_;
  double magnitudes_[3][2];  // sums of magnitudes, by channel and site
  double grid_;              // all weights are multiples of it; 0: not of any useful power of 2
  double largestSum_;
  double preparedFor_ = -1.0;
  bool isEstimable_ = false;
};

struct FilterFrame {
  const std::uint8_t* source;
  std::uint8_t* pixels;  // of row 1, column 1
  std::size_t width, height;
  std::size_t sampleBytes, pixelBytes;
  std::size_t pitch;  // pixels from one row to the next
};

// Filters the interior; returns how many of the first interior columns were done in all rows: all of them,
// all but the last, or none.
std::size_t filterVectorised(const FilterFrame& frame, const RowLoops& loops, FilterRowWeights& oddRows,
                             FilterRowWeights& evenRows);

}  // namespace kvexa::convert
