// Where reading a capture-parameter file stops, and what it then says.
#include <gtest/gtest.h>

#include <string>

#include "tests/files/CapParamFields.h"
#include "tests/files/FilesUnderTest.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {
namespace {

struct Ending {
  const char* name;
  std::string content;
  std::int32_t result;
};

std::string nameOf(const testing::TestParamInfo<Ending>& ending) { return ending.param.name; }

CapFileText good() { return {}; }

class CapParamEnding : public testing::TestWithParam<Ending> {};

// Every content here holds all 26 keys in lines that are read.
TEST_P(CapParamEnding, decidesTheResultAndEveryFieldIsRead) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(GetParam().result, undertest::readCapParam(GetParam().content, param));
  for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(1001 + i, wordsOf(param)[i]) << capParamFields[i].key;
}

INSTANTIATE_TEST_SUITE_P(
    EndLine, CapParamEnding,
    testing::Values(
        Ending{"endOnItsOwnLine", good().text(), KVEXA_OK},
        Ending{"endWithAValue", good().replace("END", "END:5").text(), KVEXA_OK},
        Ending{"endWithAComment", good().replace("END", "END of file").text(), KVEXA_OK},
        Ending{"endWithACommentAndCarriageReturn", good().replace("END", "END \r").text(), KVEXA_OK},
        Ending{"endWithAnEmptyValueAndCarriageReturn", good().replace("END", "END:\r").text(), KVEXA_OK},
        Ending{"keysInReverseOrder", good().reverseKeys().text(), KVEXA_OK},
        Ending{"linesAfterEndAreNotRead", good().append("HCNT:5").text(), KVEXA_OK},
        Ending{"longValueAfterEndIsNotRead", good().append("A:" + std::string(300, '1')).text(), KVEXA_OK},
        Ending{"textAfterEndNeedsNoLineFeed", good().append("that is all").textWithoutLastLineFeed(),
               KVEXA_OK}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    NoEndLine, CapParamEnding,
    testing::Values(Ending{"noEnd", good().remove("END").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"carriageReturnsEverywhere", good().text("\r\n"), KVEXA_BAD_ARGUMENT},
                    Ending{"endWithCarriageReturn", good().replace("END", "END\r").text(),
                           KVEXA_BAD_ARGUMENT},
                    Ending{"endWithTab", good().replace("END", "END\t").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"endInLowerCase", good().replace("END", "end").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"endBehindABlank", good().replace("END", " END").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"endAsAValue", good().replace("END", "KEY:END").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"endAsAValueOfNoKey", good().replace("END", ":END").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"longerWord", good().replace("END", "ENDS").text(), KVEXA_BAD_ARGUMENT},
                    Ending{"shorterWord", good().replace("END", "EN").text(), KVEXA_BAD_ARGUMENT}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    LastByte, CapParamEnding,
    testing::Values(Ending{"endWithoutLineFeed", good().textWithoutLastLineFeed(), KVEXA_BAD_FILE},
                    Ending{"endAndCarriageReturnWithoutLineFeed",
                           good().replace("END", "END\r").textWithoutLastLineFeed(), KVEXA_BAD_FILE},
                    Ending{"noEndAndABlankAtTheEnd", good().replace("END", " ").textWithoutLastLineFeed(),
                           KVEXA_BAD_FILE},
                    Ending{"noEndAndAColonAtTheEnd", good().replace("END", ":").textWithoutLastLineFeed(),
                           KVEXA_BAD_FILE},
                    Ending{"noEndAndACommentAtTheEnd",
                           good().replace("END", "# that is all").textWithoutLastLineFeed(), KVEXA_BAD_FILE}),
    nameOf);

// 26 keys, filling lines and END.
INSTANTIATE_TEST_SUITE_P(
    LineLimit, CapParamEnding,
    testing::Values(
        Ending{"endIsLine1000", good().insertBefore("END", "", 973).text(), KVEXA_OK},
        Ending{"endIsLine1001", good().insertBefore("END", "", 974).text(), KVEXA_BAD_ARGUMENT},
        Ending{"endIsLine2000", good().insertBefore("END", "# note:1", 1973).text(), KVEXA_BAD_ARGUMENT},
        Ending{"lastKeyIsLine1000", good().insertBefore("EXCHGFORMAT", "", 974).text(), KVEXA_BAD_ARGUMENT},
        Ending{"thousandLinesWithoutEnd", good().remove("END").append(std::string(973, '\n')).text(),
               KVEXA_BAD_ARGUMENT},
        Ending{"badLineAfterTheLimitIsNotRead",
               good().insertBefore("END", "", 974).insertBefore("END", "A:" + std::string(300, '1')).text(),
               KVEXA_BAD_ARGUMENT},
        Ending{"textAfterTheLimitNeedsNoLineFeed",
               good().insertBefore("END", "", 974).textWithoutLastLineFeed(), KVEXA_BAD_ARGUMENT}),
    nameOf);

struct Incomplete {
  const char* name;
  std::string content;
};

class CapParamIncomplete : public testing::TestWithParam<Incomplete> {};

TEST_P(CapParamIncomplete, isABadFile) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam(GetParam().content, param));
}

