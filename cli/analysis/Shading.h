// How a plane falls off from its centre to its corners.
#pragma once

#include <array>
#include <optional>

#include "cli/analysis/Mosaic.h"

namespace analysis {

struct Shading {
  double centre = 0;                // mean of the block in the middle, above black
  std::array<double, 4> corners{};  // of the centre: top left, top right, bottom left, bottom right
};

// By blocks of a tenth of the plane's width and height, at least one sample. Nothing when the centre is not
// brighter than black.
std::optional<Shading> shadingOf(const Plane& plane, Levels levels);

}  // namespace analysis
