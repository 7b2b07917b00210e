// What the bitmap writer refuses, and what it then leaves on disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "tests/files/BitmapReference.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

constexpr SaveRect wholeImage = {0, 0, 8, 6};

class BitmapRefusal : public testing::Test {
 protected:
  std::int32_t save(const SaveRect& rect, std::uint32_t width = 8, std::uint32_t height = 6,
                    std::uint32_t format = KVEXA_FORMAT_BGR24, std::uint32_t kind = KVEXA_BMP_24_BITS) {
    return kVexaSaveBmpFile(folder_.path("image.bmp").c_str(), image_.data(), width, height, &rect, format,
                            kind);
  }

  void expectRefused(std::int32_t result) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, result);
    EXPECT_TRUE(folder_.isEmpty()) << "a file was created";
  }

  const TemporaryFolder folder_;
  const std::vector<std::uint8_t> image_ = std::vector<std::uint8_t>(8 * 6 * 3, 0x55);
};

bool goTogether(std::uint32_t format, std::uint32_t kind) {
  return std::any_of(std::begin(reference::bitmapKinds), std::end(reference::bitmapKinds),
                     [=](const auto& allowed) { return allowed.format == format && allowed.kind == kind; });
}

TEST_F(BitmapRefusal, everyOtherCombinationIsRefused) {
  unsigned refused = 0;
  for (std::uint32_t format = 0; format < 50; ++format) {
    for (std::uint32_t kind = 9998; kind < 10007; ++kind) {
      if (goTogether(format, kind)) continue;
      SCOPED_TRACE("format " + std::to_string(format) + ", kind " + std::to_string(kind));
      expectRefused(save(wholeImage, 8, 6, format, kind));
      ++refused;
    }
  }
  EXPECT_EQ(50u * 9u - std::size(reference::bitmapKinds), refused);
}

TEST_F(BitmapRefusal, codesFarOutAreRefused) {
  for (const std::uint32_t code : {0u, 1u, 24u, 8u, 16u, 266u, 0x80000000u, 0xFFFFFFFFu}) {
    expectRefused(save(wholeImage, 8, 6, KVEXA_FORMAT_BGR24, code));
    expectRefused(save(wholeImage, 8, 6, code, KVEXA_BMP_24_BITS));
  }
}

TEST_F(BitmapRefusal, rgb555CreatesNoFile) {
  for (const std::uint32_t kind : {10000u, 10001u, 10002u, 10003u}) {
    expectRefused(save(wholeImage, 8, 6, KVEXA_FORMAT_RGB555, kind));
  }
}

TEST_F(BitmapRefusal, refusedCombinationLeavesAnExistingFile) {
  folder_.write("image.bmp", "kept");
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, save(wholeImage, 8, 6, KVEXA_FORMAT_RGB555, KVEXA_BMP_24_BITS));
  EXPECT_EQ((std::vector<std::uint8_t>{'k', 'e', 'p', 't'}), folder_.read("image.bmp"));
}

TEST_F(BitmapRefusal, emptyRectangleIsRefused) {
  expectRefused(save({0, 0, 0, 6}));
  expectRefused(save({0, 0, 8, 0}));
  expectRefused(save({0, 0, 0, 0}));
  expectRefused(save({8, 6, 0, 0}));
}

TEST_F(BitmapRefusal, emptyImageIsRefused) {
  expectRefused(save({0, 0, 1, 1}, 0, 6));
  expectRefused(save({0, 0, 1, 1}, 8, 0));
  expectRefused(save({0, 0, 0, 0}, 0, 0));
}

TEST_F(BitmapRefusal, rectangleBesideTheImageIsRefused) {
  expectRefused(save({1, 0, 8, 6}));
  expectRefused(save({0, 1, 8, 6}));
  expectRefused(save({0, 0, 9, 6}));
  expectRefused(save({0, 0, 8, 7}));
  expectRefused(save({8, 0, 1, 1}));
  expectRefused(save({0, 6, 1, 1}));
  expectRefused(save({7, 5, 2, 1}));
  expectRefused(save({7, 5, 1, 2}));
}

