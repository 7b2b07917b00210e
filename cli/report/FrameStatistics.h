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

struct StatisticsSettings {
  std::uint32_t black = 0;
  std::uint32_t white = 0;    // 0: the largest value of the depth
  std::string edge = "find";  // or "X,Y,WIDTH,HEIGHT", or "none"
};

class FrameStatistics {
 public:
  // Throws Failure for levels or a rectangle that do not go with the frames.
  FrameStatistics(const StatisticsSettings& settings, const PictureMaker& maker, std::uint32_t pattern,
                  const FrameLayout& layout);

  void add(const std::vector<std::uint8_t>& raw);

  // The member "statistics", or why there is none.
  void tell(Output& output);

 private:
  const StatisticsSettings& settings_;
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
