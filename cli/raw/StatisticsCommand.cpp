#include "cli/raw/StatisticsCommand.h"

#include <cstdlib>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

namespace cli {

namespace {

// A frame as 16-bit samples, whatever it is in the file.
class FrameReader {
 public:
  explicit FrameReader(const RawLayout& layout) : layout_(layout) {}

  analysis::Mosaic read(const std::string& name) {
    frame_.read(toPath(name), layout_);
    const std::size_t count = std::size_t{layout_.width} * layout_.height;
    std::span<const std::uint16_t> samples(frame_.words(), count);
    if (layout_.bytesPerSample() == 1) {
      const auto bytes = frame_.bytes();
      wide_.assign(bytes.begin(), bytes.end());
      samples = wide_;
    }
    const bool isBayer = layout_.format == RawFormat::bayer;
    const auto pattern = isBayer ? static_cast<analysis::Pattern>(layout_.pattern) : analysis::Pattern::none;
    return {samples, layout_.width, layout_.height, layout_.bits, pattern};
  }

 private:
  RawLayout layout_;
  RawFrame frame_;
  std::vector<std::uint16_t> wide_;
};

analysis::Region regionOf(const std::string& text) {
  std::uint32_t numbers[4] = {};
  const char* place = text.c_str();
  for (std::size_t i = 0; i < 4; ++i) {
    char* end = nullptr;
    const unsigned long number = std::strtoul(place, &end, 10);
    const char separator = i == 3 ? '\0' : ',';
    if (*place < '0' || *place > '9' || *end != separator || number > 65535) {
      throw Failure("--edge is 'find' or X,Y,WIDTH,HEIGHT in pixels, not '" + text + "'");
    }
    numbers[i] = static_cast<std::uint32_t>(number);
    place = end + 1;
  }
  return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

// Nothing where it is to be found.
std::optional<analysis::Region> regionIn(const std::string& edge, const analysis::Mosaic& frame) {
  if (edge == "find") return std::nullopt;
  const analysis::Region region = regionOf(edge);
  if (!analysis::isInside(region, frame)) {
    throw Failure("the rectangle " + edge + " is not inside the frame of " + std::to_string(frame.width) +
                  " x " + std::to_string(frame.height));
  }
  return region;
}

}  // namespace

analysis::Levels levelsOf(std::uint32_t bits, std::uint32_t black, std::uint32_t white) {
  const std::uint16_t largest = analysis::fullRange(bits).white;
  const std::uint32_t used = white == 0 ? largest : white;
  if (used > largest || black >= used) {
    throw Failure("the black level must be below the white level, and that at most " +
                  std::to_string(largest));
  }
  return {static_cast<std::uint16_t>(black), static_cast<std::uint16_t>(used)};
}

void checkEdge(const std::string& edge, std::uint32_t width, std::uint32_t height) {
  analysis::Mosaic frame;
  frame.width = width;
  frame.height = height;
  regionIn(edge, frame);
}

std::optional<analysis::EdgeReport> measureEdgeIn(const analysis::Mosaic& mosaic, analysis::Levels levels,
                                                  const std::string& edge) {
  std::optional<analysis::Region> region = regionIn(edge, mosaic);
  if (!region) region = analysis::findEdge(mosaic, levels);
  if (!region) return std::nullopt;
  return analysis::measureEdge(mosaic, levels, *region);
}

StatisticsReport statistics(const StatisticsOptions& options, const Interrupt& interrupt) {
  const RawFormat format = options.layout.format;
  if (format != RawFormat::bayer && format != RawFormat::grey) {
    throw Failure(std::string("statistics are made of bayer or grey samples, not of ") + nameOf(format));
  }
  checkLayout(options.layout);
  if (options.files.size() > analysis::Series::mostFrames) throw Failure("at most 65536 frames");
  const analysis::Levels levels = levelsOf(options.layout.bits, options.black, options.white);
  StatisticsReport report;
  report.edgeWanted = !options.edge.empty();
  analysis::Series series(levels, options.defectShare);
  FrameReader reader(options.layout);
  bool isFirst = true;
  for (const std::string& file : options.files) {
    interrupt.check();
    const analysis::Mosaic mosaic = reader.read(file);
    if (isFirst && report.edgeWanted) report.edge = measureEdgeIn(mosaic, levels, options.edge);
    isFirst = false;
    series.add(mosaic);
  }
  report.statistics = series.finish();
  return report;
}

}  // namespace cli
