// Conversions small enough to work out by hand, and the peculiarities that are intended.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "kvexa.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;

constexpr std::uint16_t word565(unsigned red, unsigned green, unsigned blue) {
  return static_cast<std::uint16_t>((red & 0xF8) << 8 | (green & 0xFC) << 3 | blue >> 3);
}

TEST(Raw8ToRgb565, greyFrameIsGreyButForTheHalvedBlueOfTheGrbgTopRow) {
  for (std::uint32_t pattern = 0; pattern < 4; ++pattern) {
    const Bytes samples(9 * 6, 0xFA);
    Words pixels(samples.size());
    ASSERT_EQ(KVEXA_OK, kVexaRaw8ToRgb565(samples.data(), pixels.data(), 9, 6, pattern));
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      const bool halved = pattern == KVEXA_BAYER_GRBG && (i == 2 || i == 4 || i == 6);
      EXPECT_EQ(halved ? (0xF8 << 8 | 0xF8 << 3 | 0xFA >> 4) : word565(0xFA, 0xFA, 0xFA), pixels[i])
          << "pattern " << pattern << ", pixel " << i;
    }
  }
}

TEST(Raw16ToRgb565, topRowOfGrbgHasItsWholeBlue) {
  const Words samples(8 * 4, 0x3FF);
  Words pixels(samples.size());
  ASSERT_EQ(KVEXA_OK, kVexaRaw16ToRgb565(samples.data(), pixels.data(), 8, 4, KVEXA_BAYER_GRBG, 10));
  EXPECT_EQ(Words(samples.size(), 0xFFFF), pixels);
}

// 2^n and above: the fields are added, and what is too large for its field reaches the next one.
TEST(Raw16ToRgb565, samplesBeyondTheirDepthSpillIntoTheNextField) {
  const Words samples(8 * 4, 0x7FF);  // with 10 bits: red and blue 63, green 127
  Words pixels(samples.size());
  ASSERT_EQ(KVEXA_OK, kVexaRaw16ToRgb565(samples.data(), pixels.data(), 8, 4, KVEXA_BAYER_BGGR, 10));
  constexpr auto spilt = static_cast<std::uint16_t>((63u << 11) + (127u << 5) + 63u);
  EXPECT_EQ(Words(samples.size(), spilt), pixels);
}

TEST(Raw16ToRgb888, onlyTheLowByteOfAShiftedSampleSurvives) {
  const Words samples(8 * 4, 0xABCD);
  Bytes pixels(samples.size() * 3);
  ASSERT_EQ(KVEXA_OK, kVexaRaw16ToRgb888(samples.data(), pixels.data(), 8, 4, KVEXA_BAYER_GBRG, 12));
  EXPECT_EQ(Bytes(pixels.size(), 0xBC), pixels);
}

// (a + b) >> 1 first, on 16 bits, then the shift.
TEST(Raw16ToRgb888, averagesBeforeItShifts) {
  Words samples(4 * 4, 0);
  samples[1 * 4 + 0] = 0xFFFF;  // left and right of the green site at row 1, column 1
  samples[1 * 4 + 2] = 0x0003;
  Bytes pixels(samples.size() * 3);
  ASSERT_EQ(KVEXA_OK, kVexaRaw16ToRgb888(samples.data(), pixels.data(), 4, 4, KVEXA_BAYER_GRBG, 16));
  EXPECT_EQ(((0xFFFF + 3) >> 1) >> 8, pixels[(1 * 4 + 1) * 3]);
}

TEST(Raw16, bitsEightAndSeventeenAreRefused) {
  const Words samples(16, 1);
  Words pixels(24);
  for (const std::uint32_t bits : {8u, 17u}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRaw16ToRgb565(samples.data(), pixels.data(), 4, 4, 0, bits));
  }
}

class Kernels : public testing::Test {
 protected:
  double& at(unsigned kernel, unsigned element) { return block_[kernel * 9 + element]; }

  // Sets the centre of all kernels, so that every sum is the weight times the sample.
  void setCentres(double weight) {
    for (unsigned kernel = 0; kernel < 12; ++kernel) at(kernel, 4) = weight;
  }

  std::array<double, 108> block_{};
};

