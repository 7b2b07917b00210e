#include <gtest/gtest.h>

#include "cli/analysis/Mosaic.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Channel;
using analysis::Pattern;

TEST(Mosaic, PatternsNameTheirFirstCell) {
  const struct {
    Pattern pattern;
    Channel cell[4];
  } cases[] = {{Pattern::grbg, {Channel::greenRed, Channel::red, Channel::blue, Channel::greenBlue}},
               {Pattern::rggb, {Channel::red, Channel::greenRed, Channel::greenBlue, Channel::blue}},
               {Pattern::bggr, {Channel::blue, Channel::greenBlue, Channel::greenRed, Channel::red}},
               {Pattern::gbrg, {Channel::greenBlue, Channel::blue, Channel::red, Channel::greenRed}},
               {Pattern::none, {Channel::grey, Channel::grey, Channel::grey, Channel::grey}}};
  for (const auto& [pattern, cell] : cases) {
    for (std::uint32_t i = 0; i < 4; ++i) {
      EXPECT_EQ(analysis::channelAt(pattern, i % 2, i / 2), cell[i]);
      EXPECT_EQ(analysis::channelAt(pattern, 6 + i % 2, 8 + i / 2), cell[i]);
    }
  }
}

TEST(Mosaic, PlanesHoldEachSampleOnce) {
  for (const Pattern pattern : {Pattern::grbg, Pattern::rggb, Pattern::bggr, Pattern::gbrg, Pattern::none}) {
    for (std::uint32_t width = 1; width <= 6; ++width) {
      for (std::uint32_t height = 1; height <= 5; ++height) {
        scene::Frame frame(width, height, 16, pattern);
        frame.fill([](std::uint32_t x, std::uint32_t y) { return 100 * y + x + 1; });
        std::vector<analysis::Plane> planes;
        splitMosaic(frame.mosaic, planes);
        std::size_t total = 0;
        for (const auto& plane : planes) {
          ASSERT_EQ(plane.samples.size(), std::size_t{plane.width} * plane.height);
          total += plane.samples.size();
          for (std::uint32_t i = 0; i < plane.samples.size(); ++i) {
            const std::uint32_t x = plane.firstX + i % plane.width * plane.step;
            const std::uint32_t y = plane.firstY + i / plane.width * plane.step;
            EXPECT_EQ(plane.samples[i], 100 * y + x + 1);
            EXPECT_EQ(analysis::channelAt(pattern, x, y), plane.channel);
          }
        }
        EXPECT_EQ(total, frame.samples.size());
      }
    }
  }
}

TEST(Mosaic, RangesFollowTheDepth) {
  EXPECT_EQ(analysis::fullRange(8).white, 255);
  EXPECT_EQ(analysis::fullRange(10).white, 1023);
  EXPECT_EQ(analysis::fullRange(16).white, 65535);
  EXPECT_EQ(analysis::fullRange(16).black, 0);
}

}  // namespace
