// The exact frame size.
#include <gtest/gtest.h>

#include <optional>
#include <ostream>

#include "tests/files/FilesUnderTest.h"
#include "tests/files/FrameSizeReference.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {

namespace reference {

void PrintTo(const FrameSize& size, std::ostream* stream) {
  *stream << size.bytes << " bytes, " << size.bytesPerUnit << " a unit, " << size.width << " x "
          << size.height;
}

}  // namespace reference

namespace {

using reference::FrameSize;

constexpr std::uint32_t unwritten = 0xA5A5A5A5u;

// The size, or nothing when it is refused; a refusal must write nothing.
std::optional<FrameSize> frameSizeEx(const CapParam& param, std::uint32_t alignment) {
  FrameSize size{unwritten, unwritten, unwritten, unwritten};
  const auto result = undertest::calcFrameSizeEx(&param, &size.bytes, &size.bytesPerUnit, &size.width,
                                                 &size.height, alignment);
  if (result == KVEXA_OK) return size;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, result);
  EXPECT_EQ((FrameSize{unwritten, unwritten, unwritten, unwritten}), size);
  return {};
}

// One byte a pixel, nothing special.
CapParam plain(unsigned columns, unsigned lines) {
  CapParam param{};
  param.HCNT = static_cast<std::uint16_t>(columns);
  param.VCNT = static_cast<std::uint16_t>(lines);
  param.BITWIDTH = 8;
  return param;
}

TEST(FrameSizeEx, plainFrame) {
  EXPECT_EQ((FrameSize{640 * 480, 1, 640, 480}), frameSizeEx(plain(640, 480), KVEXA_ALIGN_512));
}

TEST(FrameSizeEx, everyFormatBitWidthAndPackingFollowsTheTable) {
  std::vector<unsigned> formats(65);
  for (unsigned i = 0; i < 65; ++i) formats[i] = i;
  for (const unsigned format : {127u, 128u, 255u, 256u, 257u, 1000u, 32768u, 65535u})
    formats.push_back(format);
  unsigned accepted = 0;
  for (const unsigned format : formats) {
    for (const unsigned bitWidth : {0u,  1u,  2u,  3u,  4u,  5u,  6u,  7u,  8u,   9u,    10u,
                                    11u, 12u, 13u, 14u, 15u, 16u, 17u, 24u, 256u, 65535u}) {
      for (const unsigned packing : {0u, 1u, 2u, 3u, 256u, 65535u}) {
        CapParam param = plain(1285, 7);
        param.INPUTFORMAT = static_cast<std::uint16_t>(format);
        param.BITWIDTH = static_cast<std::uint16_t>(bitWidth);
        param.SPACK = static_cast<std::uint16_t>(packing);
        const auto size = frameSizeEx(param, KVEXA_ALIGN_4);
        EXPECT_EQ(reference::frameSizeEx(param, KVEXA_ALIGN_4), size)
            << "INPUTFORMAT " << format << ", BITWIDTH " << bitWidth << ", SPACK " << packing;
        if (size) ++accepted;
      }
    }
  }
  EXPECT_GT(accepted, 0u);
}

struct UnitCase {
  const char* name;
  unsigned format, bitWidth, packing;
  std::optional<FrameSize> size;  // of 1284 columns and 10 lines, with mode 1
};

class FrameUnit : public testing::TestWithParam<UnitCase> {};

TEST_P(FrameUnit, hasItsBytesAndDivisor) {
  CapParam param = plain(1284, 10);
  param.INPUTFORMAT = static_cast<std::uint16_t>(GetParam().format);
  param.BITWIDTH = static_cast<std::uint16_t>(GetParam().bitWidth);
  param.SPACK = static_cast<std::uint16_t>(GetParam().packing);
  EXPECT_EQ(GetParam().size, frameSizeEx(param, KVEXA_ALIGN_4));
}

