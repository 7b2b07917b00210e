// What the Bayer converter refuses, and that it then writes nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kvexa.h"
#include "tests/convert/BayerUnderTest.h"
#include "tests/files/GuardedMemory.h"

namespace kvexa::test {
namespace {

constexpr std::uint8_t untouched = 0xA5;

struct Refused {
  const char* name;
  std::uint32_t width, height, pattern;
};

class BayerRefusal : public testing::TestWithParam<Refused> {};

TEST_P(BayerRefusal, writesNothing) {
  const auto& [name, width, height, pattern] = GetParam();
  for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
    GuardedMemory source(64, edge, 0x11);
    GuardedMemory destination(192, edge, untouched);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT,
              undertest::raw8ToRgb888(source.data(), destination.data(), width, height, pattern));
    EXPECT_EQ(std::vector<std::uint8_t>(192, untouched), bytesOf(destination));
  }
}

std::string nameOf(const testing::TestParamInfo<Refused>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Patterns, BayerRefusal,
                         testing::Values(Refused{"patternFour", 8, 8, 4}, Refused{"patternFive", 8, 8, 5},
                                         Refused{"patternWithBit31", 8, 8, 0x80000000u},
                                         Refused{"patternAllOnes", 8, 8, 0xFFFFFFFFu}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(SmallSizes, BayerRefusal,
                         testing::Values(Refused{"widthZero", 0, 8, 0}, Refused{"heightZero", 8, 0, 0},
                                         Refused{"bothZero", 0, 0, 0}, Refused{"widthOne", 1, 8, 1},
                                         Refused{"widthTwo", 2, 8, 2}, Refused{"widthThree", 3, 8, 3},
                                         Refused{"heightOne", 8, 1, 0}, Refused{"heightTwo", 8, 2, 1},
                                         Refused{"heightThree", 8, 3, 2}, Refused{"threeByThree", 3, 3, 3}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(LargestSizes, BayerRefusal,
                         testing::Values(Refused{"bothAllOnes", 0xFFFFFFFFu, 0xFFFFFFFFu, 1}), nameOf);

// Sizes whose products wrap in 32 bits; where addresses have 64 bits such images exist.
#if UINTPTR_MAX == UINT32_MAX
INSTANTIATE_TEST_SUITE_P(WrappingSizes, BayerRefusal,
                         testing::Values(Refused{"sampleCountWrapsToZero", 0x10000, 0x10000, 0},
                                         Refused{"sampleCountWrapsToSixtyFour", 0x10000004u, 0x10, 1},
                                         Refused{"destinationSizeWraps", 0x10000, 0x5556, 2},
                                         Refused{"widthAllOnes", 0xFFFFFFFFu, 4, 3},
                                         Refused{"heightAllOnes", 4, 0xFFFFFFFFu, 0}),
                         nameOf);
#endif

TEST(BayerRefusalOfPointers, nullSourceWritesNothing) {
  for (std::uint32_t pattern = 0; pattern < 4; ++pattern) {
    GuardedMemory destination(48, MemoryEdge::upper, untouched);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, undertest::raw8ToRgb888(nullptr, destination.data(), 4, 4, pattern));
    EXPECT_EQ(std::vector<std::uint8_t>(48, untouched), bytesOf(destination));
  }
}

TEST(BayerRefusalOfPointers, nullDestinationIsRefused) {
  for (std::uint32_t pattern = 0; pattern < 4; ++pattern) {
    GuardedMemory source(16, MemoryEdge::upper, 0x11);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, undertest::raw8ToRgb888(source.data(), nullptr, 4, 4, pattern));
    EXPECT_EQ(std::vector<std::uint8_t>(16, 0x11), bytesOf(source));
  }
}

TEST(BayerRefusalOfPointers, badPatternWithNullPointersIsRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, undertest::raw8ToRgb888(nullptr, nullptr, 4, 4, 4));
}

}  // namespace
}  // namespace kvexa::test
