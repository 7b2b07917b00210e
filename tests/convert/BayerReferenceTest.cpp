// Bayer conversion compared, byte for byte, with a converter that works pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "kvexa.h"
#include "tests/convert/BayerReference.h"
#include "tests/convert/BayerUnderTest.h"
#include "tests/files/GuardedMemory.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {
namespace {

std::string firstDifference(const std::vector<std::uint8_t>& expected,
                            const std::vector<std::uint8_t>& actual, unsigned width) {
  const auto at = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
  if (at.first == expected.end()) return "none";
  const auto index = static_cast<unsigned>(at.first - expected.begin());
  return "row " + std::to_string(index / 3 / width) + ", column " + std::to_string(index / 3 % width) +
         ", channel " + std::to_string(index % 3) + ": expected " + std::to_string(*at.first) + ", got " +
         std::to_string(*at.second);
}

// Converts between guard pages and compares. The destination starts with other bytes than it must get,
// so that one left out shows.
void expectReference(const std::vector<std::uint8_t>& samples, unsigned width, unsigned height,
                     unsigned pattern, MemoryEdge edge) {
  const auto expected = reference::BayerImage(samples, width, height, pattern).toBgr24();
  GuardedMemory source(samples.size(), edge, 0);
  std::copy(samples.begin(), samples.end(), source.data());
  GuardedMemory destination(expected.size(), edge, 0);
  std::transform(expected.begin(), expected.end(), destination.data(),
                 [](auto value) { return static_cast<std::uint8_t>(~value); });
  ASSERT_EQ(KVEXA_OK, undertest::raw8ToRgb888(source.data(), destination.data(), width, height, pattern));
  const auto actual = bytesOf(destination);
  EXPECT_TRUE(expected == actual) << width << " x " << height << ", pattern " << pattern << ", "
                                  << firstDifference(expected, actual, width);
  EXPECT_TRUE(samples == bytesOf(source)) << "the source was changed";
}

class BayerReference : public testing::TestWithParam<std::uint32_t> {
 protected:
  RandomSource random_;
};

TEST_P(BayerReference, everySmallSizeIsEqual) {
  for (unsigned width = 4; width <= 12; ++width) {
    for (unsigned height = 4; height <= 12; ++height) {
      for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
        expectReference(random_.bytes(width * height), width, height, GetParam(), edge);
      }
    }
  }
}

TEST_P(BayerReference, everyWidthUpToThreeVectorsIsEqual) {
  for (unsigned width = 13; width <= 3 * 32 + 5; ++width) {
    expectReference(random_.bytes(width * 5), width, 5, GetParam(),
                    width % 2 == 0 ? MemoryEdge::lower : MemoryEdge::upper);
  }
}

TEST_P(BayerReference, largerSizesAreEqual) {
  for (const auto& [width, height] : {std::pair{640u, 480u},
                                      {641u, 480u},
                                      {640u, 481u},
                                      {641u, 481u},
                                      {257u, 4u},
                                      {4u, 257u},
                                      {5u, 1000u},
                                      {4093u, 7u},
                                      {1280u, 20u}}) {
    expectReference(random_.bytes(width * height), width, height, GetParam(), MemoryEdge::lower);
    expectReference(random_.bytes(width * height), width, height, GetParam(), MemoryEdge::upper);
  }
}

// Sums of four samples do not fit into eight bits.
TEST_P(BayerReference, blackAndWhiteSamplesAreEqual) {
  for (unsigned round = 0; round < 20; ++round) {
    auto samples = random_.bytes(37 * 9);
    for (auto& sample : samples) sample = sample < 128 ? 0 : 255;
    expectReference(samples, 37, 9, GetParam(), MemoryEdge::upper);
  }
}

// A lone sample shows exactly which pixels are interpolated from it.
TEST_P(BayerReference, everySingleSampleReachesTheSamePixels) {
  for (unsigned i = 0; i < 7 * 6; ++i) {
    std::vector<std::uint8_t> samples(7 * 6, 0);
    samples[i] = 252;
    expectReference(samples, 7, 6, GetParam(), MemoryEdge::upper);
  }
}

INSTANTIATE_TEST_SUITE_P(Patterns, BayerReference, testing::Range(0u, 4u), testing::PrintToStringParamName());

}  // namespace
}  // namespace kvexa::test