TEST_F(Kernels, centreOfTheOwnColourReproducesTheSampleAndNothingElse) {
  at(0, 4 + 2 * 9) = at(3, 4 + 9) = at(6, 4 + 9) = at(9, 4) = 1.0;
  Bytes samples(6 * 6);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::uint8_t>(7 * i + 1);
  static constexpr unsigned channelOfSite[2][2] = {{1, 2}, {0, 1}};  // GRBG in blue, green, red
  Bytes pixels(samples.size() * 3, 0xEE);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888(samples.data(), pixels.data(), 6, 6, 0, block_.data()));
  for (unsigned row = 1; row < 5; ++row) {
    for (unsigned column = 1; column < 5; ++column) {
      for (unsigned channel = 0; channel < 3; ++channel) {
        const bool own = channelOfSite[row % 2][column % 2] == channel;
        EXPECT_EQ(own ? samples[row * 6 + column] : 0, pixels[(row * 6 + column) * 3 + channel]);
      }
    }
  }
}

TEST_F(Kernels, sumAboveTheLargestSampleIsClamped) {
  for (const double weight : {2.0, 255.0, 255.0001, 1e9, 1e300}) {
    setCentres(weight);
    const Bytes samples(5 * 5, 200);
    Bytes pixels(3 * 3 * 3, 0);
    ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 5, 5, 1, block_.data()));
    EXPECT_EQ(Bytes(27, 255), pixels) << weight;
  }
}

TEST_F(Kernels, sumOfExactlyTheLargestSampleIsKept) {
  setCentres(1.0);
  const Bytes samples(4 * 4, 255);
  Words pixels(2 * 2, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb565Ex(samples.data(), pixels.data(), 4, 4, 2, block_.data()));
  EXPECT_EQ(Words(4, 0xFFFF), pixels);
}

TEST_F(Kernels, negativeSumIsNotClamped) {
  setCentres(-1.0);
  const Bytes samples(4 * 4, 1);
  Words words(2 * 2, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb565Ex(samples.data(), words.data(), 4, 4, 0, block_.data()));
  EXPECT_EQ(Words(4, 0xFFFF), words);  // red 31, green 63, blue 31
  Bytes bytes(12, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), bytes.data(), 4, 4, 0, block_.data()));
  EXPECT_EQ(Bytes(12, 255), bytes);
}

TEST_F(Kernels, truncationIsTowardZero) {
  const Bytes samples(4 * 4, 1);
  Bytes pixels(12, 7);
  setCentres(-0.999);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 4, 4, 3, block_.data()));
  EXPECT_EQ(Bytes(12, 0), pixels);
  setCentres(0.999);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 4, 4, 3, block_.data()));
  EXPECT_EQ(Bytes(12, 0), pixels);
}

TEST_F(Kernels, sumsThatNoIntegerHoldsCountAsTheMostNegativeOne) {
  const Bytes samples(4 * 4, 255);
  for (const double weight : {-1e300, -HUGE_VAL, static_cast<double>(NAN), -1e8}) {
    setCentres(weight);
    Words pixels(4, 0x1234);
    ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb565Ex(samples.data(), pixels.data(), 4, 4, 0, block_.data()));
    EXPECT_EQ(Words(4, 0), pixels) << weight;  // the low byte of 0x80000000
  }
}

TEST_F(Kernels, sixteenBitSumAboveItsDepthIsClampedBeforeTheShift) {
  setCentres(1.0);
  const Words samples(4 * 4, 0x7FF);
  Bytes pixels(12, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw16ToMtxRgb888Ex(samples.data(), pixels.data(), 4, 4, 0, block_.data(), 10));
  EXPECT_EQ(Bytes(12, 1023 >> 2), pixels);
}

TEST_F(Kernels, orderOfTheTermsIsPartOfTheResult) {
  // 1e17 swallows what is added to it before it is taken away again.
  for (unsigned kernel = 0; kernel < 12; ++kernel) {
    at(kernel, 8) = 1e17;
    at(kernel, 6) = 1.0;
    at(kernel, 0) = -1e17;
    at(kernel, 4) = 1.0;
  }
  const Bytes samples(4 * 4, 3);
  Bytes pixels(12, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 4, 4, 0, block_.data()));
  EXPECT_EQ(Bytes(12, 3), pixels) << "the term of element 6 is lost, that of element 4 comes after";
}

TEST_F(Kernels, framedImageHasABlackBorderOfOnePixel) {
  setCentres(1.0);
  const Bytes samples(6 * 5, 0xFF);
  Words pixels(samples.size(), 0x5555);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb565(samples.data(), pixels.data(), 6, 5, 0, block_.data()));
  for (unsigned row = 0; row < 5; ++row) {
    for (unsigned column = 0; column < 6; ++column) {
      const bool border = row == 0 || row == 4 || column == 0 || column == 5;
      EXPECT_EQ(border ? 0 : 0xFFFF, pixels[row * 6 + column]) << row << ", " << column;
    }
  }
}

