// kvexa statistics: what raw frames tell about noise, defects, shading and sharpness.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "cli/analysis/Series.h"
#include "cli/analysis/SlantedEdge.h"
#include "cli/base/Interrupt.h"
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

// Throws Failure, also when the interrupt is set.
StatisticsReport statistics(const StatisticsOptions& options, const Interrupt& interrupt);

// Of samples of so many bits; a white level of 0 is the largest value. Throws Failure when they make no
// sense.
analysis::Levels levelsOf(std::uint32_t bits, std::uint32_t black, std::uint32_t white);

// Throws Failure when the text is no "find", and no rectangle inside a frame of this size.
void checkEdge(const std::string& edge, std::uint32_t width, std::uint32_t height);

// In a rectangle, or where one is found; nothing when none is. Throws Failure as checkEdge does.
std::optional<analysis::EdgeReport> measureEdgeIn(const analysis::Mosaic& mosaic, analysis::Levels levels,
                                                  const std::string& edge);

void print(const StatisticsReport& report);
nlohmann::json toJson(const StatisticsReport& report);

}  // namespace cli
