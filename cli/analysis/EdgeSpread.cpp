#include "cli/analysis/EdgeSpread.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>

namespace analysis {

namespace {

double sinc(double x) {
  const double angle = std::numbers::pi * x;
  return x == 0 ? 1 : std::sin(angle) / angle;
}

// A plane through one side: sums of the normal equations, about the side's own middle.
class PlaneFit {
 public:
  void add(double x, double y, double value) {
    xs_.push_back(x);
    ys_.push_back(y);
    values_.push_back(value);
  }

  std::size_t count() const { return values_.size(); }

  void solve() {
    const auto meanOf = [](const std::vector<double>& list) {
      double sum = 0;
      for (const double value : list) sum += value;
      return sum / static_cast<double>(list.size());
    };
    const double middleX = meanOf(xs_);
    const double middleY = meanOf(ys_);
    mean = meanOf(values_);
    double xx = 0;
    double xy = 0;
    double yy = 0;
    double xv = 0;
    double yv = 0;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const double x = xs_[i] - middleX;
      const double y = ys_[i] - middleY;
      xx += x * x;
      xy += x * y;
      yy += y * y;
      xv += x * (values_[i] - mean);
      yv += y * (values_[i] - mean);
    }
    const double determinant = xx * yy - xy * xy;
    slopeX = (xv * yy - yv * xy) / determinant;
    const double slopeY = (yv * xx - xv * xy) / determinant;
    squares = 0;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      const double error = values_[i] - mean - slopeX * (xs_[i] - middleX) - slopeY * (ys_[i] - middleY);
      squares += error * error;
    }
  }

  double mean = 0;
  double slopeX = 0;
  double squares = 0;

 private:
  std::vector<double> xs_;
  std::vector<double> ys_;
  std::vector<double> values_;
};

struct Bin {
  double values = 0;
  double distances = 0;
  double count = 0;
};

std::size_t rowsOfWholeCycles(const EdgeGrid& grid, const EdgeLine& line) {
  if (line.slope == 0) return grid.rows;
  const double perCycle = 1 / std::abs(line.slope);  // rows; their pitch is that of the columns
  const double cycles = std::floor(static_cast<double>(grid.rows) / perCycle);
  if (cycles < 1) return grid.rows;
  return std::min(grid.rows, static_cast<std::size_t>(std::lround(cycles * perCycle)));
}

std::vector<Bin> fillBins(const EdgeGrid& grid, const EdgeLine& line, std::size_t rows, std::size_t half) {
  std::vector<Bin> bins(2 * half + 1);
  const std::size_t firstRow = (grid.rows - rows) / 2;
  for (std::size_t row = firstRow; row < firstRow + rows; ++row) {
    const double y = grid.y(row);
    const double edge = line.at(y);
    const double t = y - line.middle;
    const double slope = line.slope + 2 * line.curvature * t;
    const double across = 1 / std::sqrt(1 + slope * slope);  // along the row to along the normal
    const double* values = grid.row(row);
    for (std::size_t column = 0; column < grid.columns; ++column) {
      const double distance = (grid.x(column) - edge) * across;
      const double place = std::floor(distance * EdgeSpread::oversampling + 0.5) + static_cast<double>(half);
      if (place < 0 || place >= static_cast<double>(bins.size())) continue;
      Bin& bin = bins[static_cast<std::size_t>(place)];
      bin.values += values[column];
      bin.distances += distance;
      bin.count += 1;
    }
  }
  return bins;
}

// Between the nearest bins that hold something.
double valueOfEmpty(const std::vector<Bin>& bins, std::size_t index) {
  std::size_t before = index;
  while (before > 0 && bins[before].count == 0) --before;
  std::size_t after = index;
  while (after + 1 < bins.size() && bins[after].count == 0) ++after;
  if (bins[before].count == 0) before = after;
  if (bins[after].count == 0) after = before;
  if (bins[before].count == 0) return 0;
  const double first = bins[before].values / bins[before].count;
  if (after == before) return first;
  const double last = bins[after].values / bins[after].count;
  return first + (last - first) * static_cast<double>(index - before) / static_cast<double>(after - before);
}

// The mean of a bin belongs to the mean distance of its samples; what is wanted is the value at its middle.
double valueAtMiddle(const std::vector<Bin>& bins, std::size_t index, double middle) {
  const Bin& bin = bins[index];
  const double mean = bin.values / bin.count;
  if (index == 0 || index + 1 == bins.size()) return mean;
  const Bin& before = bins[index - 1];
  const Bin& after = bins[index + 1];
  if (before.count == 0 || after.count == 0) return mean;
  const double slope = (after.values / after.count - before.values / before.count) /
                       (after.distances / after.count - before.distances / before.count);
  return mean + slope * (middle - bin.distances / bin.count);
}

}  // namespace

