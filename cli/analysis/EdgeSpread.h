// The course of an edge across itself, four values a pixel, and its spectrum.
#pragma once

#include <optional>
#include <vector>

#include "cli/analysis/EdgeGrid.h"

namespace analysis {

// What lies flat on both sides of the edge.
struct EdgeSides {
  double low = 0;
  double high = 0;
  double noise = 0;  // standard deviation about a plane through each side
  double unevenness =
      0;  // how far the brighter side falls or rises across the edge, of the step between the sides
};

// Nothing when a side has too few samples.
std::optional<EdgeSides> edgeSides(const EdgeGrid& grid, const EdgeLine& line);

struct EdgeSpread {
  static constexpr double oversampling = 4;

  std::vector<double> values;  // the middle one lies on the edge
  std::size_t emptyBins = 0;
  std::size_t rows = 0;  // that were used

  std::size_t middle() const { return values.size() / 2; }

  // From the edge, in pixels.
  double distance(std::size_t index) const {
    return (static_cast<double>(index) - static_cast<double>(middle())) / oversampling;
  }
};

// A whole number of times that the edge crosses the pitch, so that all bins are filled alike.
EdgeSpread edgeSpread(const EdgeGrid& grid, const EdgeLine& line);

// The distance over which the edge goes from a tenth to nine tenths.
double riseOf(const EdgeSpread& spread, const EdgeSides& sides);

// The spatial frequency response of an edge; `at` is in cycles a pixel.
class EdgeResponse {
 public:
  explicit EdgeResponse(const EdgeSpread& spread);

  double at(double frequency) const;

  // The least frequency at which the response has fallen to one half. Nothing when it has not at 1.2 cycles a
  // pixel: no real edge is so sharp.
  std::optional<double> half() const;

 private:
  std::vector<double> line_;  // the derivative, through its window
  double sum_ = 0;
};

}  // namespace analysis
