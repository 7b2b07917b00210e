// Statistics of captured frames, one after the other.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/analysis/Series.h"
#include "cli/analysis/SlantedEdge.h"
#include "cli/base/Output.h"
#include "cli/frames/Picture.h"

namespace cli {

class FrameStatistics {
 public:
  // Throws Failure for levels or a rectangle that do not go with the frames.
  // The edge is "find", "X,Y,WIDTH,HEIGHT" or "none".
  FrameStatistics(std::string edge, const PictureOptions& options, const PictureMaker& maker,
                  const FrameLayout& layout);

  void add(const std::vector<std::uint8_t>& raw);

  // The member "statistics", or why there is none.
  void tell(Output& output);

 private:
  std::string wantedEdge_;
  FrameLayout layout_;
  analysis::Pattern pattern_;
  bool isWide_;
  std::string hindrance_;
  analysis::Levels levels_;
  std::optional<analysis::Series> series_;
  std::optional<analysis::EdgeReport> edge_;
  std::vector<std::uint16_t> samples_;
  std::uint32_t frames_ = 0;
};

}  // namespace cli
