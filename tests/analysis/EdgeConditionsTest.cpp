// Every condition that spoils a measurement of sharpness raises its flag, and a good edge beside it does not.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "cli/analysis/SlantedEdge.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::EdgeFlag;
using analysis::Pattern;

constexpr analysis::Levels levels{0, 65535};

struct Setting {
  std::uint32_t width = 128;
  std::uint32_t height = 200;
  double sigma = 0.6;
  double degrees = 5;
  double dark = 6000;
  double bright = 54000;
  double noise = 0;
  double across = 0;  // share by which the light falls from left to right
  double wave = 0;    // pixels by which the edge swings
  Pattern pattern = Pattern::none;
};

std::vector<analysis::EdgeResult> measure(const Setting& setting) {
  scene::Frame frame(setting.width, setting.height, 16, setting.pattern);
  const scene::Edge edge{setting.sigma,        setting.degrees, setting.width / 2.0 - 0.37,
                         setting.height / 2.0, setting.dark,    setting.bright};
  scene::Normal normal(7);
  frame.fill([&](double x, double y) {
    const double light = 1 - setting.across * x / setting.width;
    return edge(x + setting.wave * std::sin(y / 6), y) * light + setting.noise * normal();
  });
  return analysis::measureEdge(frame.mosaic, levels, {0, 0, setting.width, setting.height}).results;
}

bool has(const analysis::EdgeResult& result, EdgeFlag flag) {
  return std::ranges::find(result.flags, flag) != result.flags.end();
}

bool raises(const Setting& setting, EdgeFlag flag) { return has(measure(setting).front(), flag); }

TEST(EdgeConditions, AGoodEdgeHasNoFlag) { EXPECT_TRUE(measure({}).front().flags.empty()); }

TEST(EdgeConditions, AnglesOutsideTheRangeAreTold) {
  for (const double degrees : {0.0, 1.0, 1.8, 11.0, 14.04, 20.0, 26.57}) {
    EXPECT_TRUE(raises({.width = 200, .degrees = degrees}, EdgeFlag::angle)) << degrees;
  }
  for (const double degrees : {2.0, 5.0, 10.0}) {
    EXPECT_FALSE(raises({.width = 200, .degrees = degrees}, EdgeFlag::angle)) << degrees;
  }
}

TEST(EdgeConditions, OneColourHasANarrowerRangeOfAngles) {
  const auto results = measure({.degrees = 9, .pattern = Pattern::rggb});
  EXPECT_FALSE(has(results[0], EdgeFlag::angle));
  for (std::size_t i = 1; i < results.size(); ++i) EXPECT_TRUE(has(results[i], EdgeFlag::angle));
}

TEST(EdgeConditions, QuartersWithoutSamplesAreTold) {
  EXPECT_TRUE(raises({.width = 200, .degrees = 26.565}, EdgeFlag::emptyBins));
  EXPECT_FALSE(raises({.width = 200, .degrees = 5}, EdgeFlag::emptyBins));
}

TEST(EdgeConditions, LowContrastIsTold) {
  EXPECT_TRUE(raises({.dark = 29000, .bright = 36000}, EdgeFlag::contrast));
  EXPECT_FALSE(raises({.dark = 20000, .bright = 36000}, EdgeFlag::contrast));
}

TEST(EdgeConditions, ClippedSamplesAreTold) {
  EXPECT_TRUE(raises({.bright = 70000}, EdgeFlag::clipping));
  EXPECT_TRUE(raises({.dark = -5000}, EdgeFlag::clipping));
  EXPECT_FALSE(raises({.bright = 65000}, EdgeFlag::clipping));
}

TEST(EdgeConditions, TooFewLinesAreTold) {
  EXPECT_TRUE(raises({.height = 50}, EdgeFlag::fewLines));  // 4.4 columns
  EXPECT_FALSE(raises({.height = 60}, EdgeFlag::fewLines));
  const auto results = measure({.height = 100, .pattern = Pattern::rggb});
  EXPECT_FALSE(has(results[0], EdgeFlag::fewLines));
  EXPECT_TRUE(has(results[1], EdgeFlag::fewLines));  // every second column and line
}

