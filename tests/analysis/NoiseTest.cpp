// A simulated sensor of known noise, fixed pattern, shading and flicker.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "cli/analysis/HighPass.h"
#include "cli/analysis/Series.h"
#include "tests/analysis/Scene.h"

namespace {

using analysis::Pattern;

constexpr std::uint32_t width = 600;
constexpr std::uint32_t height = 500;

struct Sensor {
  double temporal = 20;
  double pattern = 8;
  double shading = 0.2;  // by so much the corners are darker
  double flicker = 0;    // share by which every second frame is brighter
};

analysis::Statistics shoot(const Sensor& sensor, unsigned frames) {
  scene::Normal normal(5);
  std::vector<double> own(std::size_t{width} * height);
  for (double& value : own) value = sensor.pattern * normal();
  analysis::Series series(analysis::fullRange(12), 0.1);
  for (unsigned i = 0; i < frames; ++i) {
    scene::Frame frame(width, height, 12, Pattern::rggb);
    frame.fill([&](std::uint32_t x, std::uint32_t y) {
      const double u = 2.0 * x / width - 1;
      const double v = 2.0 * y / height - 1;
      const double light = 2000 * (1 - sensor.shading * (u * u + v * v) / 2) * (1 + (i % 2) * sensor.flicker);
      return light + own[std::size_t{y} * width + x] + sensor.temporal * normal();
    });
    EXPECT_TRUE(series.add(frame.mosaic));
  }
  return series.finish();
}

constexpr double rounding = 1 / 12.0;  // the variance that whole numbers add

TEST(Noise, OfTwoFramesIsTheTemporalOne) {
  for (const auto& channel : shoot({}, 2).channels) {
    EXPECT_FALSE(channel.noise.upperBound);
    EXPECT_NEAR(channel.noise.temporal.value(), std::sqrt(400 + rounding), 0.2);
    EXPECT_NEAR(channel.noise.fixedPattern.value(), 8, 0.5);
  }
}

TEST(Noise, OfEightFramesIsNearer) {
  for (const auto& channel : shoot({}, 8).channels) {
    EXPECT_NEAR(channel.noise.temporal.value(), std::sqrt(400 + rounding), 0.1);
    EXPECT_NEAR(channel.noise.fixedPattern.value(), 8, 0.15);
  }
}

TEST(Noise, FlickeringLightIsNone) {
  for (const unsigned frames : {2U, 4U}) {
    for (const auto& channel : shoot({.shading = 0, .flicker = 0.01}, frames).channels) {
      EXPECT_NEAR(channel.noise.temporal.value(), std::sqrt(400 + rounding), 0.2);
    }
  }
}

TEST(Noise, OfOneFrameIsAnUpperBound) {
  for (const auto& channel : shoot({}, 1).channels) {
    EXPECT_FALSE(channel.noise.temporal);
    EXPECT_FALSE(channel.noise.fixedPattern);
    EXPECT_NEAR(channel.noise.upperBound.value(), std::sqrt(400 + 64 + rounding), 0.2);
    EXPECT_GT(channel.values.sigma, 60);  // the shading is in it
  }
}

TEST(Noise, APatternThatIsNotThereIsNotMeasured) {
  // Its variance comes out below zero as often as above; with these numbers in some channels.
  unsigned missing = 0;
  for (const auto& channel : shoot({.pattern = 0}, 3).channels) {
    if (!channel.noise.fixedPattern) ++missing;
    EXPECT_LT(channel.noise.fixedPattern.value_or(0), 1.5);
  }
  EXPECT_GT(missing, 0U);
  const auto still = shoot({.temporal = 0, .pattern = 0, .shading = 0}, 4);
  for (const auto& channel : still.channels) {
    EXPECT_DOUBLE_EQ(channel.noise.temporal.value(), 0);
    EXPECT_DOUBLE_EQ(channel.noise.fixedPattern.value(), 0);
  }
}

TEST(Noise, FramesOfAnotherKindAreNotAdded) {
  const scene::Frame first(16, 8, 10, Pattern::rggb);
  analysis::Series series(analysis::fullRange(10), 0.02);
  ASSERT_TRUE(series.add(first.mosaic));
  EXPECT_FALSE(series.add(scene::Frame(8, 16, 10, Pattern::rggb).mosaic));
  EXPECT_FALSE(series.add(scene::Frame(16, 8, 12, Pattern::rggb).mosaic));
  EXPECT_FALSE(series.add(scene::Frame(16, 8, 10, Pattern::bggr).mosaic));
  EXPECT_EQ(series.finish().frames, 1U);
}

// By the definition, sample by sample.
TEST(HighPass, IsTheDeviationFromTheMeanAround) {
  scene::Frame frame(23, 17, 16, Pattern::none);
  std::mt19937 source(9);
  for (auto& sample : frame.samples) sample = static_cast<std::uint16_t>(source());
  std::vector<analysis::Plane> planes;
  splitMosaic(frame.mosaic, planes);
  std::vector<double> rests;
  double sum = 0;
  for (std::uint32_t y = 2; y + 2 < 17; ++y) {
    for (std::uint32_t x = 2; x + 2 < 23; ++x) {
      double around = 0;
      for (std::uint32_t i = 0; i < 25; ++i) around += frame.at(x - 2 + i % 5, y - 2 + i / 5);
      rests.push_back(frame.at(x, y) - around / 25);
      sum += rests.back();
    }
  }
  double squares = 0;
  const auto count = static_cast<double>(rests.size());
  for (const double rest : rests) squares += (rest - sum / count) * (rest - sum / count);
  const double expected = squares / count * 25 / 24;
  EXPECT_NEAR(analysis::highPassVariance(planes[0]).value() / expected, 1, 1e-12);
  const std::vector<std::uint32_t> sums(frame.samples.begin(), frame.samples.end());
  EXPECT_NEAR(analysis::highPassVariance(sums, 23, 17).value() / expected, 1, 1e-12);
  EXPECT_FALSE(analysis::highPassVariance(sums, 4, 17));
  EXPECT_FALSE(analysis::highPassVariance(sums, 23, 4));
}

TEST(HighPass, RobustNoiseDoesNotSeeSingleSamples) {
  scene::Frame frame(900, 700, 12, Pattern::none);
  scene::Normal normal(21);
  frame.fill([&normal](double, double) { return 1000 + 12 * normal(); });
  for (std::uint32_t i = 0; i < 700; ++i) frame.at(i, i) = 4095;
  std::vector<analysis::Plane> planes;
  splitMosaic(frame.mosaic, planes);
  EXPECT_NEAR(analysis::robustNoise(planes[0]).value(), 12, 0.15);
}

}  // namespace
