#include "cli/serve/picture/Samples.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "cli/serve/http/Problem.h"

namespace cli::serve {

namespace {

constexpr std::array<const char*, 4> patternNames{"GRBG", "RGGB", "BGGR", "GBRG"};

const char* shortName(analysis::Channel channel) {
  switch (channel) {
    case analysis::Channel::red: return "R";
    case analysis::Channel::greenRed: return "Gr";
    case analysis::Channel::greenBlue: return "Gb";
    case analysis::Channel::blue: return "B";
    default: return "Y";
  }
}

std::uint16_t wordAt(const std::uint8_t* bytes, std::size_t index) {
  std::uint16_t word = 0;
  std::memcpy(&word, bytes + index * sizeof word, sizeof word);
  return word;
}

// Five or six bits fill eight from the top.
void unpack(std::uint16_t word, bool is565, std::uint16_t* colours) {
  colours[0] = static_cast<std::uint16_t>(is565 ? word >> 8 & 0xF8 : word >> 7 & 0xF8);
  colours[1] = static_cast<std::uint16_t>(is565 ? word >> 3 & 0xFC : word >> 2 & 0xF8);
  colours[2] = static_cast<std::uint16_t>(word << 3 & 0xF8);
}

std::uint32_t countOf(SampleKind kind) {
  switch (kind) {
    case SampleKind::yuyv: return 2;
    case SampleKind::rgb565:
    case SampleKind::rgb555:
    case SampleKind::bgr24: return 3;
    default: return 1;
  }
}

bool isPackedColour(SampleKind kind) { return kind == SampleKind::rgb565 || kind == SampleKind::rgb555; }

// Every so many samples of a row of components, from a first one.
struct Component {
  const char* name;
  std::uint32_t first;
  std::uint32_t step;
};

std::vector<Component> componentsOf(SampleKind kind, bool isChromaFirst) {
  if (kind == SampleKind::bgr24) return {{"R", 2, 3}, {"G", 1, 3}, {"B", 0, 3}};
  if (isPackedColour(kind)) return {{"R", 0, 3}, {"G", 1, 3}, {"B", 2, 3}};
  if (isChromaFirst) return {{"Y", 1, 2}, {"U", 0, 4}, {"V", 2, 4}};
  return {{"Y", 0, 2}, {"U", 1, 4}, {"V", 3, 4}};
}

}  // namespace

Samples::Samples(const LiveFrame& frame)
    : frame_(frame), shape_(*frame.shape), kind_(shape_.maker.kind()), isWide_(shape_.maker.isWide()) {
  if (!shape_.maker.hindrance().empty()) {
    throw Problem(409, "no-picture", "the samples cannot be told apart: " + shape_.maker.hindrance());
  }
  perPixel_ = countOf(kind_);
  if (isWide_) bits_ = shape_.layout.bits;
}

std::string Samples::colours() const {
  switch (kind_) {
    case SampleKind::bayer: return patternNames[shape_.picture.pattern % patternNames.size()];
    case SampleKind::yuyv: return shape_.picture.order == 1 ? "UYVY" : "YUYV";
    case SampleKind::rgb565:
    case SampleKind::rgb555: return "RGB";
    case SampleKind::bgr24: return "BGR";
    default: return "Y";
  }
}

void Samples::row(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint16_t* samples) const {
  const std::size_t first = std::size_t{y} * this->width() + x;
  const std::uint8_t* const bytes = frame_.bytes.data();
  if (isPackedColour(kind_)) {
    for (std::size_t i = 0; i < width; ++i) {
      unpack(wordAt(bytes, first + i), kind_ == SampleKind::rgb565, samples + 3 * i);
    }
    return;
  }
  const std::size_t count = std::size_t{width} * perPixel_;
  if (isWide_) {
    std::memcpy(samples, bytes + first * perPixel_ * 2, count * 2);
  } else {
    std::copy_n(bytes + first * perPixel_, count, samples);
  }
}

std::vector<Samples::NamedPlane> Samples::planes(const Region& region) const {
  return kind_ == SampleKind::bayer || kind_ == SampleKind::grey ? mosaicPlanes(region)
                                                                 : componentPlanes(region);
}

std::vector<Samples::NamedPlane> Samples::mosaicPlanes(const Region& region) const {
  std::vector<std::uint16_t> samples(std::size_t{region.width} * region.height);
  for (std::uint32_t y = 0; y < region.height; ++y) {
    row(region.x, region.y + y, region.width, samples.data() + std::size_t{y} * region.width);
  }
  // A region that begins in an odd column or row has the cell of its neighbour.
  const std::uint32_t pattern = shape_.picture.pattern ^ (region.x & 1) ^ (region.y & 1) << 1;
  analysis::Mosaic mosaic{samples, region.width, region.height, bits_,
                          static_cast<analysis::Pattern>(pattern)};
  if (kind_ == SampleKind::grey) mosaic.pattern = analysis::Pattern::none;
  std::vector<analysis::Plane> planes;
  analysis::splitMosaic(mosaic, planes);
  std::vector<NamedPlane> named;
  for (analysis::Plane& each : planes) {
    if (!each.samples.empty()) named.push_back({shortName(each.channel), std::move(each)});
  }
  return named;
}

std::vector<Samples::NamedPlane> Samples::componentPlanes(const Region& region) const {
  // Chroma belongs to pairs of pixels.
  const bool isPaired = kind_ == SampleKind::yuyv;
  const std::uint32_t x = isPaired ? region.x / 2 * 2 : region.x;
  const std::uint32_t right = isPaired ? (region.x + region.width + 1) / 2 * 2 : region.x + region.width;
  const std::uint32_t width = std::min(right, this->width()) - x;
  std::vector<std::uint16_t> line(std::size_t{width} * perPixel_);
  std::vector<NamedPlane> named;
  const auto components = componentsOf(kind_, shape_.picture.order == 1);
  named.reserve(components.size());
  for (const Component& each : components) named.push_back({each.name, {}});
  for (std::uint32_t y = 0; y < region.height; ++y) {
    row(x, region.y + y, width, line.data());
    for (std::size_t i = 0; i < components.size(); ++i) {
      auto& samples = named[i].plane.samples;
      for (std::size_t k = components[i].first; k < line.size(); k += components[i].step)
        samples.push_back(line[k]);
    }
  }
  for (NamedPlane& each : named) {
    each.plane.height = region.height;
    each.plane.width = static_cast<std::uint32_t>(each.plane.samples.size() / region.height);
  }
  return named;
}

Region regionIn(const Samples& samples, bool isGiven, const Region& region) {
  if (!isGiven) return {0, 0, samples.width(), samples.height()};
  const bool isInside = region.width > 0 && region.height > 0 && region.x < samples.width() &&
                        region.y < samples.height() && region.width <= samples.width() - region.x &&
                        region.height <= samples.height() - region.y;
  if (isInside) return region;
  throw Problem(422, "bad-value",
                "the rectangle must lie inside the frame of " + std::to_string(samples.width()) + " x " +
                    std::to_string(samples.height()),
                "rectangle");
}

}  // namespace cli::serve
