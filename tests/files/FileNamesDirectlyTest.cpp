// File names under the sanitizers: the check of the last three characters must stay inside the name.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "files/CapParamReader.h"
#include "files/RegisterSettingReader.h"
#include "tests/files/CapParamFields.h"
#include "tests/files/RandomSource.h"
#include "tests/files/RegisterTable.h"

namespace kvexa::test {
namespace {

// The name in an allocation of its exact size.
std::int32_t readCapParam(const std::string& name, CapParam& param) {
  const auto exact = std::make_unique<char[]>(name.size() + 1);
  std::memcpy(exact.get(), name.c_str(), name.size() + 1);
  return files::readCapParamFile(exact.get(), &param);
}

TEST(FileNamesDirectly, shortNamesAreBadFiles) {
  CapParam param = filledCapParam(0x7777);
  for (const char* name : {"", "d", "t", "da", "at", "DAT", "Dat", ".dat.", "a.DAT"}) {
    EXPECT_EQ(KVEXA_BAD_FILE, readCapParam(name, param)) << name;
  }
  EXPECT_EQ(wordsOf(filledCapParam(0x7777)), wordsOf(param));
}

TEST(FileNamesDirectly, filesThatDoNotExistAreNotOpened) {
  CapParam param{};
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, readCapParam("no such folder/dat", param));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, readCapParam("no such folder/none.dat", param));
  std::uint32_t lineCount = lineCountFill;
  const auto table = std::make_unique<RegisterTableEntry[]>(KVEXA_REGISTER_TABLE_ENTRIES);
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED,
            files::readRegisterTableFile("no such folder/none.txt", table.get(), &lineCount));
  EXPECT_EQ(lineCountFill, lineCount);
}

TEST(FileNamesDirectly, nullPointersAreRefused) {
  CapParam param{};
  std::uint32_t lineCount = 0;
  const auto table = std::make_unique<RegisterTableEntry[]>(KVEXA_REGISTER_TABLE_ENTRIES);
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, files::readCapParamFile(nullptr, &param));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, files::readCapParamFile("a.dat", nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, files::readRegisterTableFile(nullptr, table.get(), &lineCount));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, files::readRegisterTableFile("a.txt", nullptr, &lineCount));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, files::readRegisterTableFile("a.txt", table.get(), nullptr));
}

// Where this machine's long has 64 bits the run-time library itself is no reference beyond 32 bits.
TEST(Numbers, randomNumbersAreReadAsTheRunTimeLibraryDoes) {
  RandomSource random;
  for (unsigned round = 0; round < 20000; ++round) {
    const std::string prefix = random.below(3) == 0 ? "0x" : random.below(2) == 0 ? "0" : "";
    const std::string text = prefix + random.text("0123456789abcdefxg", 1 + random.below(7));
    ASSERT_EQ(static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0)),
              files::parseUnsigned(text.c_str()))
        << text;
  }
}

TEST(Numbers, hugeNumbersSaturate) {
  for (const char* text : {"4294967295", "4294967296", "18446744073709551616", "0x100000000",
                           "0xFFFFFFFFFFFFFFFFF", "040000000000", "0777777777777777777777777"}) {
    EXPECT_EQ(0xFFFFFFFFu, files::parseUnsigned(text)) << text;
  }
  EXPECT_EQ(0xFFFFFFFEu, files::parseUnsigned("4294967294"));
}

}  // namespace
}  // namespace kvexa::test
