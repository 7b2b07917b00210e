#include "cli/analysis/Mosaic.h"

#include <algorithm>
#include <array>

namespace analysis {

namespace {

// Channels of the cell, row by row, for each pattern.
constexpr std::array<std::array<Channel, 4>, 4> cells{{
    {Channel::greenRed, Channel::red, Channel::blue, Channel::greenBlue},
    {Channel::red, Channel::greenRed, Channel::greenBlue, Channel::blue},
    {Channel::blue, Channel::greenBlue, Channel::greenRed, Channel::red},
    {Channel::greenBlue, Channel::blue, Channel::red, Channel::greenRed},
}};

constexpr std::array<Channel, 4> order{Channel::red, Channel::greenRed, Channel::greenBlue, Channel::blue};

void copyPlane(const Mosaic& mosaic, Plane& plane) {
  const auto count = [&plane](std::uint32_t size, std::uint32_t first) {
    return size <= first ? 0 : (size - first - 1) / plane.step + 1;
  };
  plane.width = count(mosaic.width, plane.firstX);
  plane.height = count(mosaic.height, plane.firstY);
  plane.samples.resize(std::size_t{plane.width} * plane.height);
  std::uint16_t* to = plane.samples.data();
  for (std::uint32_t y = 0; y < plane.height; ++y) {
    const std::uint16_t* from =
        mosaic.samples.data() + std::size_t{plane.firstY + y * plane.step} * mosaic.width + plane.firstX;
    if (plane.step == 1) {
      to = std::copy_n(from, plane.width, to);
    } else {
      for (std::uint32_t x = 0; x < plane.width; ++x) *to++ = from[2 * x];
    }
  }
}

}  // namespace

const char* nameOf(Channel channel) {
  constexpr std::array<const char*, 5> names{"R", "Gr", "Gb", "B", "grey"};
  return names[static_cast<std::size_t>(channel)];
}

Channel channelAt(Pattern pattern, std::uint32_t x, std::uint32_t y) {
  if (pattern == Pattern::none) return Channel::grey;
  return cells[static_cast<std::size_t>(pattern)][(y % 2) * 2 + x % 2];
}

Levels fullRange(unsigned bits) { return {0, static_cast<std::uint16_t>((1U << std::min(bits, 16U)) - 1)}; }

void splitMosaic(const Mosaic& mosaic, std::vector<Plane>& planes) {
  if (mosaic.pattern == Pattern::none) {
    planes.resize(1);
    planes[0].channel = Channel::grey;
    copyPlane(mosaic, planes[0]);
    return;
  }
  planes.resize(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    Plane& plane = planes[i];
    plane.channel = order[i];
    plane.step = 2;
    for (std::uint32_t site = 0; site < 4; ++site) {
      if (channelAt(mosaic.pattern, site % 2, site / 2) != order[i]) continue;
      plane.firstX = site % 2;
      plane.firstY = site / 2;
    }
    copyPlane(mosaic, plane);
  }
}

}  // namespace analysis
