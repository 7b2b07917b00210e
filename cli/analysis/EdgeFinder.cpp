// Looks for the slanted edge of a frame: coarsely everywhere, then with the measurement itself in the best
// places.
#include <algorithm>
#include <cmath>

#include "cli/analysis/SlantedEdge.h"

namespace analysis {

namespace {

constexpr std::uint32_t block = 8;       // pixels; even, so that each holds all colours alike
constexpr std::uint32_t longSide = 200;  // of a region, along the edge
constexpr std::uint32_t shortSide = 128;
constexpr std::uint32_t stride = 4;  // blocks from one place to the next
constexpr std::size_t mostMeasured = 24;

// Means of blocks.
struct Coarse {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<double> values;

  double at(std::uint32_t x, std::uint32_t y) const { return values[std::size_t{y} * width + x]; }
};

Coarse coarseOf(const Mosaic& mosaic, Levels levels) {
  Coarse coarse{mosaic.width / block, mosaic.height / block, {}};
  coarse.values.resize(std::size_t{coarse.width} * coarse.height);
  for (std::uint32_t y = 0; y < coarse.height * block; ++y) {
    double* row = coarse.values.data() + std::size_t{y / block} * coarse.width;
    for (std::uint32_t x = 0; x < coarse.width; ++x) {
      std::uint32_t sum = 0;
      for (std::uint32_t i = 0; i < block; ++i) sum += mosaic.at(x * block + i, y);
      row[x] += sum;
    }
  }
  for (double& value : coarse.values) value = value / (block * block) - levels.black;
  return coarse;
}

struct Candidate {
  Region region;
  double score = 0;
};

// An edge divides its region into two levels and little between them: the difference of the means of the two
// halves along an axis, less what the values of each half differ among themselves.
double scoreOf(const Coarse& coarse, std::uint32_t left, std::uint32_t top, std::uint32_t width,
               std::uint32_t height) {
  const bool down = height > width;
  double sums[2] = {0, 0};
  double squares[2] = {0, 0};
  double counts[2] = {0, 0};
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t place = down ? x : y;
      const std::uint32_t size = down ? width : height;
      const std::size_t half = 2 * place < size ? 0 : 1;
      const double value = coarse.at(left + x, top + y);
      sums[half] += value;
      squares[half] += value * value;
      counts[half] += 1;
    }
  }
  const double first = sums[0] / counts[0];
  const double second = sums[1] / counts[1];
  const double variance =
      (squares[0] / counts[0] - first * first + squares[1] / counts[1] - second * second) / 2;
  const double brightness = first + second;
  if (brightness <= 0) return 0;
  return (std::abs(first - second) - 2 * std::sqrt(std::max(variance, 0.0))) / brightness;
}

void collect(const Coarse& coarse, std::uint32_t width, std::uint32_t height, std::vector<Candidate>& found) {
  const std::uint32_t columns = width / block;
  const std::uint32_t rows = height / block;
  for (std::uint32_t y = 0; y + rows <= coarse.height; y += stride) {
    for (std::uint32_t x = 0; x + columns <= coarse.width; x += stride) {
      const double score = scoreOf(coarse, x, y, columns, rows);
      if (score > 0) found.push_back({{x * block, y * block, width, height}, score});
    }
  }
}

}  // namespace

std::optional<Region> findEdge(const Mosaic& mosaic, Levels levels) {
  const Coarse coarse = coarseOf(mosaic, levels);
  std::vector<Candidate> candidates;
  collect(coarse, shortSide, longSide, candidates);
  collect(coarse, longSide, shortSide, candidates);
  std::ranges::stable_sort(candidates, std::ranges::greater{}, &Candidate::score);
  if (candidates.size() > mostMeasured) candidates.resize(mostMeasured);
  for (const Candidate& candidate : candidates) {
    const EdgeReport report = measureEdge(mosaic, levels, candidate.region);
    if (report.results.front().flags.empty()) return candidate.region;
  }
  return std::nullopt;
}

}  // namespace analysis
