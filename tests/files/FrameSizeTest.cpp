// The older frame size, whose differences from the exact one are intended.
#include <gtest/gtest.h>

#include "tests/files/CapParamFields.h"
#include "tests/files/FilesUnderTest.h"
#include "tests/files/FrameSizeReference.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t noAlignment = 2;

CapParam frame(unsigned columns, unsigned columnStep, unsigned lines, unsigned lineStep,
               unsigned bitWidth = 8) {
  CapParam param{};
  param.HCNT = static_cast<std::uint16_t>(columns);
  param.HREDUCT = static_cast<std::uint16_t>(columnStep);
  param.VCNT = static_cast<std::uint16_t>(lines);
  param.VREDUCT = static_cast<std::uint16_t>(lineStep);
  param.BITWIDTH = static_cast<std::uint16_t>(bitWidth);
  return param;
}

TEST(FrameSize, decimatedColumnsAreRoundedDown) {
  EXPECT_EQ(640u, undertest::calcFrameSize(frame(1281, 1, 1, 0), noAlignment));
  std::uint32_t bytes = 0, unit = 0, width = 0, height = 0;
  const CapParam param = frame(1281, 1, 1, 0);
  EXPECT_EQ(KVEXA_OK, undertest::calcFrameSizeEx(&param, &bytes, &unit, &width, &height, KVEXA_ALIGN_4));
  EXPECT_EQ(641u, width);
}

TEST(FrameSize, linesAreDividedAfterTheMultiplication) {
  EXPECT_EQ(10u * 7u / 2u, undertest::calcFrameSize(frame(10, 0, 7, 1), noAlignment));
  EXPECT_EQ(3u * 5u / 4u, undertest::calcFrameSize(frame(7, 1, 5, 3), noAlignment));
  EXPECT_EQ(1u, undertest::calcFrameSize(frame(3, 0, 1, 1), noAlignment));
}

TEST(FrameSize, twoBytesWhenConvertedOnTheBoardOrAboveEightBits) {
  CapParam param = frame(100, 0, 10, 0, 8);
  EXPECT_EQ(1000u, undertest::calcFrameSize(param, noAlignment));
  param.BITWIDTH = 9;
  EXPECT_EQ(2000u, undertest::calcFrameSize(param, noAlignment));
  param.BITWIDTH = 65535;
  EXPECT_EQ(2000u, undertest::calcFrameSize(param, noAlignment));
  param.BITWIDTH = 0;
  EXPECT_EQ(1000u, undertest::calcFrameSize(param, noAlignment));
  for (const unsigned conversion : {1u, 2u, 65535u}) {
    param.HWEXCHG = static_cast<std::uint16_t>(conversion);
    EXPECT_EQ(2000u, undertest::calcFrameSize(param, noAlignment));
  }
}

TEST(FrameSize, formatPackingAndSerialInputAreNotLookedAt) {
  for (const auto member : {&CapParam::INPUTFORMAT, &CapParam::SPACK, &CapParam::SMIAIN}) {
    for (const unsigned value : {1u, 3u, 4u, 5u, 21u, 65535u}) {
      CapParam param = frame(100, 0, 10, 0);
      param.*member = static_cast<std::uint16_t>(value);
      EXPECT_EQ(1000u, undertest::calcFrameSize(param, noAlignment));
    }
  }
}

TEST(FrameSize, onlySixFieldsAreLookedAt) {
  CapParam param = filledCapParam(0xFFFF);
  param.HCNT = 100;
  param.HREDUCT = 0;
  param.VCNT = 10;
  param.VREDUCT = 0;
  param.HWEXCHG = 0;
  param.BITWIDTH = 8;
  EXPECT_EQ(1000u, undertest::calcFrameSize(param, noAlignment));
}

TEST(FrameSize, modesRoundUp) {
  EXPECT_EQ(1024u, undertest::calcFrameSize(frame(1000, 0, 1, 0), KVEXA_ALIGN_512));
  EXPECT_EQ(1024u, undertest::calcFrameSize(frame(1024, 0, 1, 0), KVEXA_ALIGN_512));
  EXPECT_EQ(1536u, undertest::calcFrameSize(frame(1025, 0, 1, 0), KVEXA_ALIGN_512));
  EXPECT_EQ(1004u, undertest::calcFrameSize(frame(1001, 0, 1, 0), KVEXA_ALIGN_4));
  EXPECT_EQ(1000u, undertest::calcFrameSize(frame(1000, 0, 1, 0), KVEXA_ALIGN_4));
}

TEST(FrameSize, otherModesLeaveTheSizeAsItIs) {
  for (const std::uint32_t mode : {2u, 3u, 4u, 512u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(1001u, undertest::calcFrameSize(frame(1001, 0, 1, 0), mode)) << mode;
  }
}

TEST(FrameSize, zeroIsASize) {
  for (const std::uint32_t mode : {0u, 1u, 2u}) {
    EXPECT_EQ(0u, undertest::calcFrameSize(frame(0, 0, 480, 0), mode));
    EXPECT_EQ(0u, undertest::calcFrameSize(frame(640, 0, 0, 0), mode));
    EXPECT_EQ(0u, undertest::calcFrameSize(frame(640, 640, 480, 0), mode));
  }
}

// 65535 * 65535 is -131071 in signed 32 bits.
TEST(FrameSize, productIsSigned) {
  EXPECT_EQ(0u - 131071u, undertest::calcFrameSize(frame(65535, 0, 65535, 0), noAlignment));
  EXPECT_EQ(0u - 65535u, undertest::calcFrameSize(frame(65535, 0, 65535, 1), noAlignment));
  EXPECT_EQ(0u - 131070u, undertest::calcFrameSize(frame(65535, 0, 65535, 1, 9), noAlignment));
  EXPECT_EQ(0u - 1u, undertest::calcFrameSize(frame(65535, 0, 65535, 65535), noAlignment));
}

TEST(FrameSize, doubledSizeWrapsAt32Bits) {
  // 50000 * 30000 = 1500000000
  EXPECT_EQ(3000000000u, undertest::calcFrameSize(frame(50000, 0, 30000, 0, 16), noAlignment));
  // 60000 * 65535 is -362867296 in signed 32 bits
  EXPECT_EQ(0u - 725734592u, undertest::calcFrameSize(frame(60000, 0, 65535, 0, 16), noAlignment));
  // 40000 * 65535 is -1673567296 in signed 32 bits
  EXPECT_EQ(947832704u, undertest::calcFrameSize(frame(40000, 0, 65535, 0, 16), noAlignment));
}

TEST(FrameSize, randomParametersAreEqualToTheReference) {
  RandomSource random;
  for (unsigned round = 0; round < 20000; ++round) {
    CapParam param =
        frame(random.word(), random.below(2) == 0 ? random.word() : random.below(4), random.word(),
              random.below(2) == 0 ? random.word() : random.below(4), random.below(18));
    param.HWEXCHG = static_cast<std::uint16_t>(random.below(3) / 2);
    const std::uint32_t alignment = random.below(3);
    ASSERT_EQ(reference::frameSize(param, alignment), undertest::calcFrameSize(param, alignment))
        << "round " << round << ", HCNT " << param.HCNT << ", HREDUCT " << param.HREDUCT << ", VCNT "
        << param.VCNT << ", VREDUCT " << param.VREDUCT << ", BITWIDTH " << param.BITWIDTH << ", HWEXCHG "
        << param.HWEXCHG << ", alignment " << alignment;
  }
}

}  // namespace
}  // namespace kvexa::test
