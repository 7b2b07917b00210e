// How many lines and values a register-setting file may have, and what a refused file leaves.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/RandomSource.h"
#include "tests/files/RegisterTable.h"

namespace kvexa::test {
namespace {

std::string repeated(std::size_t times, const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

// A line of register 5 with so many values of 7.
std::string lineOfSevens(std::size_t count, char lineEnd = '\n') {
  std::string line(1, '5');
  line += repeated(count, ",7");
  line += lineEnd;
  return line;
}

SettingLine entryOfSevens(std::size_t count) { return {5, std::vector<std::uint16_t>(count, 7)}; }

void expectRead(const std::string& content, const std::vector<SettingLine>& lines) {
  for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
    const auto read = readTable(content, edge);
    EXPECT_EQ(KVEXA_OK, read.result);
    EXPECT_EQ(lines.size(), read.lineCount);
    const auto expected = expectedTable(lines);
    EXPECT_TRUE(expected == read.bytes) << firstDifference(expected, read.bytes);
  }
}

// Refused: the table holds the lines before the refused one and no more.
void expectRefused(const std::string& content, const std::vector<SettingLine>& linesBefore) {
  for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
    const auto read = readTable(content, edge);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, read.result);
    EXPECT_EQ(lineCountFill, read.lineCount);
    const auto expected = expectedTable(linesBefore);
    EXPECT_TRUE(expected == read.bytes) << firstDifference(expected, read.bytes);
  }
}

TEST(RegisterLimits, lineOf256ValuesIsRead) {
  expectRead("30,0\n" + lineOfSevens(256), {{0x30, {0}}, entryOfSevens(256)});
}

TEST(RegisterLimits, lineOf257ValuesIsRefused) {
  expectRefused("30,0\n" + lineOfSevens(257) + "1,2\n", {{0x30, {0}}});
}

TEST(RegisterLimits, lineOf256ValuesAndATrailingCommaIsRefused) {
  expectRefused("30,0\n" + lineOfSevens(256, ',') + "\n", {{0x30, {0}}});
}

TEST(RegisterLimits, headerOf256ValuesIsRead) { expectRead(lineOfSevens(256), {entryOfSevens(256)}); }

TEST(RegisterLimits, headerOf257ValuesIsRefused) { expectRefused(lineOfSevens(257) + "1,2\n", {}); }

TEST(RegisterLimits, lastLineOf257ValuesWithoutLineFeedIsRefused) {
  expectRefused("30,0\n1,2\n" + lineOfSevens(257, ' '), {{0x30, {0}}, {1, {2}}});
}

TEST(RegisterLimits, lineOfHundredThousandValuesIsRefused) {
  expectRefused("30,0\n" + lineOfSevens(100000), {{0x30, {0}}});
}

TEST(RegisterLimits, fileOf1024LinesIsRead) {
  expectRead(repeated(1024, "5,7\n"), std::vector<SettingLine>(1024, entryOfSevens(1)));
}

TEST(RegisterLimits, fileOf1024LinesWithoutLastLineFeedIsRead) {
  expectRead(repeated(1023, "5,7\n") + "5,7", std::vector<SettingLine>(1024, entryOfSevens(1)));
}

TEST(RegisterLimits, fileOf1024FullLinesIsRead) {
  expectRead(repeated(1024, lineOfSevens(256)), std::vector<SettingLine>(1024, entryOfSevens(256)));
}

TEST(RegisterLimits, fileOf1025LinesIsRefused) {
  expectRefused(repeated(1025, "5,7\n"), std::vector<SettingLine>(1024, entryOfSevens(1)));
}

TEST(RegisterLimits, line1025OfOneByteIsRefused) {
  expectRefused(repeated(1024, "5,7\n") + " ", std::vector<SettingLine>(1024, entryOfSevens(1)));
}

TEST(RegisterLimits, emptyLine1025IsRefused) {
  expectRefused(repeated(1024, "5,7\n") + "\n", std::vector<SettingLine>(1024, entryOfSevens(1)));
}

TEST(RegisterLimits, fileOfManyEmptyLinesIsRefused) {
  expectRefused(std::string(50000, '\n'), std::vector<SettingLine>(1024));
}

TEST(RegisterLimits, longLineWithoutCommaIsAnEntry) {
  expectRead("30,0\n" + std::string(200000, 'f') + "\n1,2\n", {{0x30, {0}}, {0, {}}, {1, {2}}});
}

TEST(RegisterLimits, longFieldsAreRead) {
  expectRead(std::string(5000, ' ') + "30," + std::string(5000, '0') + "\n5,7" + std::string(5000, ' ') +
                 "comment\n",
             {{0x30, {0}}, {5, {7}}});
}

TEST(RegisterLimits, randomTextStaysInsideTheTable) {
  RandomSource random;
  for (unsigned round = 0; round < 60; ++round) {
    const std::string alphabet =
        round % 2 == 0 ? "0123456789abcdefABCDEF,,,,,\n\r \t-+xXgz#" : ",,,,,,,,,,,,,,,,1\n";
    const auto read = readTable(random.text(alphabet, random.below(20000)),
                                round % 3 == 0 ? MemoryEdge::lower : MemoryEdge::upper);
    EXPECT_TRUE(read.result == KVEXA_OK || read.result == KVEXA_BAD_ARGUMENT) << read.result;
    // The bytes of an entry between its values and its count belong to nobody.
    for (std::size_t entry = 0; entry < KVEXA_REGISTER_TABLE_ENTRIES; ++entry) {
      const auto* unused = &read.bytes[entry * 2056 + 516];
      ASSERT_EQ(std::string(1536, static_cast<char>(tableFill)), std::string(unused, unused + 1536));
    }
  }
}

TEST(RegisterLimits, randomBytesStayInsideTheTable) {
  RandomSource random;
  for (unsigned round = 0; round < 40; ++round) {
    const auto bytes = random.bytes(random.below(5000));
    const auto read = readTable({bytes.begin(), bytes.end()});
    EXPECT_TRUE(read.result == KVEXA_OK || read.result == KVEXA_BAD_ARGUMENT) << read.result;
  }
}

}  // namespace
}  // namespace kvexa::test
