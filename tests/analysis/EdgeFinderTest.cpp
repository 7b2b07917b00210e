#include <gtest/gtest.h>

#include "cli/analysis/SlantedEdge.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

constexpr analysis::Levels levels{0, 65535};

// A dark square, turned, on a bright ground: four slanted edges.
double turnedSquare(double x, double y) {
  constexpr double half = 170;
  const scene::Edge left{0.8, 5, -half, 0, 0, 1};
  const double u = x - 410;
  const double v = y - 300;
  const double inside = left(u, v) * left(-u, -v) * left(v, -u) * left(-v, u);
  return 52000 - 44000 * inside;
}

TEST(EdgeFinder, FindsAnEdgeOfATurnedSquare) {
  scene::Frame frame(800, 600, 16, Pattern::grbg);
  frame.fill(turnedSquare);
  const auto region = analysis::findEdge(frame.mosaic, levels);
  ASSERT_TRUE(region);
  ASSERT_TRUE(analysis::isInside(*region, frame.mosaic));
  const auto result = analysis::measureEdge(frame.mosaic, levels, *region).results.front();
  EXPECT_TRUE(result.flags.empty());
  EXPECT_NEAR(*result.sfr50 / scene::Edge{.sigma = 0.8}.sfr50(), 1, 0.005);
  EXPECT_NEAR(result.angle, 5, 0.05);
}

TEST(EdgeFinder, FindsNothingWhereNothingIs) {
  scene::Frame flat(800, 600, 16, Pattern::grbg);
  scene::Normal normal(3);
  flat.fill([&normal](double, double) { return 20000 + 300 * normal(); });
  EXPECT_FALSE(analysis::findEdge(flat.mosaic, levels));
}

TEST(EdgeFinder, StraightEdgesAreNoSlantedOnes) {
  scene::Frame frame(400, 400, 16, Pattern::none);
  frame.fill(scene::Edge{.degrees = 0, .middleX = 200.3, .middleY = 200});
  EXPECT_FALSE(analysis::findEdge(frame.mosaic, levels));
}

TEST(EdgeFinder, FramesSmallerThanARegionHaveNone) {
  for (const std::uint32_t size : {1U, 7U, 8U, 127U}) {
    scene::Frame frame(size, size, 16, Pattern::none);
    frame.fill(scene::Edge{.middleX = size / 2.0, .middleY = size / 2.0});
    EXPECT_FALSE(analysis::findEdge(frame.mosaic, levels)) << size;
  }
}

}  // namespace
