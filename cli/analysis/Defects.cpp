#include "cli/analysis/Defects.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "cli/analysis/HighPass.h"

namespace analysis {

namespace {

// So rare among a hundred million normal samples that none is expected.
constexpr double noiseFactor = 8;

// Three rows of a plane with their neighbours beyond the border on both sides.
class Rows {
 public:
  Rows(const Plane& plane, std::uint32_t y) : width_(plane.width) {
    const std::uint32_t last = plane.height - 1;
    const std::array<std::uint32_t, 3> sources{y == 0 ? 1 : y - 1, y, y == last ? last - 1 : y + 1};
    for (std::size_t i = 0; i < 3; ++i) {
      const std::uint16_t* from = plane.row(sources[i]);
      rows_[i].resize(width_ + 2);
      std::copy_n(from, width_, rows_[i].begin() + 1);
      rows_[i].front() = from[1];
      rows_[i].back() = from[width_ - 2];
    }
  }

  // Whether a sample can be an outlier. Half of its neighbours are on one side of their median, so at least
  // one of any five of them is: a sample that is not far from any of these five is none.
  bool markCandidates(int threshold, std::vector<std::uint8_t>& marks) const {
    const std::uint16_t* above = rows_[0].data();
    const std::uint16_t* own = rows_[1].data();
    const std::uint16_t* below = rows_[2].data();
    std::uint8_t any = 0;
    for (std::uint32_t x = 0; x < width_; ++x) {
      const std::uint16_t least = std::min({above[x], above[x + 1], above[x + 2], own[x], below[x + 1]});
      const std::uint16_t greatest = std::max({above[x], above[x + 1], above[x + 2], own[x], below[x + 1]});
      const int value = own[x + 1];
      const bool isFar = value - least > threshold || greatest - value > threshold;
      marks[x] = isFar ? 1 : 0;
      any |= marks[x];
    }
    return any != 0;
  }

  std::uint16_t valueAt(std::uint32_t x) const { return rows_[1][x + 1]; }

  std::uint16_t medianAround(std::uint32_t x) const {
    std::array<std::uint16_t, 8> near{rows_[0][x],     rows_[0][x + 1], rows_[0][x + 2], rows_[1][x],
                                      rows_[1][x + 2], rows_[2][x],     rows_[2][x + 1], rows_[2][x + 2]};
    std::ranges::sort(near);
    return static_cast<std::uint16_t>((near[3] + near[4]) / 2);
  }

 private:
  std::uint32_t width_;
  std::array<std::vector<std::uint16_t>, 3> rows_;
};

}  // namespace

Outliers findOutliers(const Plane& plane, Levels levels, double share) {
  Outliers result;
  if (plane.width < 2 || plane.height < 2) return result;
  const double range = std::max(0, levels.white - levels.black);
  result.threshold = std::max(range * share, noiseFactor * robustNoise(plane).value_or(0));
  const int threshold = static_cast<int>(result.threshold);
  const std::size_t most = std::max<std::size_t>(plane.samples.size() / 1000, 10);
  std::vector<std::uint8_t> marks(plane.width);
  for (std::uint32_t y = 0; y < plane.height; ++y) {
    const Rows rows(plane, y);
    if (!rows.markCandidates(threshold, marks)) continue;
    for (std::uint32_t x = 0; x < plane.width; ++x) {
      if (marks[x] == 0) continue;
      const std::uint16_t expected = rows.medianAround(x);
      if (std::abs(rows.valueAt(x) - expected) <= threshold) continue;
      if (result.defects.size() == most) {
        result.defects.clear();
        result.tooMany = true;
        return result;
      }
      result.defects.push_back({plane.channel, plane.firstX + x * plane.step, plane.firstY + y * plane.step,
                                rows.valueAt(x), expected});
    }
  }
  return result;
}

}  // namespace analysis