TEST_F(BitmapRefusal, rectangleWhoseEndWrapsIsRefused) {
  expectRefused(save({0xFFFFFFFFu, 0, 2, 1}));
  expectRefused(save({0, 0xFFFFFFFFu, 1, 2}));
  expectRefused(save({0xFFFFFFFFu, 0, 1, 1}));
  expectRefused(save({0, 0xFFFFFFFFu, 1, 1}));
  expectRefused(save({2, 0, 0xFFFFFFFFu, 1}));
  expectRefused(save({0, 2, 1, 0xFFFFFFFFu}));
  expectRefused(save({0x80000000u, 0, 0x80000000u, 1}));
  expectRefused(save({0, 0x80000000u, 1, 0x80000001u}));
}

TEST_F(BitmapRefusal, fileOfMoreThanFourGibibytesIsRefused) {
  expectRefused(save({0, 0, 65536, 65536}, 65536, 65536));
  expectRefused(save({0, 0, 65536, 65536}, 65536, 65536, KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS));
  expectRefused(save({0, 0, 0x80000000u, 2}, 0x80000000u, 2, KVEXA_FORMAT_GREY8, KVEXA_BMP_16_BITS));
  expectRefused(save({0, 0, 0xFFFFFFFFu, 0xFFFFFFFFu}, 0xFFFFFFFFu, 0xFFFFFFFFu));
}

TEST_F(BitmapRefusal, nullImageIsRefused) {
  expectRefused(kVexaSaveBmpFile(folder_.path("image.bmp").c_str(), nullptr, 8, 6, &wholeImage,
                                 KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS));
}

TEST_F(BitmapRefusal, nullPathIsRefused) {
  expectRefused(
      kVexaSaveBmpFile(nullptr, image_.data(), 8, 6, &wholeImage, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS));
}

class BitmapPath : public BitmapRefusal {
 protected:
  std::int32_t saveTo(const std::string& path) {
    return kVexaSaveBmpFile(path.c_str(), image_.data(), 8, 6, &wholeImage, KVEXA_FORMAT_BGR24,
                            KVEXA_BMP_24_BITS);
  }
};

TEST_F(BitmapPath, folderThatDoesNotExist) {
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path("none\\image.bmp")));
  EXPECT_TRUE(folder_.isEmpty());
}

TEST_F(BitmapPath, folderInsteadOfAFile) { EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path())); }

TEST_F(BitmapPath, emptyPath) { EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo("")); }

TEST_F(BitmapPath, fileThatSomebodyElseHoldsAlone) {
  folder_.write("image.bmp", "kept");
  const HANDLE file = CreateFileA(folder_.path("image.bmp").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(INVALID_HANDLE_VALUE, file);
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path("image.bmp")));
  CloseHandle(file);
  EXPECT_EQ((std::vector<std::uint8_t>{'k', 'e', 'p', 't'}), folder_.read("image.bmp"));
}

// Wine reaches the host's device that is always full; on Windows no such path exists.
TEST_F(BitmapPath, volumeWithoutRoom) {
  const char* full = "Z:\\dev\\full";
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(full));
  const std::vector<std::uint8_t> large(1000 * 1000 * 3, 0x55);
  const SaveRect rect{0, 0, 1000, 1000};
  EXPECT_EQ(KVEXA_FILE_NOT_OPENED,
            kVexaSaveBmpFile(full, large.data(), 1000, 1000, &rect, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS));
}

// Arguments are looked at before the file is.
TEST_F(BitmapPath, refusedArgumentsWinOverABadPath) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSaveBmpFile(folder_.path("none\\image.bmp").c_str(), image_.data(), 8, 6,
                                                 &wholeImage, KVEXA_FORMAT_RGB555, KVEXA_BMP_24_BITS));
}

TEST_F(BitmapPath, noHandleStaysOpen) {
  EXPECT_EQ(KVEXA_OK, saveTo(folder_.path("image.bmp")));
  const unsigned before = processHandleCount();
  for (unsigned i = 0; i < 20; ++i) {
    EXPECT_EQ(KVEXA_OK, saveTo(folder_.path("image.bmp")));
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path("none\\image.bmp")));
  }
  EXPECT_EQ(before, processHandleCount());
}

}  // namespace
}  // namespace kvexa::test
