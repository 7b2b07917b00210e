// Bayer conversion of images small enough to work out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "kvexa.h"
#include "tests/convert/BayerUnderTest.h"

namespace kvexa::test {
namespace {

using Pixel = std::array<unsigned, 3>;  // blue, green, red

std::vector<std::uint8_t> converted(const std::vector<std::uint8_t>& samples, std::uint32_t width,
                                    std::uint32_t height, std::uint32_t pattern, std::uint8_t fill = 0) {
  std::vector<std::uint8_t> pixels(samples.size() * 3, fill);
  EXPECT_EQ(KVEXA_OK, undertest::raw8ToRgb888(samples.data(), pixels.data(), width, height, pattern));
  return pixels;
}

// Columns 1 to width - 2 of the top row.
std::vector<std::uint8_t> topRow(const std::vector<std::uint8_t>& pixels, unsigned width) {
  return {pixels.begin() + 3, pixels.begin() + 3 * (width - 1)};
}

// G R G R / B G B G / G R G R / B G B G
class SmallGrbgImage : public testing::Test {
 protected:
  Pixel at(unsigned row, unsigned column) const {
    const auto* pixel = &pixels_[(row * 4 + column) * 3];
    return {pixel[0], pixel[1], pixel[2]};
  }

 private:
  const std::vector<std::uint8_t> samples_ = {13, 27,  31,  46,  58,  62,  79,  85,
                                              94, 101, 117, 123, 134, 148, 155, 166};
  const std::vector<std::uint8_t> pixels_ = converted(samples_, 4, 4, KVEXA_BAYER_GRBG);
};

TEST_F(SmallGrbgImage, cornersCopyOrAverageTheirNeighbours) {
  EXPECT_EQ((Pixel{58, 13, 27}), at(0, 0));
  EXPECT_EQ((Pixel{79, (31 + 85) / 2, 46}), at(0, 3));
  EXPECT_EQ((Pixel{134, (94 + 148) / 2, 101}), at(3, 0));
  EXPECT_EQ((Pixel{155, 166, 123}), at(3, 3));
}

TEST_F(SmallGrbgImage, topRowIsInterpolatedFromRowsTwoAndThree) {
  EXPECT_EQ((Pixel{(134 + 155) / 2, (94 + 117 + 148) / 3, 101}), at(0, 1));
  EXPECT_EQ((Pixel{155, 117, (101 + 123) / 2}), at(0, 2));
}

TEST_F(SmallGrbgImage, bottomRowUsesItsOwnRowAndTheOneAbove) {
  EXPECT_EQ((Pixel{144, 148, 101}), at(3, 1));
  EXPECT_EQ((Pixel{155, 143, 112}), at(3, 2));
}

TEST_F(SmallGrbgImage, leftColumnUsesTheColumnBesideIt) {
  EXPECT_EQ((Pixel{58, 56, 64}), at(1, 0));
  EXPECT_EQ((Pixel{96, 94, 101}), at(2, 0));
}

TEST_F(SmallGrbgImage, rightColumnUsesTheColumnBesideIt) {
  EXPECT_EQ((Pixel{79, 85, 84}), at(1, 3));
  EXPECT_EQ((Pixel{117, 122, 123}), at(2, 3));
}

TEST_F(SmallGrbgImage, interiorAveragesTwoOrFourNeighboursAndTruncates) {
  EXPECT_EQ((Pixel{68, 62, 64}), at(1, 1));
  EXPECT_EQ((Pixel{79, 73, 74}), at(1, 2));
  EXPECT_EQ((Pixel{106, 105, 101}), at(2, 1));
  EXPECT_EQ((Pixel{117, 117, 112}), at(2, 2));
}

class EveryPattern : public testing::TestWithParam<std::uint32_t> {};

TEST_P(EveryPattern, firstCellHasTheColoursOfThePattern) {
  // Which channel of the output takes the sample of each site of the first cell unchanged.
  static constexpr unsigned blue = 0, green = 1, red = 2;
  static constexpr unsigned channels[4][2][2] = {
      {{green, red}, {blue, green}},
      {{red, green}, {green, blue}},
      {{blue, green}, {green, red}},
      {{green, blue}, {red, green}},
  };
  std::vector<std::uint8_t> samples(36);
  for (unsigned i = 0; i < 36; ++i) samples[i] = static_cast<std::uint8_t>(7 * i + 1);
  const auto pixels = converted(samples, 6, 6, GetParam());
  for (unsigned row = 2; row < 4; ++row) {
    for (unsigned column = 2; column < 4; ++column) {
      const unsigned i = row * 6 + column;
      EXPECT_EQ(samples[i], pixels[i * 3 + channels[GetParam()][row % 2][column % 2]])
          << row << ", " << column;
    }
  }
}

TEST_P(EveryPattern, greyFrameStaysGrey) {
  for (const unsigned value : {0u, 1u, 77u, 128u, 254u, 255u}) {
    for (const auto& [width, height] : {std::pair{4u, 4u}, {5u, 4u}, {4u, 5u}, {7u, 7u}, {64u, 10u}}) {
      const std::vector<std::uint8_t> samples(width * height, static_cast<std::uint8_t>(value));
      const auto pixels = converted(samples, width, height, GetParam(), static_cast<std::uint8_t>(~value));
      EXPECT_EQ(std::vector<std::uint8_t>(samples.size() * 3, samples[0]), pixels)
          << width << " x " << height << " of " << value;
    }
  }
}

TEST_P(EveryPattern, oddWidthFillsEveryPixel) {
  const std::vector<std::uint8_t> samples(5 * 4, 9);
  for (const unsigned fill : {0x00u, 0xFFu}) {
    const auto pixels = converted(samples, 5, 4, GetParam(), static_cast<std::uint8_t>(fill));
    EXPECT_EQ(pixels.end(),
              std::find_if(pixels.begin(), pixels.end(), [](auto value) { return value != 9; }));
  }
}

TEST_P(EveryPattern, oneSampleOfTheTopRowLeavesTheTopRowOfTheOutputUnchanged) {
  std::vector<std::uint8_t> samples(8 * 6, 100);
  const auto before = converted(samples, 8, 6, GetParam());
  samples[3] = 200;
  const auto after = converted(samples, 8, 6, GetParam());
  EXPECT_EQ(topRow(before, 8), topRow(after, 8));
  EXPECT_NE(before, after) << "row 1 is interpolated from that sample";
}

TEST_P(EveryPattern, topRowOfTheOutputDoesNotDependOnRowsZeroAndOne) {
  std::vector<std::uint8_t> samples(9 * 7);
  for (unsigned i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint8_t>(37 * i);
  const auto before = converted(samples, 9, 7, GetParam());
  for (unsigned i = 0; i < 2 * 9; ++i) samples[i] = static_cast<std::uint8_t>(~samples[i]);
  EXPECT_EQ(topRow(before, 9), topRow(converted(samples, 9, 7, GetParam()), 9));
}

TEST_P(EveryPattern, topRowOfTheOutputDependsOnRowsTwoAndThree) {
  for (unsigned row = 2; row < 4; ++row) {
    for (unsigned column = 1; column < 7; ++column) {
      std::vector<std::uint8_t> samples(8 * 6, 100);
      const auto before = converted(samples, 8, 6, GetParam());
      samples[row * 8 + column] = 220;
      EXPECT_NE(topRow(before, 8), topRow(converted(samples, 8, 6, GetParam()), 8)) << row << ", " << column;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Patterns, EveryPattern, testing::Range(0u, 4u), testing::PrintToStringParamName());

}  // namespace
}  // namespace kvexa::test
