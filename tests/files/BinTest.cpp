// Images saved as bare bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include "kvexa.h"
#include "tests/files/GuardedMemory.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The formats and their bytes a pixel, written down apart from the library's own table.
const std::map<std::uint32_t, unsigned> pixelBytes = {
    {1, 1},  {2, 2},  {3, 3},  {4, 4},  {10, 3}, {11, 2}, {12, 2}, {13, 1}, {14, 2},
    {20, 2}, {40, 1}, {41, 1}, {42, 1}, {43, 1}, {44, 2}, {45, 2}, {46, 2}, {47, 2},
};

class Bin : public testing::Test {
 protected:
  std::int32_t save(const Bytes& image, unsigned width, unsigned height, const SaveRect& rect,
                    std::uint32_t format) {
    return kVexaSaveBinFile(folder_.path("image.bin").c_str(), image.data(), width, height, &rect, format);
  }

  void expectRefused(std::int32_t result) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, result);
    EXPECT_TRUE(folder_.isEmpty()) << "a file was created";
  }

  // Bytes that tell where they come from.
  static Bytes counted(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
  }

  static Bytes expected(const Bytes& image, unsigned width, const SaveRect& rect, unsigned bytes) {
    Bytes cut;
    for (unsigned row = 0; row < rect.height; ++row) {
      const auto first = image.begin() + ((rect.y + row) * width + rect.x) * bytes;
      cut.insert(cut.end(), first, first + rect.width * bytes);
    }
    return cut;
  }

  const TemporaryFolder folder_;
};

TEST_F(Bin, WholeImageIsItsBytes) {
  for (const auto& [format, bytes] : pixelBytes) {
    const Bytes image = counted(std::size_t{13} * 7 * bytes);
    ASSERT_EQ(KVEXA_OK, save(image, 13, 7, {0, 0, 13, 7}, format)) << "format " << format;
    EXPECT_EQ(image, folder_.read("image.bin")) << "format " << format;
  }
}

TEST_F(Bin, RectangleIsCutOutAtEveryCorner) {
  for (const auto& [format, bytes] : pixelBytes) {
    const Bytes image = counted(std::size_t{13} * 7 * bytes);
    for (const SaveRect& rect : {SaveRect{0, 0, 5, 3},
                                 {8, 0, 5, 3},
                                 {0, 4, 5, 3},
                                 {8, 4, 5, 3},
                                 {4, 2, 1, 1},
                                 {0, 3, 13, 2},
                                 {12, 0, 1, 7}}) {
      ASSERT_EQ(KVEXA_OK, save(image, 13, 7, rect, format));
      EXPECT_EQ(expected(image, 13, rect, bytes), folder_.read("image.bin")) << "format " << format;
    }
  }
}

TEST_F(Bin, NothingIsReadBesideTheImage) {
  for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
    GuardedMemory memory(9 * 5 * 2, edge, 0x3C);
    for (const SaveRect& rect : {SaveRect{0, 0, 9, 5}, {0, 0, 3, 1}, {6, 4, 3, 1}}) {
      EXPECT_EQ(KVEXA_OK, kVexaSaveBinFile(folder_.path("image.bin").c_str(), memory.data(), 9, 5, &rect, 2));
      EXPECT_EQ(Bytes(rect.width * rect.height * 2, 0x3C), folder_.read("image.bin"));
    }
  }
}

// Wide enough for more than one piece, in rows that do and do not lie together.
TEST_F(Bin, LargeImageIsWhole) {
  const Bytes image = counted(std::size_t{2000} * 1500);
  ASSERT_EQ(KVEXA_OK, save(image, 2000, 1500, {0, 0, 2000, 1500}, 1));
  EXPECT_TRUE(image == folder_.read("image.bin"));
  const SaveRect inside{1, 2, 1998, 1490};
  ASSERT_EQ(KVEXA_OK, save(image, 2000, 1500, inside, 1));
  EXPECT_TRUE(expected(image, 2000, inside, 1) == folder_.read("image.bin"));
  const Bytes wide = counted(std::size_t{3000000} * 2);
  const SaveRect row{1, 1, 2999999, 1};
  ASSERT_EQ(KVEXA_OK, save(wide, 3000000, 2, row, 1));
  EXPECT_TRUE(expected(wide, 3000000, row, 1) == folder_.read("image.bin"));
}

