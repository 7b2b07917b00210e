#include "cli/analysis/SlantedEdge.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace analysis {

namespace {

struct FlagText {
  const char* name;
  const char* text;
};

// In the order of EdgeFlag.
constexpr std::array<FlagText, 11> flagTexts{{
    {"noEdge", "no edge runs through the region from side to side"},
    {"angle", "the edge is not 2 to 10 degrees (one colour: 2 to 7) from an axis of the frame"},
    {"contrast", "the sides differ too little: (bright - dark) / (bright + dark) is below 0.2"},
    {"clipping", "more than 0.5 % of the samples are clipped"},
    {"fewLines", "the edge crosses fewer than 5 columns of samples: the region needs more lines"},
    {"noise", "noise is more than 2 % of the step from dark to bright"},
    {"narrowRegion", "the edge is too wide for the region, or too near to its side"},
    {"emptyBins", "some quarters of a pixel have no sample"},
    {"unevenLight", "the bright side changes across the edge by more than 5 % of the step"},
    {"notStraight", "lines lie more than a quarter of a pixel off the fitted edge"},
    {"tooSharp", "the response is above one half up to 1.2 cycles a pixel: no real edge is so sharp"},
}};

constexpr double leastAngle = 2;
constexpr double mostAngle = 10;
constexpr double mostAngleOfColour = 7;
constexpr double leastContrast = 0.2;
constexpr double mostClipped = 0.005;
constexpr double fewestCycles = 5;
constexpr double mostNoise = 0.02;
constexpr double leastReach = 5;  // times the rise
constexpr double mostUnevenness = 0.05;
constexpr double mostResidual = 0.25;
// A hair, so that an edge of exactly a limit's angle is inside.
constexpr double angleTolerance = 0.05;

// Each colour of the mosaic answers the light in its own way: their samples go together when the sides of
// each are 0 and 1. Values above black are kept where there is one colour alone.
bool normaliseColours(const Mosaic& mosaic, Levels levels, const Region& region, bool turned, EdgeGrid& all) {
  for (std::uint32_t site = 0; site < 4; ++site) {
    const Channel channel = channelAt(mosaic.pattern, region.x + site % 2, region.y + site / 2);
    const EdgeGrid grid = edgeGrid(mosaic, levels, region, channel, turned);
    const auto line = fitLine(grid);
    const auto sides = line ? edgeSides(grid, *line) : std::nullopt;
    if (!sides || sides->high <= sides->low) return false;
    const std::uint32_t column = turned ? site / 2 : site % 2;
    const std::uint32_t row = turned ? site % 2 : site / 2;
    for (std::size_t y = row; y < all.rows; y += 2) {
      for (std::size_t x = column; x < all.columns; x += 2) {
        double& value = all.row(y)[x];
        value = (value - sides->low) / (sides->high - sides->low);
      }
    }
  }
  return true;
}

void judge(EdgeResult& result, const EdgeGrid& grid, const EdgeSides& sides, const EdgeSpread& spread,
           double reach) {
  const double widest = grid.pitch > 1 ? mostAngleOfColour : mostAngle;
  const struct {
    EdgeFlag flag;
    bool spoils;
  } conditions[] = {
      {EdgeFlag::angle, result.angle < leastAngle - angleTolerance || result.angle > widest + angleTolerance},
      {EdgeFlag::contrast, result.contrast < leastContrast},
      {EdgeFlag::clipping,
       static_cast<double>(grid.clipped) / static_cast<double>(grid.values.size()) > mostClipped},
      {EdgeFlag::fewLines, result.cycles < fewestCycles},
      {EdgeFlag::noise, result.noise > mostNoise},
      {EdgeFlag::narrowRegion, reach < leastReach * result.rise},
      {EdgeFlag::emptyBins, spread.emptyBins > 0},
      {EdgeFlag::unevenLight, sides.unevenness > mostUnevenness},
      {EdgeFlag::notStraight, result.residual > mostResidual},
      {EdgeFlag::tooSharp, !result.sfr50},
  };
  for (const auto& [flag, spoils] : conditions) {
    if (spoils) result.flags.push_back(flag);
  }
}

// The edge has one course in all colours, which are but shifted against each other: all samples together tell
// it better than every second one of every second line.
EdgeLine shiftedTo(const EdgeLine& own, const EdgeLine& shape, double length) {
  EdgeLine line = shape;
  line.offset = own.offset + (own.curvature - shape.curvature) * length * length / 12;
  line.residual = own.residual;
  return line;
}

EdgeResult withoutEdge(std::optional<Channel> channel) {
  EdgeResult result;
  result.channel = channel;
  result.flags = {EdgeFlag::noEdge};
  return result;
}

EdgeResult resultOf(const EdgeGrid& grid, const EdgeLine& line, const EdgeSides& sides, double contrast) {
  EdgeResult result;
  const EdgeSpread spread = edgeSpread(grid, line);
  const EdgeResponse response(spread);
  result.sfr50 = response.half();
  result.angle = std::atan(std::abs(line.slope)) * 180 / std::numbers::pi;
  result.place = line.offset;
  result.contrast = contrast;
  result.noise = sides.noise / (sides.high - sides.low);
  result.cycles = std::abs(line.slope) * static_cast<double>(grid.rows);
  result.rise = riseOf(spread, sides);
  result.residual = line.residual;
  for (std::size_t i = 0; i < EdgeResult::curvePoints; ++i) {
    result.curve.push_back(response.at(EdgeResult::curveStep * static_cast<double>(i)));
  }
  judge(result, grid, sides, spread, reachOf(grid, line));
  return result;
}

// Measures all pixels first; `shape` then holds the course of the edge.
EdgeResult measure(const Mosaic& mosaic, Levels levels, const EdgeReport& report,
                   std::optional<Channel> channel, std::optional<EdgeLine>& shape) {
  EdgeGrid grid = edgeGrid(mosaic, levels, report.region, channel, report.across);
  auto line = fitLine(grid);
  auto sides = line ? edgeSides(grid, *line) : std::nullopt;
  if (!sides || sides->high <= sides->low) return withoutEdge(channel);
  const double sum = sides->high + sides->low;
  const double contrast = sum <= 0 ? 1 : (sides->high - sides->low) / sum;
  if (!channel && mosaic.pattern != Pattern::none) {
    if (!normaliseColours(mosaic, levels, report.region, report.across, grid)) return withoutEdge(channel);
    line = fitLine(grid);
  } else if (channel && shape) {
    line = shiftedTo(*line, *shape, grid.sizeY);
  }
  sides = line ? edgeSides(grid, *line) : std::nullopt;
  if (!sides || sides->high <= sides->low || reachOf(grid, *line) < 2 * grid.pitch)
    return withoutEdge(channel);
  if (!channel) shape = line;
  EdgeResult result = resultOf(grid, *line, *sides, contrast);
  result.channel = channel;
  return result;
}

}  // namespace

const char* nameOf(EdgeFlag flag) { return flagTexts[static_cast<std::size_t>(flag)].name; }

const char* textOf(EdgeFlag flag) { return flagTexts[static_cast<std::size_t>(flag)].text; }

EdgeReport measureEdge(const Mosaic& mosaic, Levels levels, const Region& region) {
  EdgeReport report;
  report.region = region;
  report.across = runsAcross(mosaic, region);
  std::optional<EdgeLine> shape;
  report.results.push_back(measure(mosaic, levels, report, std::nullopt, shape));
  if (mosaic.pattern == Pattern::none) return report;
  for (const Channel channel : {Channel::red, Channel::greenRed, Channel::greenBlue, Channel::blue}) {
    report.results.push_back(measure(mosaic, levels, report, channel, shape));
  }
  return report;
}

}  // namespace analysis
