// The files themselves: their names, whether they open, who else has them open, null pointers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/CapParamFields.h"
#include "tests/files/RegisterTable.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

class CapFileName : public testing::Test {
 protected:
  // The result of a good file under the name.
  std::int32_t read(const std::string& name) {
    return kVexaGetCapFileParam(folder_.write(name, CapFileText().text()).c_str(), &param_);
  }

  const TemporaryFolder folder_;
  CapParam param_ = filledCapParam(0x7777);
};

TEST_F(CapFileName, lowerCaseEndingIsRead) {
  EXPECT_EQ(KVEXA_OK, read("capture.dat"));
  for (unsigned i = 0; i < 26; ++i) EXPECT_EQ(1001 + i, wordsOf(param_)[i]) << capParamFields[i].key;
}

// Intended, although the name is compared with both spellings.
TEST_F(CapFileName, upperCaseEndingIsABadFile) {
  EXPECT_EQ(KVEXA_BAD_FILE, read("capture.DAT"));
  EXPECT_EQ(wordsOf(filledCapParam(0x7777)), wordsOf(param_));
}

TEST_F(CapFileName, mixedCaseEndingsAreBadFiles) {
  for (const char* name : {"capture.Dat", "capture.dAt", "capture.daT", "capture.DAt", "capture.dAT"}) {
    EXPECT_EQ(KVEXA_BAD_FILE, read(name)) << name;
  }
}

TEST_F(CapFileName, otherEndingsAreBadFiles) {
  for (const char* name : {"capture.txt", "capture.data", "capture.da", "dat.txt", "capture.dat.old"}) {
    EXPECT_EQ(KVEXA_BAD_FILE, read(name)) << name;
  }
  EXPECT_EQ(wordsOf(filledCapParam(0x7777)), wordsOf(param_));
}

TEST_F(CapFileName, endingNeedsNoPoint) {
  EXPECT_EQ(KVEXA_OK, read("capturedat"));
  EXPECT_EQ(KVEXA_OK, read("dat"));
}

TEST_F(CapFileName, upperCaseNameWithLowerCaseEndingIsRead) { EXPECT_EQ(KVEXA_OK, read("CAPTURE.dat")); }

TEST_F(CapFileName, nameOfThreeCharactersIsRead) {
  folder_.write("dat", CapFileText().text());
  char before[MAX_PATH + 1] = {};
  ASSERT_NE(0u, GetCurrentDirectoryA(MAX_PATH, before));
  ASSERT_NE(0, SetCurrentDirectoryA(folder_.path().c_str()));
  const auto result = kVexaGetCapFileParam("dat", &param_);
  ASSERT_NE(0, SetCurrentDirectoryA(before));
  EXPECT_EQ(KVEXA_OK, result);
}

TEST_F(CapFileName, namesShorterThanThreeCharactersAreBadFiles) {
  for (const char* name : {"", "d", "t", "da", "at", "dt"}) {
    EXPECT_EQ(KVEXA_BAD_FILE, kVexaGetCapFileParam(name, &param_)) << name;
  }
}

TEST_F(CapFileName, nameIsLookedAtBeforeTheFile) {
  EXPECT_EQ(KVEXA_BAD_FILE, kVexaGetCapFileParam(folder_.path("none.DAT").c_str(), &param_));
  EXPECT_EQ(KVEXA_BAD_FILE, kVexaGetCapFileParam(folder_.path("none.txt").c_str(), &param_));
}

TEST_F(CapFileName, fileThatDoesNotExistIsNotOpened) {
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaGetCapFileParam(folder_.path("none.dat").c_str(), &param_));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaGetCapFileParam(folder_.path("none\\none.dat").c_str(), &param_));
  EXPECT_EQ(wordsOf(filledCapParam(0x7777)), wordsOf(param_));
  EXPECT_TRUE(folder_.isEmpty()) << "the reader created a file";
}

TEST_F(CapFileName, folderIsNotOpened) {
  ASSERT_NE(0, CreateDirectoryA(folder_.path("folder.dat").c_str(), nullptr));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaGetCapFileParam(folder_.path("folder.dat").c_str(), &param_));
}

TEST_F(CapFileName, nullPointersAreRefused) {
  const auto path = folder_.write("capture.dat", CapFileText().text());
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetCapFileParam(nullptr, &param_));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetCapFileParam(path.c_str(), nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetCapFileParam(nullptr, nullptr));
}

