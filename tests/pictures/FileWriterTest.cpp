#include "cli/pictures/FileWriter.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "cli/pictures/Picture.h"

namespace {

namespace fs = std::filesystem;

class FileWriter : public testing::Test {
 protected:
  FileWriter() { fs::create_directories(folder_); }
  ~FileWriter() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;

  static std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  fs::path folder_ = fs::temp_directory_path() / "kvexa_file_writer_test";
};

TEST_F(FileWriter, WritesAndReplaces) {
  const fs::path path = folder_ / "picture.png";
  pictures::writeFile(path, {'l', 'o', 'n', 'g', '\r', '\n', 0x1A});
  EXPECT_EQ(contentOf(path), "long\r\n\x1A");
  pictures::writeFile(path, {'x'});
  EXPECT_EQ(contentOf(path), "x");
}

TEST_F(FileWriter, LeavesNothingWhereItCannotWrite) {
  EXPECT_THROW(pictures::writeFile(folder_ / "missing" / "picture.png", {'x'}), pictures::PictureError);
  EXPECT_THROW(pictures::writeFile(folder_, {'x'}), pictures::PictureError);
  EXPECT_TRUE(fs::is_directory(folder_));
  EXPECT_TRUE(fs::is_empty(folder_));
}

#ifndef _WIN32
TEST_F(FileWriter, TellsOfAFullDisk) {
  EXPECT_THROW(pictures::writeFile("/dev/full", {'x'}), pictures::PictureError);
  EXPECT_TRUE(fs::exists("/dev/full"));
}
#endif

}  // namespace