INSTANTIATE_TEST_SUITE_P(
    Contents, CapParamIncomplete,
    testing::Values(Incomplete{"emptyFile", ""}, Incomplete{"oneLineFeed", "\n"}, Incomplete{"oneByte", "E"},
                    Incomplete{"endAlone", "END\n"}, Incomplete{"endFirst", "END\n" + good().text()},
                    Incomplete{"endBeforeTheLastKey", good().insertBefore("EXCHGFORMAT", "END").text()},
                    Incomplete{"thousandEmptyLines", std::string(1000, '\n')},
                    Incomplete{"keysAfterTheLimit", std::string(1000, '\n') + good().text()},
                    Incomplete{"lastKeyIsLine1001", good().insertBefore("EXCHGFORMAT", "", 975).text()},
                    Incomplete{"keyMissingAndNoEnd", good().remove("HCNT").remove("END").text()},
                    Incomplete{"keyMissingAndLineLimit",
                               good().remove("HCNT").insertBefore("END", "", 2000).text()}),
    [](const auto& content) { return std::string(content.param.name); });

TEST(CapParamKeys, everyKeyFillsItsOwnField) {
  for (const auto& field : capParamFields) {
    CapParam param = filledCapParam(0x7777);
    const std::string line = std::string(field.key) + ":54321";
    ASSERT_EQ(KVEXA_OK, undertest::readCapParam(CapFileText().replace(field.key, line).text(), param));
    EXPECT_EQ(54321, param.*field.member) << field.key;
  }
}

TEST(CapParamKeys, anyMissingKeyMakesABadFileAndLeavesItsField) {
  for (const auto& field : capParamFields) {
    CapParam param = filledCapParam(0x7777);
    EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam(CapFileText().remove(field.key).text(), param));
    for (unsigned i = 0; i < 26; ++i) {
      const bool removed = capParamFields[i].member == field.member;
      EXPECT_EQ(removed ? 0x7777 : 1001 + i, wordsOf(param)[i]) << field.key;
    }
  }
}

TEST(CapParamKeys, keyWithAnEmptyValueCountsAsPresent) {
  for (const auto& field : capParamFields) {
    CapParam param = filledCapParam(0x7777);
    const std::string line = std::string(field.key) + ": 5";
    EXPECT_EQ(KVEXA_OK, undertest::readCapParam(CapFileText().replace(field.key, line).text(), param));
    EXPECT_EQ(0, param.*field.member) << field.key;
  }
}

TEST(CapParamKeys, keyGivenTwiceDoesNotReplaceAnother) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam(CapFileText().replace("VCNT", "HCNT:5").text(), param));
  EXPECT_EQ(5, param.HCNT);
  EXPECT_EQ(0x7777, param.VCNT);
}

// The line that is refused stores nothing, those behind it are not read; whichever line that is.
TEST(CapParamErrors, recordHoldsTheLinesReadBeforeTheError) {
  for (unsigned k = 0; k < 26; ++k) {
    CapParam param = filledCapParam(0x7777);
    const std::string key = capParamFields[k].key;
    const std::string content = CapFileText().replace(key, key + ":" + std::string(255, '1')).text();
    EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam(content, param));
    for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(i < k ? 1001 + i : 0x7777, wordsOf(param)[i]) << key;
  }
}

// The same for a file whose last byte is no line feed, and for one that ends too early.
TEST(CapParamErrors, recordHoldsTheLinesBeforeTheEndOfAShortFile) {
  for (unsigned k = 0; k < 26; ++k) {
    const std::string key = capParamFields[k].key;
    const std::string whole = CapFileText().text();
    const std::string before = whole.substr(0, whole.find(key + ":"));
    for (const std::string& content : {before, before + "END\n", before + key + ":5"}) {
      CapParam param = filledCapParam(0x7777);
      EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam(content, param));
      for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(i < k ? 1001 + i : 0x7777, wordsOf(param)[i]) << key;
    }
  }
}

// Without END in its 1000 lines a file is refused, and the record holds all of it.
TEST(CapParamErrors, recordHoldsEveryLineWhenTheEndIsMissing) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            undertest::readCapParam(CapFileText().remove("END").append("HCNT:5").text(), param));
  for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(i == 9 ? 5U : 1001 + i, wordsOf(param)[i]) << i;
}

TEST(CapParamErrors, lastLineWithoutLineFeedIsNotStored) {
  CapParam param = filledCapParam(0x7777);
  EXPECT_EQ(KVEXA_BAD_FILE, undertest::readCapParam("HCNT:5\nVCNT:6", param));
  EXPECT_EQ(5, param.HCNT);
  EXPECT_EQ(0x7777, param.VCNT);
}

TEST(CapParamErrors, goodFileCutAnywhereIsABadFile) {
  const std::string whole = CapFileText().text();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const std::string cut = whole.substr(0, length);
    CapParam param = filledCapParam(0x7777);
    // Cut just before END all keys are there and the reader runs into its line limit.
    const auto expected = cut.size() == whole.size() - 4 ? KVEXA_BAD_ARGUMENT : KVEXA_BAD_FILE;
    ASSERT_EQ(expected, undertest::readCapParam(cut, param)) << length << " bytes";
  }
}

TEST(CapParamErrors, randomBytesAreABadFile) {
  RandomSource random;
  for (unsigned round = 0; round < 50; ++round) {
    const auto bytes = random.bytes(random.below(4000));
    CapParam param = filledCapParam(0x7777);
    ASSERT_EQ(KVEXA_BAD_FILE, undertest::readCapParam({bytes.begin(), bytes.end()}, param));
    ASSERT_EQ(wordsOf(filledCapParam(0x7777)), wordsOf(param));
  }
}

}  // namespace
}  // namespace kvexa::test
