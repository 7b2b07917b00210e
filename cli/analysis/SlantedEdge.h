// Sharpness of a slanted edge.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "cli/analysis/EdgeGrid.h"
#include "cli/analysis/EdgeSpread.h"

namespace analysis {

// What spoils a measurement. docs/analysis.md has the limits.
enum class EdgeFlag {
  noEdge,
  angle,
  contrast,
  clipping,
  fewLines,
  noise,
  narrowRegion,
  emptyBins,
  unevenLight,
  notStraight,
  tooSharp
};

// One word for programs, and a sentence for people.
const char* nameOf(EdgeFlag flag);
const char* textOf(EdgeFlag flag);

struct EdgeResult {
  static constexpr double curveStep = 0.02;  // cycles a pixel
  static constexpr std::size_t curvePoints = 51;

  std::optional<Channel> channel;  // none: all pixels
  std::optional<double> sfr50;     // cycles a pixel
  double angle = 0;                // degrees from the nearer axis of the frame
  double place = 0;     // pixels along the axis that the edge crosses, from the region's side, in its middle
  double contrast = 0;  // (bright - dark) / (bright + dark)
  double noise = 0;     // of the step from dark to bright
  double cycles = 0;    // how often the edge crosses the pitch of the samples
  double rise = 0;      // pixels from a tenth to nine tenths
  double residual = 0;  // pixels
  std::vector<EdgeFlag> flags;
  std::vector<double> curve;  // from 0 to 1 cycle a pixel; empty without an edge
};

struct EdgeReport {
  Region region;
  bool across = false;              // the edge runs more across than down
  std::vector<EdgeResult> results;  // all pixels, then the colours of the mosaic
};

// The region is inside the frame.
EdgeReport measureEdge(const Mosaic& mosaic, Levels levels, const Region& region);

// The region of the best edge of the frame; nothing when there is none without a flag.
std::optional<Region> findEdge(const Mosaic& mosaic, Levels levels);

}  // namespace analysis
