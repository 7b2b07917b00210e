#include <gtest/gtest.h>

#include <cmath>

#include "cli/analysis/Series.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

analysis::Statistics statisticsOf(const analysis::Mosaic& mosaic, analysis::Levels levels) {
  analysis::Series series(levels, 0.02);
  EXPECT_TRUE(series.add(mosaic));
  return series.finish();
}

TEST(Values, AreThoseOfEachColour) {
  scene::Frame frame(4, 4, 10, Pattern::rggb);
  frame.fill([](std::uint32_t x, std::uint32_t y) { return 10 * y + x; });
  frame.at(0, 0) = 0;
  frame.at(3, 3) = 1023;
  const auto statistics = statisticsOf(frame.mosaic, {4, 1000});
  ASSERT_EQ(statistics.channels.size(), 4U);
  const auto& red = statistics.channels[0].values;  // 0, 2, 20, 22
  EXPECT_EQ(red.count, 4U);
  EXPECT_EQ(red.least, 0);
  EXPECT_EQ(red.greatest, 22);
  EXPECT_DOUBLE_EQ(red.mean, 11);
  EXPECT_DOUBLE_EQ(red.sigma, std::sqrt((121 + 81 + 81 + 121) / 4.0));
  EXPECT_DOUBLE_EQ(red.blackShare, 0.5);
  EXPECT_DOUBLE_EQ(red.saturatedShare, 0);
  const auto& blue = statistics.channels[3].values;  // 11, 13, 31, 1023
  EXPECT_EQ(blue.greatest, 1023);
  EXPECT_DOUBLE_EQ(blue.mean, 269.5);
  EXPECT_DOUBLE_EQ(blue.saturatedShare, 0.25);
  EXPECT_DOUBLE_EQ(blue.blackShare, 0);
  EXPECT_EQ(statistics.channels[1].channel, analysis::Channel::greenRed);
  EXPECT_DOUBLE_EQ(statistics.channels[1].values.mean, 12);  // 1, 3, 21, 23
  EXPECT_DOUBLE_EQ(statistics.channels[2].values.mean, 21);  // 10, 12, 30, 32
}

TEST(Values, HistogramsHave256BinsOfEqualWidth) {
  scene::Frame frame(3, 2, 10, Pattern::none);
  frame.samples.assign({0, 3, 4, 1020, 1023, 5000});
  const auto statistics = statisticsOf(frame.mosaic, analysis::fullRange(10));
  const auto& histogram = statistics.channels[0].histogram;
  ASSERT_EQ(histogram.size(), 256U);
  EXPECT_EQ(histogram[0], 2U);
  EXPECT_EQ(histogram[1], 1U);
  EXPECT_EQ(histogram[255], 3U);  // what lies beyond the depth too
  EXPECT_EQ(statistics.channels[0].values.beyondDepth, 1U);
  EXPECT_EQ(statistics.channels[0].values.greatest, 5000);
}

TEST(Values, OfSeveralFramesAreThoseOfAllTheirSamples) {
  scene::Frame first(2, 1, 8, Pattern::none);
  scene::Frame second(2, 1, 8, Pattern::none);
  first.samples.assign({10, 20});
  second.samples.assign({30, 60});
  analysis::Series series(analysis::fullRange(8), 0.02);
  ASSERT_TRUE(series.add(first.mosaic));
  ASSERT_TRUE(series.add(second.mosaic));
  const auto statistics = series.finish();
  EXPECT_EQ(statistics.frames, 2U);
  EXPECT_EQ(statistics.channels[0].values.count, 4U);
  EXPECT_DOUBLE_EQ(statistics.channels[0].values.mean, 30);
}

TEST(Values, GaussianNoiseHasItsSigma) {
  scene::Frame frame(1000, 800, 12, Pattern::grbg);
  scene::Normal normal(11);
  frame.fill([&normal](double, double) { return 1500 + 40 * normal(); });
  for (const auto& channel : statisticsOf(frame.mosaic, analysis::fullRange(12)).channels) {
    // Rounding adds a twelfth to the variance; 200,000 samples tell sigma to 0.16 %.
    EXPECT_NEAR(channel.values.sigma, std::sqrt(1600 + 1 / 12.0), 0.3);
    EXPECT_NEAR(channel.values.mean, 1500, 0.4);
  }
}

TEST(Values, TinyFramesAreTaken) {
  for (std::uint32_t width = 1; width <= 6; ++width) {
    for (std::uint32_t height = 1; height <= 6; ++height) {
      for (const Pattern pattern : {Pattern::grbg, Pattern::none}) {
        scene::Frame frame(width, height, 8, pattern);
        frame.fill([](double, double) { return 77; });
        analysis::Series series(analysis::fullRange(8), 0.02);
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(series.add(frame.mosaic));
        for (const auto& channel : series.finish().channels) {
          if (channel.values.count == 0) continue;
          EXPECT_DOUBLE_EQ(channel.values.mean, 77);
          EXPECT_TRUE(channel.outliers.defects.empty());
        }
      }
    }
  }
}

}  // namespace
