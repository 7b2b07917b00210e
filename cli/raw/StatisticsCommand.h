// kvexa statistics: what raw frames tell about noise, defects, shading and sharpness.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/analysis/Series.h"
#include "cli/analysis/SlantedEdge.h"
#include "cli/raw/RawFile.h"

namespace cli {

struct StatisticsOptions {
  std::vector<std::string> files;  // frames of the same scene
  RawLayout layout;
  std::uint32_t black = 0;
  std::uint32_t white = 0;    // 0: the largest value of the depth
  double defectShare = 0.02;  // of the range from black to white: the least difference of a defect
  std::string edge;           // "X,Y,WIDTH,HEIGHT", "find", or empty: no sharpness is measured
};

struct StatisticsReport {
  analysis::Statistics statistics;
  bool edgeWanted = false;
  std::optional<analysis::EdgeReport> edge;  // of the first frame
};

// Throws Failure.
StatisticsReport statistics(const StatisticsOptions& options);

void print(const StatisticsReport& report);
nlohmann::json toJson(const StatisticsReport& report);

}  // namespace cli
