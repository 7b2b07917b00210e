// Sharpness of edges whose response is known: a Gaussian blur, with and without the aperture of square
// pixels.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>

#include "cli/analysis/SlantedEdge.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

constexpr std::array sigmas{0.4, 0.6, 1.0, 1.8};
constexpr std::array angles{2.0, 3.0, 4.0, 5.0, 6.0, 7.0};
constexpr analysis::Levels levels{0, 65535};

scene::Edge edgeIn(std::uint32_t width, std::uint32_t height, double sigma, double degrees) {
  // Not on a pixel's middle, nor between two.
  return {sigma, degrees, width / 2.0 - 0.37, height / 2.0 + 0.11};
}

class Edges : public testing::TestWithParam<double> {};
INSTANTIATE_TEST_SUITE_P(Sigma, Edges, testing::ValuesIn(sigmas), [](const auto& value) {
  return std::to_string(static_cast<int>(value.param * 10));
});

TEST_P(Edges, OfAllPixelsAreMeasuredWithinHalfAPercent) {
  for (const double degrees : angles) {
    for (const double sign : {-1.0, 1.0}) {
      scene::Frame frame(128, 200, 16, Pattern::none);
      const scene::Edge edge = edgeIn(128, 200, GetParam(), sign * degrees);
      frame.fill(edge);
      const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
      ASSERT_EQ(report.results.size(), 1U);
      const auto& result = report.results.front();
      EXPECT_TRUE(result.flags.empty()) << degrees << " " << nameOf(result.flags.front());
      ASSERT_TRUE(result.sfr50);
      EXPECT_NEAR(*result.sfr50 / edge.sfr50(), 1, 0.005) << degrees;
      EXPECT_NEAR(result.angle, degrees, 0.01);
    }
  }
}

TEST_P(Edges, OfOneColourAreMeasuredWithinOneAndAHalfPercent) {
  for (const double degrees : angles) {
    for (const double sign : {-1.0, 1.0}) {
      scene::Frame frame(128, 200, 16, Pattern::grbg);
      const scene::Edge edge = edgeIn(128, 200, GetParam(), sign * degrees);
      frame.fill(edge);
      const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
      ASSERT_EQ(report.results.size(), 5U);
      for (const auto& result : report.results) {
        const char* name = result.channel ? nameOf(*result.channel) : "all";
        ASSERT_TRUE(result.sfr50) << name << degrees;
        EXPECT_NEAR(*result.sfr50 / edge.sfr50(), 1, result.channel ? 0.015 : 0.005)
            << name << " " << degrees;
        EXPECT_NEAR(result.angle, degrees, 0.02) << name;
      }
    }
  }
}

TEST_P(Edges, LieAcrossAsWell) {
  scene::Frame frame(200, 128, 16, Pattern::rggb);
  const scene::Edge edge = edgeIn(128, 200, GetParam(), 5);
  frame.fill([&edge](double x, double y) { return edge(y, x); });
  const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 200, 128});
  EXPECT_TRUE(report.across);
  for (const auto& result : report.results) {
    ASSERT_TRUE(result.sfr50);
    EXPECT_NEAR(*result.sfr50 / edge.sfr50(), 1, result.channel ? 0.015 : 0.005);
    EXPECT_TRUE(result.flags.empty());
  }
}

TEST_P(Edges, FallAsWellAsTheyRise) {
  scene::Frame frame(128, 200, 16, Pattern::none);
  scene::Edge edge = edgeIn(128, 200, GetParam(), 4);
  std::swap(edge.dark, edge.bright);
  frame.fill(edge);
  const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
  EXPECT_NEAR(*report.results.front().sfr50 / edge.sfr50(), 1, 0.005);
  EXPECT_TRUE(report.results.front().flags.empty());
}

TEST_P(Edges, HaveTheWholeCurveOfTheirBlur) {
  scene::Frame frame(128, 200, 16, Pattern::none);
  const scene::Edge edge = edgeIn(128, 200, GetParam(), 5);
  frame.fill(edge);
  const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
  const auto& result = report.results.front();
  ASSERT_EQ(result.curve.size(), analysis::EdgeResult::curvePoints);
  for (std::size_t i = 0; i <= 25; ++i) {
    const double frequency = analysis::EdgeResult::curveStep * static_cast<double>(i);
    const double expected = std::exp(-2 * std::pow(std::numbers::pi * GetParam() * frequency, 2));
    EXPECT_NEAR(result.curve[i], expected, 0.007) << frequency;
  }
}

// With the aperture: the blur's response times sinc(f cos a) sinc(f sin a), at 5 degrees.
TEST(EdgeResponse, HoldsTheApertureOfSquarePixels) {
  const std::array expected{0.3766, 0.2807, 0.1800, 0.1028};
  for (std::size_t i = 0; i < sigmas.size(); ++i) {
    scene::Frame frame(128, 200, 16, Pattern::none);
    const scene::Edge edge = edgeIn(128, 200, sigmas[i], 5);
    frame.fill([&edge](double x, double y) {
      constexpr int parts = 8;
      double sum = 0;
      for (int k = 0; k < parts * parts; ++k) {
        sum += edge(x + (k % parts + 0.5) / parts - 0.5, y + (k / parts + 0.5) / parts - 0.5);
      }
      return sum / (parts * parts);
    });
    const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
    EXPECT_NEAR(*report.results.front().sfr50 / expected[i], 1, 0.005) << sigmas[i];
  }
}

TEST(EdgeResponse, OfAllPixelsDoesNotDependOnTheStrengthOfTheColours) {
  const std::array gains{0.45, 1.0, 0.95, 0.6};
  scene::Frame frame(128, 200, 16, Pattern::bggr);
  const scene::Edge edge = edgeIn(128, 200, 0.6, 5);
  frame.fill([&](std::uint32_t x, std::uint32_t y) {
    return gains[static_cast<std::size_t>(analysis::channelAt(Pattern::bggr, x, y))] * edge(x, y);
  });
  const auto report = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200});
  for (const auto& result : report.results) {
    EXPECT_NEAR(*result.sfr50 / edge.sfr50(), 1, result.channel ? 0.015 : 0.005);
  }
}

TEST(EdgeResponse, TellsHowFarColoursAreShifted) {
  scene::Frame frame(128, 200, 16, Pattern::rggb);
  const scene::Edge edge = edgeIn(128, 200, 1, 5);
  frame.fill([&](std::uint32_t x, std::uint32_t y) {
    const bool isRed = analysis::channelAt(Pattern::rggb, x, y) == analysis::Channel::red;
    return edge(isRed ? x - 0.3 : x, y);
  });
  const auto results = analysis::measureEdge(frame.mosaic, levels, {0, 0, 128, 200}).results;
  ASSERT_EQ(results[1].channel, analysis::Channel::red);
  EXPECT_NEAR(results[1].place - results[2].place, 0.3, 0.01);
  EXPECT_NEAR(results[4].place - results[2].place, 0, 0.01);
}

}  // namespace
