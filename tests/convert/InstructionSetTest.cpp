// The DLL runs the instruction set that is asked for, and takes its fast ways where it can: the equality of
// pixels alone would not show it.
#include <gtest/gtest.h>

#include <vector>

#include "InstructionTrace.h"
#include "MachineSets.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

class InstructionSetInEffect : public testing::Test {
 protected:
  // As small as whole vectors of every set allow: steps are slow.
  static constexpr std::uint32_t width = 34, height = 3, pixels = 32;

  bool isScalar() const { return setUnderTest() == "scalar"; }

  InstructionCounts ofFilter8(double weight) {
    const std::vector<double> kernels(108, weight);
    return countInstructions([&] {
      kVexaRaw8ToMtxRgb888Ex(samples_.data(), pixels_.data(), width, height, KVEXA_BAYER_RGGB,
                             kernels.data());
    });
  }
  InstructionCounts ofFilter16(double weight) {
    const std::vector<double> kernels(108, weight);
    return countInstructions([&] {
      kVexaRaw16ToMtxRgb888Ex(words_.data(), pixels_.data(), width, height, KVEXA_BAYER_RGGB, kernels.data(),
                              10);
    });
  }
  InstructionCounts ofDoubleMethod() {
    return countInstructions([&] { kVexaYuyvToRgb888Ex(samples_.data(), pixels_.data(), pixels, 1); });
  }
  InstructionCounts ofMatrix16(double weight) {
    const std::vector<double> matrix(13, weight);
    return countInstructions([&] {
      kVexaYuyv16ToMtxRgbT2(words_.data(), pixels_.data(), pixels, 1, 1, KVEXA_FORMAT_BGR24, matrix.data(),
                            10);
    });
  }

  void expectEstimates(const InstructionCounts& counts) {
    if (isScalar()) return expectPlainCode(counts);
    EXPECT_LT(0u, counts.truncatedSingles);
    EXPECT_EQ(0u, counts.truncatedDoubles);
  }
  void expectExactVectors(const InstructionCounts& counts) {
    if (isScalar()) return expectPlainCode(counts);
    EXPECT_EQ(0u, counts.truncatedSingles);
    EXPECT_LT(0u, counts.truncatedDoubles);
  }
  // At least one value was truncated alone for every pixel, and no vector.
  void expectPlainCode(const InstructionCounts& counts) {
    EXPECT_EQ(0u, counts.truncatedSingles);
    EXPECT_EQ(0u, counts.truncatedDoubles);
    EXPECT_LE(pixels, counts.truncatedOnes);
  }

 private:
  // Neither black nor white, so that the plain code truncates every value.
  std::vector<std::uint8_t> samples_ = std::vector<std::uint8_t>(width * height, 120);
  std::vector<std::uint16_t> words_ = std::vector<std::uint16_t>(width * height, 376);
  std::vector<std::uint8_t> pixels_ = std::vector<std::uint8_t>(width * height * 3);
};

TEST_F(InstructionSetInEffect, isTheOneAskedFor) {
  const std::string set = setUnderTest();
  for (const InstructionCounts& counts :
       {ofFilter8(0.11), ofFilter16(0.11), ofDoubleMethod(), ofMatrix16(0.3)}) {
    EXPECT_EQ(setNeeds(set, "avx512"), counts.ofAvx512 > 0);
    EXPECT_EQ(setNeeds(set, "avx"), counts.ofAvx > 0);
    if (set == "scalar" || set == "sse2") {
      EXPECT_EQ(0u, counts.ofSse41);
    }
  }
  EXPECT_EQ(setNeeds(set, "sse4.1"), ofFilter8(0.11).ofSse41 > 0);
}

TEST_F(InstructionSetInEffect, estimatesWhereItCan) {
  expectEstimates(ofFilter8(0.11));
  expectEstimates(ofFilter8(0.25));
  expectEstimates(ofFilter16(0.11));
  expectEstimates(ofFilter16(0.25));
  expectEstimates(ofDoubleMethod());
  expectEstimates(ofMatrix16(0.3));
}

TEST_F(InstructionSetInEffect, computesInDoublesWhereItMust) {
  expectExactVectors(ofFilter8(-40.0));
  expectExactVectors(ofFilter16(-3.6e5));
}

// Bayer frames and the integer methods have no numbers to convert.
TEST_F(InstructionSetInEffect, convertsBayerFramesInVectors) {
  constexpr std::uint32_t side = 66;
  const std::vector<std::uint8_t> mosaic(side * 4);
  std::vector<std::uint8_t> colours(side * 4 * 3);
  const InstructionCounts counts =
      countInstructions([&] { kVexaRaw8ToRgb888(mosaic.data(), colours.data(), side, 4, KVEXA_BAYER_RGGB); });
  const std::string set = setUnderTest();
  EXPECT_EQ(setNeeds(set, "avx512"), counts.ofAvx512 > 0);
  EXPECT_EQ(setNeeds(set, "avx"), counts.ofAvx > 0);
  EXPECT_EQ(setNeeds(set, "sse4.1"), counts.ofSse41 > 0);
}

}  // namespace
}  // namespace kvexa::test
