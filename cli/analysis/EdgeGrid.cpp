#include "cli/analysis/EdgeGrid.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace analysis {

namespace {

struct Point {
  double x = 0;
  double y = 0;
};

// The centre of gravity of a row's steps. The window keeps noise out that is far from the edge.
std::optional<double> placeInRow(const EdgeGrid& grid, std::size_t row, const EdgeLine* line, double reach) {
  const double* values = grid.row(row);
  double weights = 0;
  double moments = 0;
  for (std::size_t i = 0; i + 1 < grid.columns; ++i) {
    const double x = grid.x(i) + grid.pitch / 2;
    const double window = line == nullptr ? 1 : edgeWindow(x - line->at(grid.y(row)), reach);
    const double step = (values[i + 1] - values[i]) * window;
    weights += step;
    moments += step * x;
  }
  if (weights == 0) return std::nullopt;
  return moments / weights;
}

// Least squares by the normal equations, which are small and well scaled with t from -1 to 1.
EdgeLine fit(const std::vector<Point>& points, double middle, double scale, bool curved) {
  std::array<double, 5> powers{};
  std::array<double, 3> right{};
  for (const Point& point : points) {
    const double t = (point.y - middle) / scale;
    double power = 1;
    for (std::size_t i = 0; i < powers.size(); ++i, power *= t) {
      powers[i] += power;
      if (i < right.size()) right[i] += power * point.x;
    }
  }
  EdgeLine line;
  line.middle = middle;
  const auto [s0, s1, s2, s3, s4] = powers;
  if (curved) {
    const double determinant = s0 * (s2 * s4 - s3 * s3) - s1 * (s1 * s4 - s2 * s3) + s2 * (s1 * s3 - s2 * s2);
    const auto [a, b, c] = right;
    line.offset = (a * (s2 * s4 - s3 * s3) - s1 * (b * s4 - s3 * c) + s2 * (b * s3 - s2 * c)) / determinant;
    line.slope =
        (s0 * (b * s4 - s3 * c) - a * (s1 * s4 - s2 * s3) + s2 * (s1 * c - b * s2)) / determinant / scale;
    line.curvature = (s0 * (s2 * c - b * s3) - s1 * (s1 * c - b * s2) + a * (s1 * s3 - s2 * s2)) /
                     determinant / (scale * scale);
  } else {
    const double determinant = s0 * s2 - s1 * s1;
    line.offset = (right[0] * s2 - right[1] * s1) / determinant;
    line.slope = (s0 * right[1] - s1 * right[0]) / determinant / scale;
  }
  double squares = 0;
  for (const Point& point : points) {
    const double error = point.x - line.at(point.y);
    squares += error * error;
  }
  line.residual = std::sqrt(squares / static_cast<double>(points.size()));
  return line;
}

std::vector<Point> placesOf(const EdgeGrid& grid, const EdgeLine* line, double reach) {
  std::vector<Point> points;
  for (std::size_t row = 0; row < grid.rows; ++row) {
    const auto x = placeInRow(grid, row, line, reach);
    if (x && std::isfinite(*x)) points.push_back({*x, grid.y(row)});
  }
  return points;
}

}  // namespace

double edgeWindow(double distance, double reach) {
  constexpr double flat = 0.5;
  const double share = std::abs(distance) / reach;
  if (share >= 1) return 0;
  if (share <= flat) return 1;
  return 0.5 * (1 + std::cos(std::numbers::pi * (share - flat) / (1 - flat)));
}

bool isInside(const Region& region, const Mosaic& mosaic) {
  return region.width > 0 && region.height > 0 && region.x < mosaic.width && region.y < mosaic.height &&
         region.width <= mosaic.width - region.x && region.height <= mosaic.height - region.y;
}

