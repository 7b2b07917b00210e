// The file readers and frame sizes fed with spoiled and random input under the sanitizers.
#include <gtest/gtest.h>

#include <string>

#include "tests/files/CapParamFields.h"
#include "tests/files/FilesUnderTest.h"
#include "tests/files/FrameSizeReference.h"
#include "tests/files/RandomSource.h"
#include "tests/files/RegisterTable.h"

namespace kvexa::test {
namespace {

// Changes, removes or doubles a few bytes.
std::string spoiled(std::string text, RandomSource& random) {
  for (unsigned change = random.below(6); change > 0 && !text.empty(); --change) {
    const auto at = random.below(static_cast<std::uint32_t>(text.size()));
    switch (random.below(4)) {
      case 0: text[at] = static_cast<char>(random.below(256)); break;
      case 1: text.erase(at, 1 + random.below(20)); break;
      case 2: text.insert(at, random.text("\n\n:: 0x19,\r\t-", 1 + random.below(30))); break;
      default: text.insert(at, std::string(1 + random.below(600), text[at]));
    }
  }
  return text;
}

TEST(FileGarbage, spoiledCaptureFilesGiveADocumentedResult) {
  RandomSource random;
  const std::string good = CapFileText().text();
  for (unsigned round = 0; round < 3000; ++round) {
    CapParam param = filledCapParam(0x7777);
    const auto result = undertest::readCapParam(spoiled(good, random), param);
    ASSERT_TRUE(result == KVEXA_OK || result == KVEXA_BAD_FILE || result == KVEXA_BAD_ARGUMENT) << result;
  }
}

TEST(FileGarbage, captureFilesOfRandomWordsGiveADocumentedResult) {
  RandomSource random;
  for (unsigned round = 0; round < 500; ++round) {
    std::string content;
    for (unsigned word = random.below(400); word > 0; --word) {
      content += capParamFields[random.below(26)].key;
      content += random.text(":: 0x1985\t\r\n\n", random.below(12));
    }
    CapParam param = filledCapParam(0x7777);
    const auto result = undertest::readCapParam(content, param);
    ASSERT_TRUE(result == KVEXA_BAD_FILE || result == KVEXA_BAD_ARGUMENT) << result;
  }
}

TEST(FileGarbage, spoiledRegisterFilesStayInsideTheTable) {
  RandomSource random;
  for (unsigned round = 0; round < 300; ++round) {
    std::string good = "36,1\n";
    for (unsigned line = random.below(1030); line > 0; --line) good += "0104,05,00, 03 # size\n";
    const auto read = readTable(spoiled(good, random));
    ASSERT_TRUE(read.result == KVEXA_OK || read.result == KVEXA_BAD_ARGUMENT) << read.result;
    ASSERT_TRUE(read.result != KVEXA_OK || read.lineCount <= 1024u) << read.lineCount;
  }
}

TEST(FileGarbage, frameSizesOfRandomRecordsAreEqualToTheReference) {
  RandomSource random;
  for (unsigned round = 0; round < 200000; ++round) {
    CapParam param;
    for (const auto& field : capParamFields) {
      param.*field.member =
          random.below(2) == 0 ? random.word() : static_cast<std::uint16_t>(random.below(6));
    }
    const std::uint32_t alignment = random.below(3);
    ASSERT_EQ(reference::frameSize(param, alignment), undertest::calcFrameSize(param, alignment));
    reference::FrameSize size{};
    const bool sized = undertest::calcFrameSizeEx(&param, &size.bytes, &size.bytesPerUnit, &size.width,
                                                  &size.height, alignment) == KVEXA_OK;
    const auto expected = reference::frameSizeEx(param, alignment);
    ASSERT_EQ(expected.has_value(), sized);
    ASSERT_TRUE(!expected || *expected == size);
  }
}

}  // namespace
}  // namespace kvexa::test
