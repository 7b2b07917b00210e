#include "cli/analysis/Shading.h"

#include <algorithm>

namespace analysis {

namespace {

double meanOf(const Plane& plane, std::uint32_t left, std::uint32_t top, std::uint32_t width,
              std::uint32_t height) {
  std::uint64_t sum = 0;
  for (std::uint32_t y = top; y < top + height; ++y) {
    const std::uint16_t* row = plane.row(y) + left;
    for (std::uint32_t x = 0; x < width; ++x) sum += row[x];
  }
  return static_cast<double>(sum) / (static_cast<double>(width) * height);
}

}  // namespace

std::optional<Shading> shadingOf(const Plane& plane, Levels levels) {
  if (plane.samples.empty()) return std::nullopt;
  const std::uint32_t width = std::max(1U, plane.width / 10);
  const std::uint32_t height = std::max(1U, plane.height / 10);
  const std::uint32_t right = plane.width - width;
  const std::uint32_t bottom = plane.height - height;
  Shading result;
  result.centre = meanOf(plane, right / 2, bottom / 2, width, height) - levels.black;
  if (result.centre <= 0) return std::nullopt;
  for (std::uint32_t corner = 0; corner < 4; ++corner) {
    const double mean =
        meanOf(plane, corner % 2 == 0 ? 0 : right, corner / 2 == 0 ? 0 : bottom, width, height);
    result.corners[corner] = (mean - levels.black) / result.centre;
  }
  return result;
}

}  // namespace analysis
