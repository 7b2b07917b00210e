#include "cli/report/FrameStatistics.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/raw/StatisticsCommand.h"

namespace cli {

namespace {

constexpr double defectShare = 0.02;  // of the range
constexpr char noEdge[] = "none";

}  // namespace

FrameStatistics::FrameStatistics(std::string edge, const PictureOptions& options, const PictureMaker& maker,
                                 const FrameLayout& layout)
    : wantedEdge_(std::move(edge)),
      layout_(layout),
      pattern_(maker.kind() == SampleKind::bayer ? static_cast<analysis::Pattern>(options.pattern)
                                                 : analysis::Pattern::none),
      isWide_(maker.isWide()),
      hindrance_(maker.hindrance()) {
  if (hindrance_.empty() && maker.kind() != SampleKind::bayer && maker.kind() != SampleKind::grey) {
    hindrance_ = std::string("statistics are made of Bayer or grey samples, not of ") + maker.kindName();
  }
  if (!hindrance_.empty()) return;
  levels_ = levelsOf(layout.bits, options.black, options.white);
  if (wantedEdge_ != noEdge) checkEdge(wantedEdge_, layout.width, layout.height);
  series_.emplace(levels_, defectShare);
}

void FrameStatistics::add(const std::vector<std::uint8_t>& raw) {
  if (!series_) return;
  const std::size_t count = std::size_t{layout_.width} * layout_.height;
  if (isWide_) {
    samples_.resize(count);
    std::memcpy(samples_.data(), raw.data(), count * sizeof samples_[0]);
  } else {
    samples_.assign(raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(count));
  }
  const analysis::Mosaic mosaic{samples_, layout_.width, layout_.height, layout_.bits, pattern_};
  if (frames_++ == 0 && wantedEdge_ != noEdge) edge_ = measureEdgeIn(mosaic, levels_, wantedEdge_);
  series_->add(mosaic);
}

void FrameStatistics::tell(Output& output) {
  output.put("statistics", nullptr);
  if (frames_ == 0 && series_) hindrance_ = "no frame came";
  if (!hindrance_.empty()) {
    output.put("statisticsHindrance", hindrance_);
    return;
  }
  const StatisticsReport report{series_->finish(), wantedEdge_ != noEdge, edge_};
  output.putMembers(nlohmann::json{{"statistics", toJson(report)}}.dump());
}

}  // namespace cli