INSTANTIATE_TEST_SUITE_P(
    Formats, FrameUnit,
    testing::Values(
        UnitCase{"format0With8Bits", 0, 8, 3, FrameSize{12840, 1, 1284, 10}},
        UnitCase{"format0With9Bits", 0, 9, 0, FrameSize{25680, 2, 1284, 10}},
        UnitCase{"format0With17Bits", 0, 17, 0, {}}, UnitCase{"format0With9BitsPacked", 0, 9, 1, {}},
        UnitCase{"format13With8Bits", 13, 8, 2, FrameSize{12840, 1, 1284, 10}},
        UnitCase{"format40With16Bits", 40, 16, 0, FrameSize{6420, 1, 642, 10}},
        UnitCase{"format40With15Bits", 40, 15, 0, {}}, UnitCase{"format2With8BitsUnpacked", 2, 8, 0, {}},
        UnitCase{"format2With8BitsPacked", 2, 8, 1, FrameSize{25680, 2, 1284, 10}},
        UnitCase{"format47With10Bits", 47, 10, 0, FrameSize{25680, 2, 1284, 10}},
        UnitCase{"format20With16Bits", 20, 16, 0, FrameSize{25680, 2, 1284, 10}},
        UnitCase{"format20With10Bits", 20, 10, 0, {}},
        UnitCase{"format21With8Bits", 21, 8, 1, FrameSize{25680, 4, 642, 10}},
        UnitCase{"format21With9Bits", 21, 9, 0, FrameSize{25680, 4, 642, 10}},
        UnitCase{"format3With8Bits", 3, 8, 0, FrameSize{12840, 3, 428, 10}},
        UnitCase{"format10With9Bits", 10, 9, 0, {}},
        UnitCase{"format4DividesByItsPacking", 4, 99, 5, FrameSize{10240, 4, 256, 10}},
        UnitCase{"format4WithPackingOne", 4, 8, 1, FrameSize{51360, 4, 1284, 10}},
        UnitCase{"format4WithPackingZero", 4, 8, 0, {}},
        UnitCase{"format4WithPackingAboveTheWidth", 4, 8, 1285, {}}, UnitCase{"format48", 48, 8, 1, {}}),
    [](const auto& unit) { return std::string(unit.param.name); });

