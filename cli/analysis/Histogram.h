// Values of one plane: counted one by one, so that sums are exact whatever the size of the frame.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/analysis/Mosaic.h"

namespace analysis {

struct Values {
  std::uint64_t count = 0;
  std::uint16_t least = 0;
  std::uint16_t greatest = 0;
  double mean = 0;
  double sigma = 0;               // of the samples themselves: the root of their mean squared deviation
  double blackShare = 0;          // samples at the black level or below
  double saturatedShare = 0;      // samples at the white level or above
  std::uint64_t beyondDepth = 0;  // samples that do not fit into the depth
};

class Histogram {
 public:
  static constexpr std::size_t values = 65536;

  Histogram() : counts_(values) {}

  void add(const Plane& plane);
  Values describe(Levels levels, unsigned bits) const;
  std::uint64_t countOf(std::size_t value) const { return counts_[value]; }

  // At most 256 bins of equal width over the values of the depth; what lies beyond goes into the last one.
  std::vector<std::uint64_t> bins(unsigned bits) const;

 private:
  std::vector<std::uint64_t> counts_;
};

}  // namespace analysis