TEST(EdgeConditions, NoiseIsTold) {
  EXPECT_TRUE(raises({.noise = 2000}, EdgeFlag::noise));
  const auto little = measure({.noise = 480}).front();
  EXPECT_FALSE(has(little, EdgeFlag::noise));
  EXPECT_NEAR(little.noise, 0.01, 0.0003);
}

TEST(EdgeConditions, RegionsThatCutTheEdgeOffAreTold) {
  EXPECT_TRUE(raises({.width = 32, .height = 100, .sigma = 1.8}, EdgeFlag::narrowRegion));
  EXPECT_TRUE(raises({.width = 20, .height = 100}, EdgeFlag::narrowRegion));
  EXPECT_FALSE(raises({.width = 64, .height = 100}, EdgeFlag::narrowRegion));
}

TEST(EdgeConditions, UnevenLightIsTold) {
  EXPECT_TRUE(raises({.across = 0.2}, EdgeFlag::unevenLight));
  EXPECT_FALSE(raises({.across = 0.02}, EdgeFlag::unevenLight));
}

TEST(EdgeConditions, CrookedEdgesAreTold) {
  EXPECT_TRUE(raises({.wave = 0.6}, EdgeFlag::notStraight));
  EXPECT_FALSE(raises({.wave = 0.05}, EdgeFlag::notStraight));
}

TEST(EdgeConditions, StepsWithoutAnyBlurAreTooSharp) {
  EXPECT_TRUE(raises({.sigma = 0.05}, EdgeFlag::tooSharp));
  EXPECT_FALSE(measure({.sigma = 0.05}).front().sfr50);
}

TEST(EdgeConditions, FlatNoisyAndTinyRegionsHaveNoEdge) {
  for (const Setting& setting : {Setting{.dark = 20000, .bright = 20000}, Setting{.width = 4, .height = 4},
                                 Setting{.width = 1, .height = 1}, Setting{.dark = 0, .bright = 0},
                                 Setting{.width = 3, .height = 300}, Setting{.width = 300, .height = 3}}) {
    for (const Pattern pattern : {Pattern::none, Pattern::gbrg}) {
      Setting both = setting;
      both.pattern = pattern;
      for (const auto& result : measure(both)) {
        EXPECT_TRUE(has(result, EdgeFlag::noEdge));
        EXPECT_FALSE(result.sfr50);
        EXPECT_TRUE(result.curve.empty());
      }
    }
  }
  const auto noise = measure({.dark = 20000, .bright = 20000, .noise = 900}).front();
  EXPECT_FALSE(noise.flags.empty());
}

TEST(EdgeConditions, EveryFlagHasANameAndASentence) {
  for (int i = 0; i <= static_cast<int>(EdgeFlag::tooSharp); ++i) {
    EXPECT_NE(std::string(nameOf(static_cast<EdgeFlag>(i))), "");
    EXPECT_NE(std::string(textOf(static_cast<EdgeFlag>(i))), "");
  }
}

TEST(EdgeConditions, RegionsMustLieInTheFrame) {
  const scene::Frame frame(20, 10, 8, Pattern::none);
  EXPECT_TRUE(analysis::isInside({0, 0, 20, 10}, frame.mosaic));
  EXPECT_TRUE(analysis::isInside({19, 9, 1, 1}, frame.mosaic));
  EXPECT_FALSE(analysis::isInside({1, 0, 20, 10}, frame.mosaic));
  EXPECT_FALSE(analysis::isInside({0, 1, 20, 10}, frame.mosaic));
  EXPECT_FALSE(analysis::isInside({0, 0, 0, 10}, frame.mosaic));
  EXPECT_FALSE(analysis::isInside({20, 0, 1, 1}, frame.mosaic));
  EXPECT_FALSE(analysis::isInside({4294967295U, 0, 2, 1}, frame.mosaic));
}

}  // namespace
