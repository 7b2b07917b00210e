// Single samples that are far from their neighbours.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/analysis/Mosaic.h"

namespace analysis {

struct Defect {
  Channel channel = Channel::grey;
  std::uint32_t x = 0;  // in the frame
  std::uint32_t y = 0;
  std::uint16_t value = 0;
  std::uint16_t expected = 0;  // the median of the eight neighbours of its colour

  bool isHigh() const { return value > expected; }
};

struct Outliers {
  // A sample counts when it differs by more than this: a share of the range, but never less than the noise
  // explains.
  double threshold = 0;
  std::vector<Defect> defects;  // by rows
  bool tooMany = false;         // more than one in a thousand: the scene is not flat; the list is empty
};

// Neighbours beyond the border are those on the other side of the sample. `share` of the range between the
// levels is the least difference that counts.
Outliers findOutliers(const Plane& plane, Levels levels, double share);

}  // namespace analysis