bool runsAcross(const Mosaic& mosaic, const Region& region) {
  // From side to side, over neighbours of the same colour: what lies between cancels out.
  constexpr std::uint32_t edge = 2;
  if (region.width <= edge || region.height <= edge) return region.width > region.height;
  std::int64_t horizontal = 0;
  std::int64_t vertical = 0;
  const std::uint32_t right = region.x + region.width - edge;
  const std::uint32_t bottom = region.y + region.height - edge;
  for (std::uint32_t i = 0; i < edge; ++i) {
    for (std::uint32_t y = 0; y < region.height; ++y) {
      horizontal += mosaic.at(right + i, region.y + y) - mosaic.at(region.x + i, region.y + y);
    }
    for (std::uint32_t x = 0; x < region.width; ++x) {
      vertical += mosaic.at(region.x + x, bottom + i) - mosaic.at(region.x + x, region.y + i);
    }
  }
  return std::abs(vertical) * std::int64_t{region.height} > std::abs(horizontal) * std::int64_t{region.width};
}

EdgeGrid edgeGrid(const Mosaic& mosaic, Levels levels, const Region& region, std::optional<Channel> channel,
                  bool turned) {
  // Of a channel of the mosaic, the first site inside the region.
  const bool sparse = channel && mosaic.pattern != Pattern::none;
  const std::uint32_t step = sparse ? 2 : 1;
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  for (std::uint32_t site = 0; sparse && site < 4; ++site) {
    if (channelAt(mosaic.pattern, region.x + site % 2, region.y + site / 2) != *channel) continue;
    left = site % 2;
    top = site / 2;
  }
  EdgeGrid grid;
  grid.pitch = step;
  const std::uint32_t width = region.width <= left ? 0 : (region.width - left - 1) / step + 1;
  const std::uint32_t height = region.height <= top ? 0 : (region.height - top - 1) / step + 1;
  grid.columns = turned ? height : width;
  grid.rows = turned ? width : height;
  grid.firstX = turned ? top : left;
  grid.firstY = turned ? left : top;
  grid.sizeX = turned ? region.height : region.width;
  grid.sizeY = turned ? region.width : region.height;
  grid.values.reserve(grid.columns * grid.rows);
  for (std::uint32_t row = 0; row < grid.rows; ++row) {
    for (std::uint32_t column = 0; column < grid.columns; ++column) {
      const std::uint32_t x = region.x + left + step * (turned ? row : column);
      const std::uint32_t y = region.y + top + step * (turned ? column : row);
      const std::uint16_t sample = mosaic.at(x, y);
      if (sample == 0 || sample >= levels.white) ++grid.clipped;
      grid.values.push_back(static_cast<double>(sample) - levels.black);
    }
  }
  return grid;
}

std::optional<EdgeLine> fitLine(const EdgeGrid& grid) {
  constexpr std::size_t fewestRows = 5;
  constexpr int passes = 4;  // the place moves by less than a thousandth of a pixel in the last one
  if (grid.columns < fewestRows || grid.rows < fewestRows) return std::nullopt;
  const double middle = (grid.sizeY - 1) / 2;
  std::optional<EdgeLine> line;
  for (int pass = 0; pass < passes; ++pass) {
    const double reach = line ? reachOf(grid, *line) : 0;
    if (line && reach < 2 * grid.pitch) return std::nullopt;
    const std::vector<Point> points = placesOf(grid, line ? &*line : nullptr, reach);
    if (points.size() < fewestRows) return std::nullopt;
    line = fit(points, middle, grid.sizeY / 2, pass > 0);
  }
  if (!std::isfinite(line->offset) || reachOf(grid, *line) < 2 * grid.pitch) return std::nullopt;
  return line;
}

double reachOf(const EdgeGrid& grid, const EdgeLine& line) {
  double reach = grid.sizeX;
  for (std::size_t row = 0; row < grid.rows; ++row) {
    const double x = line.at(grid.y(row));
    reach = std::min({reach, x - grid.x(0), grid.x(grid.columns - 1) - x});
  }
  return reach;
}

}  // namespace analysis