std::optional<EdgeSides> edgeSides(const EdgeGrid& grid, const EdgeLine& line) {
  const double reach = reachOf(grid, line);
  PlaneFit left;
  PlaneFit right;
  for (std::size_t row = 0; row < grid.rows; ++row) {
    const double edge = line.at(grid.y(row));
    const double* values = grid.row(row);
    for (std::size_t column = 0; column < grid.columns; ++column) {
      const double distance = grid.x(column) - edge;
      if (std::abs(distance) < reach / 2) continue;
      (distance < 0 ? left : right).add(grid.x(column), grid.y(row), values[column]);
    }
  }
  constexpr std::size_t fewest = 10;
  if (left.count() < fewest || right.count() < fewest) return std::nullopt;
  left.solve();
  right.solve();
  EdgeSides sides;
  const PlaneFit& bright = left.mean > right.mean ? left : right;
  sides.low = std::min(left.mean, right.mean);
  sides.high = bright.mean;
  sides.noise = std::sqrt((left.squares + right.squares) / static_cast<double>(left.count() + right.count()));
  if (sides.high > sides.low) {
    sides.unevenness = std::abs(bright.slopeX) * reach / (sides.high - sides.low);
  }
  return sides;
}

EdgeSpread edgeSpread(const EdgeGrid& grid, const EdgeLine& line) {
  EdgeSpread spread;
  spread.rows = rowsOfWholeCycles(grid, line);
  const double across = 1 / std::sqrt(1 + line.slope * line.slope);
  const auto half = static_cast<std::size_t>(reachOf(grid, line) * across * EdgeSpread::oversampling);
  const std::vector<Bin> bins = fillBins(grid, line, spread.rows, half);
  spread.values.resize(bins.size());
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (bins[i].count == 0) {
      ++spread.emptyBins;
      spread.values[i] = valueOfEmpty(bins, i);
    } else {
      spread.values[i] = valueAtMiddle(bins, i, spread.distance(i));
    }
  }
  return spread;
}

double riseOf(const EdgeSpread& spread, const EdgeSides& sides) {
  const bool falls = spread.values.front() > spread.values.back();
  std::array<double, 2> places{};
  for (std::size_t level = 0; level < 2; ++level) {
    const double share = (level == 0) != falls ? 0.1 : 0.9;
    const double wanted = sides.low + share * (sides.high - sides.low);
    // Outward from the edge: noise far away does not count.
    std::size_t i = spread.middle();
    const auto isBeyond = [&](double value) { return (value < wanted) == (share < 0.5); };
    while (!isBeyond(spread.values[i]) && i > 0 && i + 1 < spread.values.size()) level == 0 ? --i : ++i;
    places[level] = spread.distance(i);
  }
  return places[1] - places[0];
}

EdgeResponse::EdgeResponse(const EdgeSpread& spread) : line_(spread.values.size()) {
  const double reach = static_cast<double>(spread.middle()) / EdgeSpread::oversampling;
  for (std::size_t i = 1; i + 1 < line_.size(); ++i) {
    line_[i] = (spread.values[i + 1] - spread.values[i - 1]) / 2 * edgeWindow(spread.distance(i), reach);
    sum_ += line_[i];
  }
}

double EdgeResponse::at(double frequency) const {
  const double turn = -2 * std::numbers::pi * frequency / EdgeSpread::oversampling;
  const std::complex<double> step = std::polar(1.0, turn);
  std::complex<double> phase = 1;
  std::complex<double> total = 0;
  for (const double value : line_) {
    total += value * phase;
    phase *= step;
  }
  // The derivative over two bins, and the width of a bin, take away what they must not.
  const double mostCorrection = 10;
  const auto correction = [mostCorrection](double response) {
    return std::min(1 / std::abs(response), mostCorrection);
  };
  return std::abs(total) / std::abs(sum_) * correction(sinc(frequency * 2 / EdgeSpread::oversampling)) *
         correction(sinc(frequency / EdgeSpread::oversampling));
}

std::optional<double> EdgeResponse::half() const {
  constexpr double step = 0.01;
  constexpr double impossible = 1.2;
  constexpr int halvings = 30;
  if (sum_ == 0) return std::nullopt;
  for (double low = 0; low < impossible; low += step) {
    if (at(low + step) > 0.5) continue;
    double high = low + step;
    for (int i = 0; i < halvings; ++i) {
      const double middle = (low + high) / 2;
      (at(middle) > 0.5 ? low : high) = middle;
    }
    return (low + high) / 2;
  }
  return std::nullopt;
}

}  // namespace analysis