TEST_F(Bin, FileThatIsThereIsReplaced) {
  folder_.write("image.bin", std::string(1000, 'x'));
  EXPECT_EQ(KVEXA_OK, save(Bytes(6, 0x11), 3, 2, {0, 0, 3, 2}, 1));
  EXPECT_EQ(Bytes(6, 0x11), folder_.read("image.bin"));
}

TEST_F(Bin, OtherFormatsAreRefused) {
  const Bytes image = counted(13 * 7 * 4);
  for (std::uint32_t format = 0; format < 60; ++format) {
    if (!pixelBytes.contains(format)) expectRefused(save(image, 13, 7, {0, 0, 13, 7}, format));
  }
  for (const std::uint32_t format : {256U + 1, 0x80000001U, 0xFFFFFFFFU}) {
    expectRefused(save(image, 13, 7, {0, 0, 13, 7}, format));
  }
}

TEST_F(Bin, RectangleThatIsEmptyOrNotInsideIsRefused) {
  const Bytes image = counted(8 * 6);
  for (const SaveRect& rect : {SaveRect{0, 0, 0, 6},
                               {0, 0, 8, 0},
                               {1, 0, 8, 6},
                               {0, 1, 8, 6},
                               {0, 0, 9, 6},
                               {8, 0, 1, 1},
                               {0, 6, 1, 1}}) {
    expectRefused(save(image, 8, 6, rect, 1));
  }
  expectRefused(save(image, 0, 6, {0, 0, 1, 1}, 1));
  expectRefused(save(image, 8, 0, {0, 0, 1, 1}, 1));
}

TEST_F(Bin, SumsThatWrapAreRefused) {
  const Bytes image = counted(8 * 6);
  expectRefused(save(image, 8, 6, {0xFFFFFFFFU, 0, 2, 1}, 1));
  expectRefused(save(image, 8, 6, {0, 0xFFFFFFFFU, 1, 2}, 1));
  expectRefused(save(image, 8, 6, {2, 0, 0xFFFFFFFFU, 1}, 1));
  // Four bytes a pixel of a line that no memory holds.
  expectRefused(save(image, 0xFFFFFFFFU, 0xFFFFFFFFU, {0, 1, 1, 1}, 4));
  expectRefused(save(image, 0x40000000U, 1, {0, 0, 0x40000000U, 1}, 4));
}

TEST_F(Bin, NullPointersAreRefused) {
  const Bytes image = counted(8 * 6);
  const SaveRect rect{0, 0, 8, 6};
  const std::string path = folder_.path("image.bin");
  expectRefused(kVexaSaveBinFile(nullptr, image.data(), 8, 6, &rect, 1));
  expectRefused(kVexaSaveBinFile(path.c_str(), nullptr, 8, 6, &rect, 1));
  expectRefused(kVexaSaveBinFile(path.c_str(), image.data(), 8, 6, nullptr, 1));
}

TEST_F(Bin, PathThatCannotBeWrittenHasItsCodeAndNothingLeaks) {
  const Bytes image = counted(8 * 6);
  const SaveRect rect{0, 0, 8, 6};
  const auto saveTo = [&](const std::string& path) {
    return kVexaSaveBinFile(path.c_str(), image.data(), 8, 6, &rect, 1);
  };
  EXPECT_EQ(KVEXA_OK, saveTo(folder_.path("image.bin")));
  const unsigned before = processHandleCount();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path("none\\image.bin")));
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(folder_.path()));
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, saveTo(""));
    EXPECT_EQ(KVEXA_OK, saveTo(folder_.path("image.bin")));
  }
  EXPECT_EQ(before, processHandleCount());
}

// Wine reaches the host's device that is always full; on Windows no such path exists.
TEST_F(Bin, VolumeWithoutRoomIsTold) {
  const Bytes image = counted(std::size_t{2000} * 1500);
  for (const SaveRect& rect : {SaveRect{0, 0, 8, 6}, {0, 0, 2000, 1500}, {1, 0, 1999, 1500}}) {
    EXPECT_EQ(KVEXA_FILE_NOT_OPENED, kVexaSaveBinFile("Z:\\dev\\full", image.data(), 2000, 1500, &rect, 1));
  }
}

}  // namespace
}  // namespace kvexa::test
