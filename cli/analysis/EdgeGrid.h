// The samples around one edge, turned so that the edge runs from top to bottom.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cli/analysis/Mosaic.h"

namespace analysis {

struct Region {
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// Whether it is not empty and inside the frame.
bool isInside(const Region& region, const Mosaic& mosaic);

// Samples of one channel, or of all, at their true places: pixels from the region's first one, after the
// turn.
struct EdgeGrid {
  double pitch = 1;
  double firstX = 0;
  double firstY = 0;
  double sizeX = 0;  // of the whole region
  double sizeY = 0;
  std::size_t columns = 0;
  std::size_t rows = 0;
  std::vector<double> values;  // above black
  std::size_t clipped = 0;     // samples at 0, or at the white level or above

  double x(std::size_t column) const { return firstX + pitch * static_cast<double>(column); }
  double y(std::size_t row) const { return firstY + pitch * static_cast<double>(row); }
  double* row(std::size_t index) { return values.data() + index * columns; }
  const double* row(std::size_t index) const { return values.data() + index * columns; }
};

// Whether the edge in the region runs more across than down.
bool runsAcross(const Mosaic& mosaic, const Region& region);

// Without a channel: all samples of the region.
EdgeGrid edgeGrid(const Mosaic& mosaic, Levels levels, const Region& region, std::optional<Channel> channel,
                  bool turned);

// The place of the edge: x = offset + slope * t + curvature * t^2, where t is y from the region's middle.
struct EdgeLine {
  double offset = 0;
  double slope = 0;
  double curvature = 0;
  double residual = 0;  // pixels, root of the mean square of the rows' places
  double middle = 0;    // the y of t = 0

  double at(double y) const {
    const double t = y - middle;
    return offset + (slope + curvature * t) * t;
  }
};

// Nothing where rows have no step, or the edge leaves the region.
std::optional<EdgeLine> fitLine(const EdgeGrid& grid);

// Keeps noise out that is far from the edge: 1 over the inner half of the reach, then falling as a cosine to
// 0.
double edgeWindow(double distance, double reach);

// How far the line stays from the region's left and right side, in all rows.
double reachOf(const EdgeGrid& grid, const EdgeLine& line);

}  // namespace analysis
