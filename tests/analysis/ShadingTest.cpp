#include <gtest/gtest.h>

#include "cli/analysis/Series.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

// The mean of 1 - k (u^2 + v^2) over a block, u and v from -1 to 1 over the frame: that of u^2 over a block
// of width b about m is m^2 + b^2 / 12.
double meanOfBlock(double k, double middle) {
  const double width = 0.2;  // a tenth of the frame
  return 1 - k * 2 * (middle * middle + width * width / 12);
}

TEST(Shading, OfAKnownFallIsTheRatioOfTheBlocks) {
  for (const double k : {0.05, 0.2, 0.4}) {
    scene::Frame frame(1600, 1200, 16, Pattern::grbg);
    frame.fill([k](std::uint32_t x, std::uint32_t y) {
      const double u = (2.0 * x + 1) / 1600 - 1;
      const double v = (2.0 * y + 1) / 1200 - 1;
      return 1000 + 50000 * (1 - k * (u * u + v * v));
    });
    analysis::Series series({1000, 65535}, 0.02);
    ASSERT_TRUE(series.add(frame.mosaic));
    for (const auto& channel : series.finish().channels) {
      ASSERT_TRUE(channel.shading);
      EXPECT_NEAR(channel.shading->centre, 50000 * meanOfBlock(k, 0), 10);
      // A colour's samples lie half a pixel beside the middle of their cells.
      for (const double corner : channel.shading->corners) {
        EXPECT_NEAR(corner, meanOfBlock(k, 0.9) / meanOfBlock(k, 0), 0.0015);
      }
    }
  }
}

TEST(Shading, CornersAreNamedInOrder) {
  scene::Frame frame(100, 100, 12, Pattern::none);
  frame.fill([](std::uint32_t x, std::uint32_t y) {
    if (x < 20 && y < 20) return 800;
    if (x >= 80 && y < 20) return 600;
    if (x < 20 && y >= 80) return 400;
    return x >= 80 && y >= 80 ? 200 : 1000;
  });
  analysis::Series series({0, 4095}, 0.02);
  ASSERT_TRUE(series.add(frame.mosaic));
  const auto shading = series.finish().channels[0].shading;
  ASSERT_TRUE(shading);
  EXPECT_DOUBLE_EQ(shading->corners[0], 0.8);
  EXPECT_DOUBLE_EQ(shading->corners[1], 0.6);
  EXPECT_DOUBLE_EQ(shading->corners[2], 0.4);
  EXPECT_DOUBLE_EQ(shading->corners[3], 0.2);
}

TEST(Shading, BlackFramesHaveNone) {
  scene::Frame frame(100, 100, 12, Pattern::none);
  frame.fill([](double, double) { return 64; });
  analysis::Series series({64, 4095}, 0.02);
  ASSERT_TRUE(series.add(frame.mosaic));
  EXPECT_FALSE(series.finish().channels[0].shading);
}

}  // namespace
