// What the lines of a register-setting file mean.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/files/RegisterTable.h"

namespace kvexa::test {
namespace {

struct Text {
  const char* name;
  std::string content;
  std::vector<SettingLine> lines;
};

std::string nameOf(const testing::TestParamInfo<Text>& text) { return text.param.name; }

class RegisterText : public testing::TestWithParam<Text> {};

TEST_P(RegisterText, isReadAs) {
  const auto read = readTable(GetParam().content);
  EXPECT_EQ(KVEXA_OK, read.result);
  EXPECT_EQ(GetParam().lines.size(), read.lineCount);
  const auto expected = expectedTable(GetParam().lines);
  EXPECT_TRUE(expected == read.bytes) << firstDifference(expected, read.bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, RegisterText,
    testing::Values(
        Text{"emptyFile", "", {}}, Text{"oneLineFeed", "\n", {{0, {}}}},
        Text{"headerAlone", "30,0\n", {{0x30, {0}}}},
        Text{"headerAndOneLine", "30,0\n12,34,56\n", {{0x30, {0}}, {0x12, {0x34, 0x56}}}},
        Text{"emptyLineBetweenTwoSettings", "30,0\n1,2\n\n3,4\n", {{0x30, {0}}, {1, {2}}, {0, {}}, {3, {4}}}},
        Text{"blankLineIsAnEntry", "30,0\n \t \n3,4\n", {{0x30, {0}}, {0, {}}, {3, {4}}}},
        Text{"emptyFirstLineIsTheHeader", "\n30,0\n", {{0, {}}, {0x30, {0}}}},
        Text{"emptyLinesAtTheEnd", "30,0\n\n\n", {{0x30, {0}}, {0, {}}, {0, {}}}},
        Text{"lastLineWithoutLineFeed", "30,0\n12,34", {{0x30, {0}}, {0x12, {0x34}}}},
        Text{"lastLineOfOneBlank", "30,0\n ", {{0x30, {0}}, {0, {}}}},
        Text{"carriageReturnsAreDropped", "30,0\r\n12,34,56\r\n", {{0x30, {0}}, {0x12, {0x34, 0x56}}}},
        Text{"emptyLineWithCarriageReturn", "30,0\r\n\r\n3,4\r\n", {{0x30, {0}}, {0, {}}, {3, {4}}}},
        Text{"lastLineWithCarriageReturnAlone", "30,0\r\n12,34\r", {{0x30, {0}}, {0x12, {0x34}}}},
        Text{"lineOfNumberAlone", "30,0\n12\n", {{0x30, {0}}, {0, {}}}},
        Text{"commentLineWithoutComma", "30,0\n# gain of 12\n", {{0x30, {0}}, {0, {}}}},
        Text{"commentLineWithComma", "30,0\n# gain, 12\n", {{0x30, {0}}, {0, {0x12}}}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Fields, RegisterText,
    testing::Values(Text{"trailingCommaAddsAZero", "12,34,\n", {{0x12, {0x34, 0}}}},
                    Text{"trailingCommasAddZeros", "12,34,,,\n", {{0x12, {0x34, 0, 0, 0}}}},
                    Text{"commaAlone", ",\n", {{0, {0}}}}, Text{"threeCommas", ",,,\n", {{0, {0, 0, 0}}}},
                    Text{"emptyFieldInside", "12,,34\n", {{0x12, {0, 0x34}}}},
                    Text{"emptyFirstField", ",12\n", {{0, {0x12}}}},
                    Text{"leadingBlanksAndTabsOfTheLine", " \t \t12,34\n", {{0x12, {0x34}}}},
                    Text{"leadingBlanksOfFields", "12,  34,   56\n", {{0x12, {0x34, 0x56}}}},
                    Text{"trailingBlanksOfFields", "12  ,34 ,56 \n", {{0x12, {0x34, 0x56}}}},
                    Text{"trailingTabsOfFields", "12\t,34\t,56\t\n", {{0x12, {0x34, 0x56}}}},
                    Text{"commentAfterTheLastValue", "12,34 gain\n", {{0x12, {0x34}}}},
                    Text{"commentInsideUpToTheComma", "12 is it,34;gain,56 # rest\n", {{0x12, {0x34, 0x56}}}},
                    Text{"commaInACommentIsAComma", "12,34 gain, low\n", {{0x12, {0x34, 0}}}},
                    Text{"secondNumberOfAFieldIsIgnored", "12 7,34 8\n", {{0x12, {0x34}}}},
                    Text{"blankFieldReadsAsZero", "12, ,34\n", {{0x12, {0, 0x34}}}},
                    Text{"wordReadsAsZero", "gain,xyz,34\n", {{0, {0, 0x34}}}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Numbers, RegisterText,
    testing::Values(Text{"bothCasesOfDigits", "aB,Cd,eF\n", {{0xAB, {0xCD, 0xEF}}}},
                    Text{"prefixes", "0x12,0x34,0xAB\n", {{0x12, {0x34, 0xAB}}}},
                    Text{"prefixAfterBlanks", "12,  0x34\n", {{0x12, {0x34}}}},
                    Text{"prefixAloneReadsAsZero", "0x,0x,12\n", {{0, {0, 0x12}}}},
                    Text{"prefixBeforeNoDigitReadsAsZero", "0xg1,12\n", {{0, {0x12}}}},
                    Text{"leadingZeros", "000000000000012,0000000000000034\n", {{0x12, {0x34}}}},
                    Text{"stopsAtG", "1g2,3h4\n", {{1, {3}}}}, Text{"stopsAtPoint", "1.2,3.4\n", {{1, {3}}}},
                    Text{"stopsAtInnerSign", "1-2,3+4\n", {{1, {3}}}},
                    Text{"plusSign", "+12,+34,+0x56\n", {{0x12, {0x34, 0x56}}}},
                    Text{"signAloneReadsAsZero", "-,+,-g\n", {{0, {0, 0}}}},
                    Text{"signBeforeBlankReadsAsZero", "- 1,+ 2\n", {{0, {0}}}},
                    Text{"twoSignsReadAsZero", "--1,+-2\n", {{0, {0}}}},
                    Text{"minusOneWraps", "-1,-1\n", {{0xFFFFFFFFu, {0xFFFF}}}},
                    Text{"minusWithPrefixWraps", "-0x10,-0x10\n", {{0xFFFFFFF0u, {0xFFF0}}}},
                    Text{"minusAfterBlanksWraps", "  -2,  -2\n", {{0xFFFFFFFEu, {0xFFFE}}}},
                    Text{"minusLargest", "-7FFFFFFF,-7FFFFFFF\n", {{0x80000001u, {1}}}},
                    Text{"minus80000000", "-80000000,-80000000\n", {{0x80000000u, {0}}}},
                    Text{"valuesKeepLowSixteenBits",
                         "12345678,12345678,10000,1FFFF\n",
                         {{0x12345678u, {0x5678, 0, 0xFFFF}}}},
                    Text{"largest", "7FFFFFFF,7FFFFFFF\n", {{0x7FFFFFFFu, {0xFFFF}}}},
                    Text{"largestLessOne", "7FFFFFFE,7FFFFFFE\n", {{0x7FFFFFFEu, {0xFFFE}}}},
                    Text{"above7FFFFFFFSaturates", "80000000,80000000\n", {{0x7FFFFFFFu, {0xFFFF}}}},
                    Text{"allOnesSaturate", "FFFFFFFF,FFFF0000\n", {{0x7FFFFFFFu, {0xFFFF}}}},
                    Text{"beyond32BitsSaturates", "100000000,123456789A\n", {{0x7FFFFFFFu, {0xFFFF}}}},
                    Text{"beyond64BitsSaturates",
                         "10000000000000000,FFFFFFFFFFFFFFFFFFFFFFFF1\n",
                         {{0x7FFFFFFFu, {0xFFFF}}}}),
    nameOf);

// A text ends at the first byte 1A, wherever it stands; nothing behind it is read.
INSTANTIATE_TEST_SUITE_P(
    EndMarks, RegisterText,
    testing::Values(Text{"endMarkAlone", "\x1A", {}}, Text{"endMarkFirst", "\x1A\n30,0\n12,34\n", {}},
                    Text{"endMarkAtTheEnd", "30,0\n12,34\n\x1A", {{0x30, {0}}, {0x12, {0x34}}}},
                    Text{"endMarkAtTheEndAndLineFeed", "30,0\n\x1A\n", {{0x30, {0}}}},
                    Text{"endMarkAfterAnUnendedLine", "30,0\n12,34\x1A", {{0x30, {0}}, {0x12, {0x34}}}},
                    Text{"endMarkInTheMiddleOfALine",
                         "30,0\n12,3\x1A"
                         "4,5\n6,7\n",
                         {{0x30, {0}}, {0x12, {3}}}},
                    Text{"endMarkInAComment", "30,0\n12,34 gain \x1A, 5\n", {{0x30, {0}}, {0x12, {0x34}}}},
                    Text{"endMarkBehindAComma",
                         "30,0\n12,\x1A"
                         "34\n",
                         {{0x30, {0}}, {0x12, {0}}}},
                    Text{"endMarkBehindABlank", "30,0\n \x1A,1\n", {{0x30, {0}}, {0, {}}}},
                    Text{"endMarkAsItsOwnLine", "30,0\n\x1A\n12,34\n", {{0x30, {0}}}},
                    Text{"endMarkBetweenCarriageReturnAndLineFeed", "30,0\r\x1A\n12,34\n", {{0x30, {0}}}},
                    Text{"endMarkBehindACarriageReturnAlone", "30,0\n\r\x1A", {{0x30, {0}}, {0, {}}}},
                    Text{"twoEndMarks", "30,0\n\x1A\x1A", {{0x30, {0}}}}),
    nameOf);

// A carriage return that no line feed follows is a byte of the line, blank like any other.
INSTANTIATE_TEST_SUITE_P(
    CarriageReturns, RegisterText,
    testing::Values(
        Text{"carriageReturnAloneEndsNoLine", "30,0\r12,34\n", {{0x30, {0, 0x34}}}},
        Text{"carriageReturnBeforeANumberIsBlank", "30,\r1\n", {{0x30, {1}}}},
        Text{"carriageReturnEndsANumber", "30,1\r2\n", {{0x30, {1}}}},
        Text{"twoCarriageReturnsBeforeALineFeed", "30,0\r\r\n12,34\n", {{0x30, {0}}, {0x12, {0x34}}}},
        Text{"lineFeedThenCarriageReturn", "30,0\n\r12,34\n", {{0x30, {0}}, {0x12, {0x34}}}},
        Text{"carriageReturnAloneAtTheEnd", "30,0\n\r", {{0x30, {0}}, {0, {}}}}),
    nameOf);

TEST(RegisterTextOfAllWords, everySixteenBitValueIsReadAsItStands) {
  std::string content;
  std::vector<SettingLine> lines;
  char field[8];
  for (unsigned line = 0; line < 256; ++line) {
    SettingLine expected{line, {}};
    std::snprintf(field, sizeof field, "%x", line);
    content += field;
    for (unsigned value = 0; value < 256; ++value) {
      const auto word = static_cast<std::uint16_t>(line * 256 + value);
      std::snprintf(field, sizeof field, ",%x", static_cast<unsigned>(word));
      content += field;
      expected.values.push_back(word);
    }
    content += "\n";
    lines.push_back(expected);
  }
  const auto read = readTable(content);
  EXPECT_EQ(KVEXA_OK, read.result);
  EXPECT_EQ(256u, read.lineCount);
  const auto expected = expectedTable(lines);
  EXPECT_TRUE(expected == read.bytes) << firstDifference(expected, read.bytes);
}

}  // namespace
}  // namespace kvexa::test
