#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "cli/analysis/Defects.h"
#include "cli/analysis/Series.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

struct Place {
  std::uint32_t x, y;
  std::uint16_t value;
};

// Corners, borders, the middle, and two neighbours of one colour.
constexpr Place planted[] = {{0, 0, 1023},   {199, 0, 0},     {0, 149, 0},  {199, 149, 1023},
                             {100, 0, 1023}, {60, 149, 0},    {0, 70, 900}, {199, 71, 100},
                             {98, 75, 1000}, {100, 75, 1000}, {51, 33, 0}};

void plant(scene::Frame& frame, double noise, std::uint32_t seed) {
  scene::Normal normal(seed);
  frame.fill([&](double, double) { return 500 + noise * normal(); });
  for (const auto& [x, y, value] : planted) frame.at(x, y) = value;
}

TEST(Defects, PlantedOnesAreFoundAndNoOthers) {
  for (const Pattern pattern : {Pattern::grbg, Pattern::bggr, Pattern::none}) {
    for (const double noise : {0.0, 5.0, 20.0}) {
      scene::Frame frame(200, 150, 10, pattern);
      plant(frame, noise, 3);
      analysis::Series series(analysis::fullRange(10), 0.02);
      ASSERT_TRUE(series.add(frame.mosaic));
      std::set<std::pair<std::uint32_t, std::uint32_t>> found;
      for (const auto& channel : series.finish().channels) {
        EXPECT_FALSE(channel.outliers.tooMany);
        for (const auto& defect : channel.outliers.defects) {
          found.emplace(defect.x, defect.y);
          EXPECT_EQ(defect.channel, analysis::channelAt(pattern, defect.x, defect.y));
          EXPECT_EQ(defect.value, frame.at(defect.x, defect.y));
          EXPECT_EQ(defect.isHigh(), defect.value > 500);
          EXPECT_NEAR(defect.expected, 500, 3 * noise + 1);
        }
      }
      std::set<std::pair<std::uint32_t, std::uint32_t>> expected;
      for (const auto& [x, y, value] : planted) expected.emplace(x, y);
      EXPECT_EQ(found, expected) << noise;
    }
  }
}

TEST(Defects, AreThoseOfTheMeanOfTheFrames) {
  analysis::Series series(analysis::fullRange(10), 0.02);
  for (std::uint32_t i = 0; i < 8; ++i) {
    scene::Frame frame(200, 150, 10, Pattern::none);
    plant(frame, 10, i);
    if (i == 4) frame.at(30, 30) = 560;  // in one frame alone, and gone in the mean
    ASSERT_TRUE(series.add(frame.mosaic));
  }
  const auto outliers = series.finish().channels[0].outliers;
  EXPECT_EQ(outliers.defects.size(), std::size(planted));
}

TEST(Defects, ThresholdIsTheShareOrTheNoise) {
  scene::Frame quiet(100, 100, 12, Pattern::none);
  quiet.fill([](double, double) { return 1000; });
  quiet.at(50, 50) = 1082;
  quiet.at(20, 20) = 1081;
  std::vector<analysis::Plane> planes;
  splitMosaic(quiet.mosaic, planes);
  const auto found = analysis::findOutliers(planes[0], {0, 4095}, 0.02);  // 81.9
  ASSERT_EQ(found.defects.size(), 1U);
  EXPECT_EQ(found.defects[0].x, 50U);
  EXPECT_DOUBLE_EQ(found.threshold, 81.9);

  scene::Frame noisy(500, 500, 12, Pattern::none);
  scene::Normal normal(8);
  noisy.fill([&normal](double, double) { return 2000 + 50 * normal(); });
  splitMosaic(noisy.mosaic, planes);
  const auto none = analysis::findOutliers(planes[0], {0, 4095}, 0.02);
  EXPECT_NEAR(none.threshold, 400, 8);
  EXPECT_TRUE(none.defects.empty());
}

TEST(Defects, ScenesFullOfDetailAreNotJudged) {
  scene::Frame frame(300, 300, 10, Pattern::none);
  frame.fill([](std::uint32_t x, std::uint32_t y) { return x % 7 == 0 && y % 7 == 0 ? 900 : 200; });
  std::vector<analysis::Plane> planes;
  splitMosaic(frame.mosaic, planes);
  const auto outliers = analysis::findOutliers(planes[0], {0, 1023}, 0.02);
  EXPECT_TRUE(outliers.tooMany);
  EXPECT_TRUE(outliers.defects.empty());
}

}  // namespace
