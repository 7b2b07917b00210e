// Values and keys of the capture-parameter file: what one line stores. HCNT's line is the one looked at.
#include <gtest/gtest.h>

#include <string>

#include "tests/files/CapParamFields.h"
#include "tests/files/FilesUnderTest.h"
#include "tests/files/GuardedMemory.h"

namespace kvexa::test {
namespace {

struct Line {
  const char* name;
  std::string text;  // takes the place of the line of HCNT
  std::uint16_t stored;
};

std::string nameOf(const testing::TestParamInfo<Line>& line) { return line.param.name; }

class CapParamLine : public testing::TestWithParam<Line> {};

TEST_P(CapParamLine, stores) {
  CapParam param = filledCapParam(0x7777);
  ASSERT_EQ(KVEXA_OK, undertest::readCapParam(CapFileText().replace("HCNT", GetParam().text).text(), param));
  EXPECT_EQ(GetParam().stored, param.HCNT);
  EXPECT_EQ(1009, param.HOFF);
  EXPECT_EQ(1011, param.VOFF);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, CapParamLine,
    testing::Values(Line{"decimal", "HCNT:1280", 1280}, Line{"hexadecimal", "HCNT:0x500", 1280},
                    Line{"hexadecimalWithCapitalX", "HCNT:0X500", 1280},
                    Line{"hexadecimalDigitsOfBothCases", "HCNT:0xaBcD", 0xABCD},
                    Line{"leadingZeroIsOctal", "HCNT:0500", 320},
                    Line{"twoLeadingZerosAreOctal", "HCNT:0010", 8}, Line{"zero", "HCNT:0", 0},
                    Line{"eightIsNoOctalDigit", "HCNT:08", 0}, Line{"octalStopsAtNine", "HCNT:0179", 15},
                    Line{"decimalStopsAtLetter", "HCNT:12a4", 12},
                    Line{"hexadecimalStopsAtG", "HCNT:0x1G2", 1}, Line{"prefixAlone", "HCNT:0x", 0},
                    Line{"prefixWithoutDigit", "HCNT:0xg", 0}, Line{"noDigit", "HCNT:wide", 0},
                    Line{"emptyValue", "HCNT:", 0}, Line{"decimalStopsAtPoint", "HCNT:12.5", 12}),
    nameOf);

// A sign is read as the run-time library reads one: a negative number wraps.
INSTANTIATE_TEST_SUITE_P(Signs, CapParamLine,
                         testing::Values(Line{"plus", "HCNT:+1280", 1280}, Line{"minus", "HCNT:-1", 65535},
                                         Line{"minusHexadecimal", "HCNT:-0x10", 0xFFF0},
                                         Line{"signAlone", "HCNT:-", 0}, Line{"twoSigns", "HCNT:--1", 0}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    LargeNumbers, CapParamLine,
    testing::Values(Line{"largestWord", "HCNT:65535", 65535}, Line{"decimal65536StoresZero", "HCNT:65536", 0},
                    Line{"decimal65537StoresOne", "HCNT:65537", 1},
                    Line{"lowSixteenBitsOfHexadecimal", "HCNT:0x12345", 0x2345},
                    Line{"lowSixteenBitsOfOctal", "HCNT:0200001", 1},
                    Line{"largest32Bits", "HCNT:4294967295", 65535},
                    Line{"allBut65536Of32Bits", "HCNT:4294901760", 0},
                    Line{"decimalBeyond32BitsSaturates", "HCNT:4294967296", 65535},
                    Line{"hexadecimalBeyond32BitsSaturates", "HCNT:0x100000000", 65535},
                    Line{"octalBeyond32BitsSaturates", "HCNT:040000000000", 65535},
                    Line{"beyond64BitsSaturates", "HCNT:99999999999999999999999", 65535}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(BlanksAndColons, CapParamLine,
                         testing::Values(Line{"blankAfterTheColonLeavesZero", "HCNT: 1280", 0},
                                         Line{"blankBeforeTheColonDoesNoHarm", "HCNT :1280", 1280},
                                         Line{"manyBlanksBeforeTheColonDoNoHarm", "HCNT    :1280", 1280},
                                         Line{"bytesBetweenKeyBlankAndColonAreDropped", "HCNT columns:1280",
                                              1280},
                                         Line{"blanksAroundTheColonLeaveZero", "HCNT : 1280", 0},
                                         Line{"commentAfterTheValueIsDropped", "HCNT:1280 columns", 1280},
                                         Line{"digitsAfterABlankAreDropped", "HCNT:12 80", 12},
                                         Line{"colonInACommentAppendsToTheValue", "HCNT:1280 a:5", 12805},
                                         Line{"twoColonsInACommentAppendTwice", "HCNT:1 a:2 b:3", 123},
                                         Line{"colonInTheValueAppends", "HCNT:12:80", 1280},
                                         Line{"valueMayBeginInTheComment", "HCNT: columns:1280", 1280},
                                         Line{"prefixAndDigitsMayBeApart", "HCNT:0x a:5 b:00", 0x500},
                                         Line{"letterAppendedByAColonEndsTheNumber", "HCNT:12 a:b3", 12},
                                         Line{"tabEndsTheNumber", "HCNT:12\t80", 12},
                                         Line{"tabBeforeACommentEndsTheNumber", "HCNT:1280\tcolumns", 1280},
                                         Line{"carriageReturnEndsTheNumber", "HCNT:1280\r", 1280},
                                         Line{"carriageReturnInsideTheValueEndsTheNumber", "HCNT:12\r80", 12},
                                         Line{"keyWithoutColonStoresZero", "HCNT", 0},
                                         Line{"keyWithBlankAndNoColonStoresZero", "HCNT 1280", 0}),
                         nameOf);

INSTANTIATE_TEST_SUITE_P(
    MoreLines, CapParamLine,
    testing::Values(Line{"keyGivenTwiceKeepsTheLastValue", "HCNT:5\nHCNT:1280", 1280},
                    Line{"secondEmptyValueStoresZero", "HCNT:1280\nHCNT:", 0},
                    Line{"emptyLinesAreIgnored", "\n\nHCNT:1280\n\n", 1280},
                    Line{"commentLineIsIgnored", "# HCNT:5\nHCNT:1280\n; HCNT:6", 1280},
                    Line{"unknownKeyIsIgnored", "WIDTH:5\nHCNT:1280\nEXTRA:6", 1280},
                    Line{"emptyKeyIsIgnored", "HCNT:1280\n:5", 1280},
                    Line{"lowerCaseKeyIsIgnored", "HCNT:1280\nhcnt:5", 1280},
                    Line{"beginningOfAKeyIsIgnored", "HCNT:1280\nHCN:5", 1280},
                    Line{"longerKeyIsIgnored", "HCNT:1280\nHCNTS:5", 1280},
                    Line{"keyBehindABlankIsIgnored", "HCNT:1280\n HCNT:5", 1280},
                    Line{"keyBehindATabIsIgnored", "HCNT:1280\n\tHCNT:5", 1280},
                    Line{"keyBeforeATabIsIgnored", "HCNT:1280\nHCNT\t:5", 1280},
                    Line{"keyBeforeACarriageReturnIsIgnored", "HCNT:1280\nHCNT\r:5", 1280},
                    Line{"keyOfFiveThousandBytesIsIgnored", std::string(5000, 'K') + ":5\nHCNT:1280", 1280},
                    Line{"commentOfFiveThousandBytesIsDropped", "HCNT:1280 " + std::string(5000, 'c'), 1280},
                    Line{"bytesAbove127AreOrdinary", "\xFF\xFE:5\nHCNT:1280 \xFF\x80", 1280},
                    Line{"endOfTextCharacterIsOrdinary", "\x1A:5\nHCNT:1280 \x1A", 1280},
                    Line{"zeroByteInACommentIsDropped", std::string("HCNT:1280 \0 columns", 19), 1280}),
    nameOf);

// 254 bytes are the longest value.
INSTANTIATE_TEST_SUITE_P(
    LongValues, CapParamLine,
    testing::Values(
        Line{"valueOf254Bytes", "HCNT:0x" + std::string(249, '0') + "500", 0x500},
        Line{"valueOf254BytesAndAComment", "HCNT:0x" + std::string(249, '0') + "500 comment", 0x500},
        Line{"valueOf254BytesAfterAColonInAComment",
             "HCNT:0x" + std::string(200, '0') + " a:" + std::string(49, '0') + "500", 0x500},
        Line{"valueOf254BytesOfAnUnknownKey", "NOTE:" + std::string(254, 'n') + "\nHCNT:1280", 1280}),
    nameOf);

class CapParamRefusedLine : public testing::TestWithParam<Line> {};

TEST_P(CapParamRefusedLine, makesABadFile) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(KVEXA_BAD_FILE,
            undertest::readCapParam(CapFileText().replace("HCNT", GetParam().text).text(), param));
  EXPECT_EQ(GetParam().stored, param.HCNT);
}

INSTANTIATE_TEST_SUITE_P(
    LongValues, CapParamRefusedLine,
    testing::Values(Line{"valueOf255Bytes", "HCNT:" + std::string(255, '1'), 0x7777},
                    Line{"valueOf255BytesAndAComment", "HCNT:" + std::string(255, '1') + " comment", 0x7777},
                    Line{"valueOf255BytesAfterAColonInAComment",
                         "HCNT:" + std::string(200, '1') + " a:" + std::string(55, '1'), 0x7777},
                    Line{"valueOf255BytesOfAnUnknownKey", "NOTE:" + std::string(255, 'n') + "\nHCNT:5",
                         0x7777},
                    Line{"valueOf255CarriageReturns", "HCNT:" + std::string(255, '\r'), 0x7777},
                    Line{"veryLongValue", "HCNT:" + std::string(100000, '1'), 0x7777}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    MissingKey, CapParamRefusedLine,
    testing::Values(Line{"lowerCaseKey", "hcnt:1280", 0x7777}, Line{"beginningOfTheKey", "HCN:1280", 0x7777},
                    Line{"longerKey", "HCNTS:1280", 0x7777}, Line{"blankBeforeTheKey", " HCNT:1280", 0x7777},
                    Line{"blankInsideTheKey", "HC NT:1280", 0x7777},
                    Line{"tabBeforeTheKey", "\tHCNT:1280", 0x7777},
                    Line{"tabAfterTheKey", "HCNT\t:1280", 0x7777},
                    Line{"carriageReturnAfterTheKey", "HCNT\r:1280", 0x7777},
                    Line{"keyInTheValue", "NOTE:HCNT", 0x7777}, Line{"emptyLine", "", 0x7777}),
    nameOf);

// Whatever a file names, nothing beside the record is written.
TEST(CapParamRecord, NothingBesideItIsTouched) {
  for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
    GuardedMemory memory(sizeof(CapParam), edge, 0x77);
    auto* param = reinterpret_cast<CapParam*>(memory.data());
    EXPECT_EQ(KVEXA_OK, undertest::readCapParam(CapFileText().text(), *param));
    EXPECT_EQ(1009, param->HOFF);
    const std::string unknown = "PLACE26:1\nPLACE27:2\n" + std::string(5000, 'K') + ":3\n";
    EXPECT_EQ(KVEXA_OK, undertest::readCapParam(unknown + CapFileText().text(), *param));
  }
}

}  // namespace
}  // namespace kvexa::test