TEST_F(Kernels, interiorOfSixBySixIsFourByFour) {
  setCentres(1.0);
  const Bytes samples(6 * 6, 0xFF);
  Words pixels(17, 0x5555);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb565Ex(samples.data(), pixels.data(), 6, 6, 0, block_.data()));
  EXPECT_EQ(16, std::count(pixels.begin(), pixels.end(), 0xFFFF));
  EXPECT_EQ(0x5555, pixels[16]);
}

TEST_F(Kernels, interiorOfWidthOrHeightThreeIsConverted) {
  setCentres(1.0);
  const Bytes samples(3 * 5, 9);
  Bytes pixels(9, 0);
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 3, 5, 1, block_.data()));
  EXPECT_EQ(Bytes(9, 9), pixels);
  std::fill(pixels.begin(), pixels.end(), std::uint8_t{0});
  ASSERT_EQ(KVEXA_OK, kVexaRaw8ToMtxRgb888Ex(samples.data(), pixels.data(), 5, 3, 1, block_.data()));
  EXPECT_EQ(Bytes(9, 9), pixels);
}

TEST(Yuyv, studioBlackAndWhiteOfTheIntegerMethod) {
  const Bytes group{128, 16, 128, 235};
  Bytes pixels(6, 1);
  ASSERT_EQ(KVEXA_OK, kVexaYuyvToRgb888(group.data(), pixels.data(), 2, 1));
  EXPECT_EQ((Bytes{0, 0, 0, 254, 254, 254}), pixels);
}

TEST(Yuyv, formatTwelveKeepsRedInBitsFifteenToEleven) {
  const double red[13] = {0, 0, 0, 255, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  const double green[13] = {0, 0, 0, 0, 0, 0, 0, 255, 0, 0, 0, 0, 1};
  const Bytes group(4, 0);
  Words pixels(2);
  ASSERT_EQ(KVEXA_OK, kVexaYuyv8ToMtxRgbT2(group.data(), pixels.data(), 2, 1, 0, 12, red));
  EXPECT_EQ((Words{0xF800, 0xF800}), pixels);
  ASSERT_EQ(KVEXA_OK, kVexaYuyv8ToMtxRgbT2(group.data(), pixels.data(), 2, 1, 0, 12, green));
  EXPECT_EQ((Words{0x03E0, 0x03E0}), pixels) << "bit 10 stays 0";
}

// 16 is subtracted from a luma of 12 bits as it is from one of 8.
TEST(Yuyv, lumaOffsetOfTheDoubleStudioMethodIsNotScaled) {
  const Words group{2048, 2048, 2048, 16};
  Bytes pixels(6);
  ASSERT_EQ(KVEXA_OK, kVexaYuyv16ToRgbT2(group.data(), pixels.data(), 2, 1, KVEXA_YUYV_DOUBLE_STUDIO, 1,
                                         KVEXA_FORMAT_BGR24, 12));
  const auto grey = static_cast<std::uint8_t>(static_cast<int>((2048 - 16.0) * 1.164) >> 4);
  EXPECT_EQ((Bytes{grey, grey, grey, 0, 0, 0}), pixels);
}

TEST(Yuyv, orderTwoCountsAsOneButNotWithAMatrix) {
  const Bytes group{10, 100, 200, 150};
  const double matrix[13] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  Bytes one(6), two(6);
  ASSERT_EQ(KVEXA_OK, kVexaYuyv8ToRgbT2(group.data(), one.data(), 2, 1, 0, 1, KVEXA_FORMAT_BGR24));
  ASSERT_EQ(KVEXA_OK, kVexaYuyv8ToRgbT2(group.data(), two.data(), 2, 1, 0, 2, KVEXA_FORMAT_BGR24));
  EXPECT_EQ(one, two);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaYuyv8ToMtxRgbT2(group.data(), two.data(), 2, 1, 2, KVEXA_FORMAT_BGR24, matrix));
}

TEST(Yuyv, onePixelIsRefused) {
  const Bytes group(4, 128);
  Bytes pixels(6, 3);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaYuyvToRgb888(group.data(), pixels.data(), 1, 1));
  EXPECT_EQ(Bytes(6, 3), pixels);
}

TEST(Yuyv, lastPixelOfAnOddCountIsNotWritten) {
  const Bytes samples(3 * 3 * 2, 128);
  Bytes pixels(27, 3);
  ASSERT_EQ(KVEXA_OK, kVexaYuyvToRgb888(samples.data(), pixels.data(), 3, 3));
  EXPECT_NE(3, pixels[23]);
  EXPECT_EQ((Bytes{3, 3, 3}), Bytes(pixels.end() - 3, pixels.end()));
}

}  // namespace
}  // namespace kvexa::test
