// The statistics of frames for programs. docs/analysis.md names the members.
#include <nlohmann/json.hpp>

#include "cli/raw/StatisticsCommand.h"

namespace cli {

namespace {

using nlohmann::json;

json orNull(const std::optional<double>& value) { return value ? json(*value) : json(nullptr); }

json noiseOf(const analysis::Noise& noise) {
  return {{"upperBound", orNull(noise.upperBound)},
          {"temporal", orNull(noise.temporal)},
          {"fixedPattern", orNull(noise.fixedPattern)}};
}

json defectsOf(const analysis::Outliers& outliers, bool sure) {
  if (outliers.tooMany) return nullptr;
  json list = json::array();
  for (const analysis::Defect& defect : outliers.defects) {
    list.push_back({{"x", defect.x},
                    {"y", defect.y},
                    {"value", defect.value},
                    {"expected", defect.expected},
                    {"kind", defect.isHigh() ? "high" : "low"}});
  }
  return {{"threshold", outliers.threshold}, {"sure", sure}, {"list", std::move(list)}};
}

json shadingOf(const std::optional<analysis::Shading>& shading) {
  if (!shading) return nullptr;
  const auto [topLeft, topRight, bottomLeft, bottomRight] = shading->corners;
  return {{"centre", shading->centre},
          {"topLeft", topLeft},
          {"topRight", topRight},
          {"bottomLeft", bottomLeft},
          {"bottomRight", bottomRight}};
}

json channelOf(const analysis::ChannelStatistics& channel, bool sure) {
  const analysis::Values& values = channel.values;
  return {{"name", nameOf(channel.channel)},
          {"count", values.count},
          {"least", values.least},
          {"greatest", values.greatest},
          {"mean", values.mean},
          {"sigma", values.sigma},
          {"blackShare", values.blackShare},
          {"saturatedShare", values.saturatedShare},
          {"beyondDepth", values.beyondDepth},
          {"histogram", channel.histogram},
          {"noise", noiseOf(channel.noise)},
          {"defects", defectsOf(channel.outliers, sure)},
          {"shading", shadingOf(channel.shading)}};
}

json resultOf(const analysis::EdgeResult& result) {
  json flags = json::array();
  for (const analysis::EdgeFlag flag : result.flags) flags.push_back(nameOf(flag));
  return {{"channel", result.channel ? nameOf(*result.channel) : "all"},
          {"sfr50", orNull(result.sfr50)},
          {"angle", result.angle},
          {"place", result.place},
          {"contrast", result.contrast},
          {"noise", result.noise},
          {"cycles", result.cycles},
          {"rise", result.rise},
          {"flags", std::move(flags)},
          {"curveStep", analysis::EdgeResult::curveStep},
          {"curve", result.curve}};
}

json edgeOf(const analysis::EdgeReport& edge) {
  json results = json::array();
  for (const auto& result : edge.results) results.push_back(resultOf(result));
  const analysis::Region& region = edge.region;
  return {{"x", region.x},           {"y", region.y},         {"width", region.width},
          {"height", region.height}, {"across", edge.across}, {"results", std::move(results)}};
}

}  // namespace

json toJson(const StatisticsReport& report) {
  constexpr std::uint32_t framesForDefects = 4;
  const analysis::Statistics& statistics = report.statistics;
  json channels = json::array();
  for (const auto& channel : statistics.channels) {
    channels.push_back(channelOf(channel, statistics.frames >= framesForDefects));
  }
  return {{"frames", statistics.frames},      {"width", statistics.width},
          {"height", statistics.height},      {"bits", statistics.bits},
          {"black", statistics.levels.black}, {"white", statistics.levels.white},
          {"channels", std::move(channels)},  {"edge", report.edge ? edgeOf(*report.edge) : json(nullptr)}};
}

}  // namespace cli
