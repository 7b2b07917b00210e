#include "cli/serve/picture/Analysis.h"

#include <cmath>

#include "cli/analysis/Histogram.h"
#include "cli/serve/http/Problem.h"
#include "cli/serve/picture/Samples.h"

namespace cli::serve {

namespace {

// Sum and number of the squared differences of neighbours.
struct Contrast {
  double squares = 0;
  double count = 0;

  void add(int difference) {
    squares += static_cast<double>(difference * difference);
    ++count;
  }
};

// How much neighbours of one colour differ, as a share of the mean: it grows as the picture gets sharper, and
// stays as it is when the light changes.
double sharpnessOf(const analysis::Plane& plane, double mean) {
  Contrast contrast;
  for (std::uint32_t y = 0; y < plane.height; ++y) {
    const std::uint16_t* const row = plane.row(y);
    const std::uint16_t* const below = y + 1 < plane.height ? plane.row(y + 1) : nullptr;
    for (std::uint32_t x = 0; x < plane.width; ++x) {
      if (x + 1 < plane.width) contrast.add(row[x + 1] - row[x]);
      if (below != nullptr) contrast.add(below[x] - row[x]);
    }
  }
  return contrast.count == 0 || mean == 0 ? 0 : std::sqrt(contrast.squares / contrast.count) / mean;
}

Json channelOf(const Samples::NamedPlane& named, const analysis::Values& values,
               std::vector<std::uint64_t> bins) {
  return {{"name", named.name},
          {"least", values.least},
          {"greatest", values.greatest},
          {"mean", values.mean},
          {"deviation", values.sigma},
          {"black", values.blackShare},
          {"saturated", values.saturatedShare},
          {"histogram", std::move(bins)}};
}

}  // namespace

std::shared_ptr<const std::vector<std::uint8_t>> analyse(const FramePointer& frame, const Making& making) {
  const Samples samples(*frame);
  const Region region =
      regionIn(samples, making.hasRectangle, {making.x, making.y, making.width, making.height});
  const analysis::Levels levels = analysis::fullRange(samples.bits());
  Json channels = Json::array();
  double sharpness = 0;
  const auto planes = samples.planes(region);
  for (const Samples::NamedPlane& each : planes) {
    analysis::Histogram histogram;
    histogram.add(each.plane);
    const analysis::Values values = histogram.describe(levels, samples.bits());
    sharpness += sharpnessOf(each.plane, values.mean) / static_cast<double>(planes.size());
    channels.push_back(channelOf(each, values, histogram.bins(samples.bits())));
  }
  const std::string text = textOf(
      {{"kind", "analysis"},
       {"frame", frame->number},
       {"rectangle", {{"x", region.x}, {"y", region.y}, {"width", region.width}, {"height", region.height}}},
       {"sharpness", sharpness},
       {"channels", channels}});
  return std::make_shared<const std::vector<std::uint8_t>>(text.begin(), text.end());
}

}  // namespace cli::serve