TEST(FrameSizeEx, decimationRoundsUp) {
  CapParam param = plain(1281, 961);
  param.HREDUCT = 1;
  param.VREDUCT = 2;
  EXPECT_EQ((FrameSize{641 * 321 + 3, 1, 641, 321}), frameSizeEx(param, KVEXA_ALIGN_4));
  param.HREDUCT = 65535;
  param.VREDUCT = 65535;
  EXPECT_EQ((FrameSize{4, 1, 1, 1}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, decimationWithoutRemainderIsExact) {
  CapParam param = plain(1280, 960);
  param.HREDUCT = 1;
  param.VREDUCT = 3;
  EXPECT_EQ((FrameSize{640 * 240, 1, 640, 240}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, conversionOnTheBoardMakesTwoBytesWhateverTheFormat) {
  for (const unsigned conversion : {1u, 2u, 3u, 65535u}) {
    for (const unsigned format : {0u, 3u, 4u, 5u, 21u, 48u, 65535u}) {
      CapParam param = plain(100, 10);
      param.HWEXCHG = static_cast<std::uint16_t>(conversion);
      param.INPUTFORMAT = static_cast<std::uint16_t>(format);
      EXPECT_EQ((FrameSize{2000, 2, 100, 10}), frameSizeEx(param, KVEXA_ALIGN_4)) << format;
    }
  }
}

TEST(FrameSizeEx, serialInputScalesTheSize) {
  const std::optional<std::uint32_t> sizes[] = {1000, 1000, 1000, 1000, 800, 668, {}, {}};
  for (unsigned input = 0; input < 8; ++input) {
    CapParam param = plain(100, 10);
    param.SMIAIN = static_cast<std::uint16_t>(input);
    const auto size = frameSizeEx(param, KVEXA_ALIGN_4);
    EXPECT_EQ(sizes[input] ? std::optional(FrameSize{*sizes[input], 1, 100, 10}) : std::nullopt, size)
        << input;
  }
  CapParam param = plain(100, 10);
  param.SMIAIN = 65535;
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, serialInputIsScaledBeforeRoundingUp) {
  CapParam param = plain(7, 1);
  param.SMIAIN = 4;  // 7 * 4 / 5 = 5
  EXPECT_EQ((FrameSize{8, 1, 7, 1}), frameSizeEx(param, KVEXA_ALIGN_4));
  param.SMIAIN = 5;  // 7 * 2 / 3 = 4
  EXPECT_EQ((FrameSize{4, 1, 7, 1}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, sizeOfOneScaledToZeroIsRefused) {
  CapParam param = plain(1, 1);
  param.SMIAIN = 4;
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_4));
  param.SMIAIN = 5;
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_512));
}

TEST(FrameSizeEx, modesRoundUp) {
  const struct {
    unsigned columns, mode, size;
  } cases[] = {{1000, 0, 1024}, {1024, 0, 1024}, {1025, 0, 1536}, {1, 0, 512},     {511, 0, 512},
               {512, 0, 512},   {513, 0, 1024},  {1001, 1, 1004}, {1000, 1, 1000}, {1, 1, 4},
               {3, 1, 4},       {4, 1, 4},       {1003, 1, 1004}};
  for (const auto& [columns, mode, size] : cases) {
    EXPECT_EQ((FrameSize{size, 1, columns, 1}), frameSizeEx(plain(columns, 1), mode)) << columns;
  }
}

TEST(FrameSizeEx, otherModesAreRefused) {
  for (const std::uint32_t mode : {2u, 3u, 4u, 512u, 0x100u, 0x10000u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(std::nullopt, frameSizeEx(plain(640, 480), mode)) << mode;
  }
}

TEST(FrameSizeEx, zeroColumnsOrLinesAreRefused) {
  EXPECT_EQ(std::nullopt, frameSizeEx(plain(0, 480), KVEXA_ALIGN_512));
  EXPECT_EQ(std::nullopt, frameSizeEx(plain(640, 0), KVEXA_ALIGN_512));
  EXPECT_EQ(std::nullopt, frameSizeEx(plain(0, 0), KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, widthSmallerThanTheDivisorIsRefused) {
  CapParam param = plain(2, 480);
  param.INPUTFORMAT = 3;
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_4));
  param.HCNT = 3;
  EXPECT_EQ((FrameSize{1440, 3, 1, 480}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, sizeWrapsAt32Bits) {
  CapParam param = plain(65535, 65535);
  EXPECT_EQ((FrameSize{0xFFFE0004u, 1, 65535, 65535}), frameSizeEx(param, KVEXA_ALIGN_4));
  param.INPUTFORMAT = 4;  // 4 * 65535 * 65535 = 0x3FFF80004
  param.SPACK = 1;
  EXPECT_EQ((FrameSize{0xFFF80004u, 4, 65535, 65535}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, sizeThatWrapsToZeroIsRefused) {
  CapParam param = plain(32768, 32768);
  param.INPUTFORMAT = 4;
  param.SPACK = 1;
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, sizeThatWrapsToZeroWhenRoundedUpIsRefused) {
  CapParam param = plain(32767, 32769);  // 4 * 32767 * 32769 = 0xFFFFFFFC
  param.INPUTFORMAT = 4;
  param.SPACK = 1;
  EXPECT_EQ((FrameSize{0xFFFFFFFCu, 4, 32767, 32769}), frameSizeEx(param, KVEXA_ALIGN_4));
  EXPECT_EQ(std::nullopt, frameSizeEx(param, KVEXA_ALIGN_512));
}

TEST(FrameSizeEx, productOfTheSerialInputWrapsAt32Bits) {
  CapParam param = plain(40000, 40000);  // 1600000000 * 4 wraps to 2105032704
  param.SMIAIN = 4;
  EXPECT_EQ((FrameSize{421006540, 1, 40000, 40000}), frameSizeEx(param, KVEXA_ALIGN_4));
  param.HCNT = param.VCNT = 50000;  // 2500000000 * 2 wraps to 705032704
  param.SMIAIN = 5;
  EXPECT_EQ((FrameSize{235010904, 1, 50000, 50000}), frameSizeEx(param, KVEXA_ALIGN_4));
}

TEST(FrameSizeEx, anyNullPointerIsRefused) {
  const CapParam param = plain(640, 480);
  for (unsigned missing = 0; missing < 5; ++missing) {
    std::uint32_t words[4] = {unwritten, unwritten, unwritten, unwritten};
    const auto output = [&](unsigned i) { return missing == i + 1 ? nullptr : &words[i]; };
    EXPECT_EQ(KVEXA_BAD_ARGUMENT,
              undertest::calcFrameSizeEx(missing == 0 ? nullptr : &param, output(0), output(1), output(2),
                                         output(3), KVEXA_ALIGN_512))
        << missing;
    for (const auto word : words) EXPECT_EQ(unwritten, word);
  }
}

TEST(FrameSizeEx, randomParametersAreEqualToTheReference) {
  RandomSource random;
  for (unsigned round = 0; round < 20000; ++round) {
    CapParam param{};
    param.HCNT = random.word();
    param.VCNT = random.word();
    param.HREDUCT = random.below(2) == 0 ? random.word() : static_cast<std::uint16_t>(random.below(4));
    param.VREDUCT = random.below(2) == 0 ? random.word() : static_cast<std::uint16_t>(random.below(4));
    param.HWEXCHG = static_cast<std::uint16_t>(random.below(3) / 2);
    param.SPACK = static_cast<std::uint16_t>(random.below(3));
    param.BITWIDTH = static_cast<std::uint16_t>(random.below(2) == 0 ? 8 : random.below(18));
    param.SMIAIN = static_cast<std::uint16_t>(random.below(7));
    param.INPUTFORMAT = static_cast<std::uint16_t>(random.below(50));
    const std::uint32_t alignment = random.below(3);
    ASSERT_EQ(reference::frameSizeEx(param, alignment), frameSizeEx(param, alignment)) << "round " << round;
  }
}

}  // namespace
}  // namespace kvexa::test