// Holds a file open with this sharing.
class HeldFile {
 public:
  HeldFile(const std::string& path, DWORD access, DWORD share)
      : file_(CreateFileA(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                          nullptr)) {
    EXPECT_NE(INVALID_HANDLE_VALUE, file_);
  }
  ~HeldFile() { CloseHandle(file_); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

 private:
  HANDLE file_;
};

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

TEST_F(CapFileName, fileThatSomebodyElseWritesIsRead) {
  const auto path = folder_.write("capture.dat", CapFileText().text());
  const HeldFile writer(path, GENERIC_READ | GENERIC_WRITE, shareAll);
  EXPECT_EQ(KVEXA_OK, kVexaGetCapFileParam(path.c_str(), &param_));
}

TEST_F(CapFileName, fileThatSomebodyElseHoldsAloneIsNotOpened) {
  const auto path = folder_.write("capture.dat", CapFileText().text());
  const HeldFile holder(path, GENERIC_READ, 0);
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaGetCapFileParam(path.c_str(), &param_));
}

TEST_F(CapFileName, noHandleStaysOpenWhateverTheResult) {
  const std::vector<std::string> contents = {CapFileText().text(),
                                             CapFileText().remove("END").text(),
                                             CapFileText().remove("HCNT").text(),
                                             "HCNT:" + std::string(300, '1'),
                                             CapFileText().textWithoutLastLineFeed(),
                                             ""};
  std::vector<std::string> paths = {folder_.path("none.dat"), folder_.path("none.DAT")};
  for (const auto& content : contents) {
    paths.push_back(folder_.write(std::to_string(paths.size()) + ".dat", content));
  }
  for (const auto& path : paths) kVexaGetCapFileParam(path.c_str(), &param_);
  const unsigned before = processHandleCount();
  for (const auto& path : paths) kVexaGetCapFileParam(path.c_str(), &param_);
  EXPECT_EQ(before, processHandleCount());
}

class RegisterFileName : public testing::Test {
 protected:
  // The result for the path; a failure leaves the line count alone.
  std::int32_t read(const std::string& path) {
    lineCount_ = lineCountFill;
    const auto result = kUsbIniFileToBuf(path.c_str(), table_.data(), &lineCount_);
    EXPECT_EQ(result == KVEXA_OK, lineCount_ != lineCountFill);
    return result;
  }

  const TemporaryFolder folder_;
  std::vector<RegisterTableEntry> table_ = std::vector<RegisterTableEntry>(KVEXA_REGISTER_TABLE_ENTRIES);
  std::uint32_t lineCount_ = lineCountFill;
};

TEST_F(RegisterFileName, anyNameIsRead) {
  for (const char* name : {"sensor.txt", "sensor.ini", "SENSOR.INI", "sensor", "s"}) {
    EXPECT_EQ(KVEXA_OK, read(folder_.write(name, "30,0\n12,34\n"))) << name;
    EXPECT_EQ(2u, lineCount_);
  }
}

TEST_F(RegisterFileName, fileThatDoesNotExistIsNotOpened) {
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, read(folder_.path("none.txt")));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, read(folder_.path("none\\none.txt")));
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, read(""));
  EXPECT_TRUE(folder_.isEmpty()) << "the reader created a file";
}

TEST_F(RegisterFileName, folderIsNotOpened) { EXPECT_EQ(KVEXA_FILE_NOT_OPENED, read(folder_.path())); }

TEST_F(RegisterFileName, nullPointersAreRefused) {
  const auto path = folder_.write("sensor.txt", "30,0\n12,34\n");
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbIniFileToBuf(nullptr, table_.data(), &lineCount_));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbIniFileToBuf(path.c_str(), nullptr, &lineCount_));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbIniFileToBuf(path.c_str(), table_.data(), nullptr));
  EXPECT_EQ(lineCountFill, lineCount_);
}

TEST_F(RegisterFileName, noHandleStaysOpenWhateverTheResult) {
  std::string manyValues = "30,0\n5";
  for (unsigned i = 0; i < 300; ++i) manyValues += ",7";
  const std::string paths[] = {folder_.write("good", "30,0\n12,34\n"), folder_.write("empty", ""),
                               folder_.write("values", manyValues),
                               folder_.write("lines", std::string(2000, '\n')), folder_.path("none")};
  const auto readAll = [&] {
    for (const auto& path : paths) read(path);
  };
  readAll();
  const unsigned before = processHandleCount();
  readAll();
  EXPECT_EQ(before, processHandleCount());
}

}  // namespace
}  // namespace kvexa::test
