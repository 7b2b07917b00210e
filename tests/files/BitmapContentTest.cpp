// Bitmaps written by the library, byte for byte.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "tests/files/BitmapReference.h"
#include "tests/files/GuardedMemory.h"
#include "tests/files/RandomSource.h"
#include "tests/files/TemporaryFolder.h"

namespace kvexa::test {
namespace {

using reference::BitmapFile;
using reference::BitmapKind;
using Bytes = std::vector<std::uint8_t>;

class BitmapTest : public testing::Test {
 protected:
  // What kVexaSaveBmpFile writes, with guard pages around the image.
  Bytes saved(const Bytes& image, unsigned width, unsigned height, const SaveRect& rect, std::uint32_t format,
              std::uint32_t kind) {
    Bytes file;
    for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
      GuardedMemory memory(image.size(), edge, 0);
      std::copy(image.begin(), image.end(), memory.data());
      EXPECT_EQ(KVEXA_OK, kVexaSaveBmpFile(folder_.path("image.bmp").c_str(), memory.data(), width, height,
                                           &rect, format, kind));
      EXPECT_TRUE(image == bytesOf(memory)) << "the image was changed";
      file = folder_.read("image.bmp");
    }
    return file;
  }

  void expectReference(const Bytes& image, unsigned width, unsigned height, const SaveRect& rect,
                       const BitmapKind& kind) {
    const auto expected = BitmapFile(image.data(), width, rect, kind).bytes();
    const auto file = saved(image, width, height, rect, kind.format, kind.kind);
    ASSERT_EQ(expected.size(), file.size());
    const auto at = std::mismatch(expected.begin(), expected.end(), file.begin()).first - expected.begin();
    EXPECT_TRUE(expected == file) << "format " << kind.format << ", kind " << kind.kind << ", byte " << at;
  }

  TemporaryFolder folder_;
};

std::uint32_t field(const Bytes& file, std::size_t offset, unsigned count) {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < count; ++i) value |= static_cast<std::uint32_t>(file[offset + i]) << (8 * i);
  return value;
}

Bytes tail(const Bytes& file, std::size_t offset) {
  return {file.begin() + static_cast<std::ptrdiff_t>(offset), file.end()};
}

void expectHeader(const Bytes& file, std::uint32_t width, std::uint32_t height, std::uint32_t bits,
                  std::uint32_t extra, std::uint32_t compression, std::uint32_t colours) {
  const std::uint32_t pixels = width * height * bits / 8;
  ASSERT_EQ(54 + extra + pixels, file.size());
  EXPECT_EQ(0x4D42u, field(file, 0, 2)) << "type";
  EXPECT_EQ(file.size(), field(file, 2, 4)) << "file size";
  EXPECT_EQ(0u, field(file, 6, 4)) << "reserved";
  EXPECT_EQ(54 + extra, field(file, 10, 4)) << "offset of the pixels";
  EXPECT_EQ(40u, field(file, 14, 4)) << "header size";
  EXPECT_EQ(width, field(file, 18, 4)) << "width";
  EXPECT_EQ(height, field(file, 22, 4)) << "height";
  EXPECT_EQ(1u, field(file, 26, 2)) << "planes";
  EXPECT_EQ(bits, field(file, 28, 2)) << "bits a pixel";
  EXPECT_EQ(compression, field(file, 30, 4)) << "compression";
  EXPECT_EQ(pixels, field(file, 34, 4)) << "image size";
  EXPECT_EQ(0u, field(file, 38, 4)) << "horizontal resolution";
  EXPECT_EQ(0u, field(file, 42, 4)) << "vertical resolution";
  EXPECT_EQ(colours, field(file, 46, 4)) << "colours used";
  EXPECT_EQ(0u, field(file, 50, 4)) << "important colours";
}

TEST_F(BitmapTest, greyRowsOfThreePixelsAreNotPadded) {
  const Bytes image = {1, 2, 3, 4, 5, 6};
  const auto file = saved(image, 3, 2, {0, 0, 3, 2}, KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS);
  expectHeader(file, 3, 2, 8, 1024, 0, 256);
  EXPECT_EQ((Bytes{4, 5, 6, 1, 2, 3}), tail(file, 54 + 1024));
}

TEST_F(BitmapTest, everyByteOfAPaletteEntryIsItsNumber) {
  const auto file = saved({7}, 1, 1, {0, 0, 1, 1}, KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS);
  expectHeader(file, 1, 1, 8, 1024, 0, 256);
  for (unsigned i = 0; i < 256; ++i) EXPECT_EQ(i * 0x01010101u, field(file, 54 + 4 * i, 4));
}

TEST_F(BitmapTest, sixteenBitsCarryTheirMasks) {
  const Bytes image = {0x34, 0x12, 0x78, 0x56};
  const auto file = saved(image, 1, 2, {0, 0, 1, 2}, KVEXA_FORMAT_RGB565, KVEXA_BMP_16_BITS);
  expectHeader(file, 1, 2, 16, 12, 3, 3);
  EXPECT_EQ((Bytes{0x00, 0xF8, 0, 0, 0xE0, 0x07, 0, 0, 0x1F, 0x00, 0, 0, 0x78, 0x56, 0x34, 0x12}),
            tail(file, 54));
}

TEST_F(BitmapTest, colourIsWrittenBlueFirst) {
  const Bytes image = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  const auto file = saved(image, 2, 2, {0, 0, 2, 2}, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  expectHeader(file, 2, 2, 24, 0, 0, 0);
  EXPECT_EQ((Bytes{7, 8, 9, 10, 11, 12, 1, 2, 3, 4, 5, 6}), tail(file, 54));
}

TEST_F(BitmapTest, whiteRgb565BecomesF8FcF8) {
  const auto file = saved({0xFF, 0xFF}, 1, 1, {0, 0, 1, 1}, KVEXA_FORMAT_RGB565, KVEXA_BMP_24_BITS);
  expectHeader(file, 1, 1, 24, 0, 0, 0);
  EXPECT_EQ((Bytes{0xF8, 0xFC, 0xF8}), tail(file, 54));
}

TEST_F(BitmapTest, greyBecomesThreeEqualBytes) {
  const auto file = saved({9, 200}, 2, 1, {0, 0, 2, 1}, KVEXA_FORMAT_GREY8, KVEXA_BMP_24_BITS);
  expectHeader(file, 2, 1, 24, 0, 0, 0);
  EXPECT_EQ((Bytes{9, 9, 9, 200, 200, 200}), tail(file, 54));
}

// The lowest bit of green stays 0.
TEST_F(BitmapTest, greyBecomesRgb565WithFiveBitsOfGreen) {
  const auto file =
      saved({0xFF, 0x84, 0x07, 0x08}, 4, 1, {0, 0, 4, 1}, KVEXA_FORMAT_GREY8, KVEXA_BMP_16_BITS);
  expectHeader(file, 4, 1, 16, 12, 3, 3);
  EXPECT_EQ((Bytes{0xDF, 0xFF, 0x10, 0x84, 0x00, 0x00, 0x41, 0x08}), tail(file, 66));
}

TEST_F(BitmapTest, everyGreyIsConverted) {
  Bytes image(256);
  std::iota(image.begin(), image.end(), std::uint8_t{0});
  for (const auto& kind : reference::bitmapKinds) {
    if (kind.format == KVEXA_FORMAT_GREY8) expectReference(image, 256, 1, {0, 0, 256, 1}, kind);
  }
}

TEST_F(BitmapTest, everyRgb565WordIsConverted) {
  Bytes image;
  for (unsigned word = 0; word < 65536; ++word) {
    image.push_back(static_cast<std::uint8_t>(word));
    image.push_back(static_cast<std::uint8_t>(word >> 8));
  }
  for (const auto& kind : reference::bitmapKinds) {
    if (kind.format == KVEXA_FORMAT_RGB565) expectReference(image, 256, 256, {0, 0, 256, 256}, kind);
  }
}

TEST_F(BitmapTest, rectanglesAtEveryCornerAndEdge) {
  RandomSource random;
  constexpr unsigned width = 13, height = 9;
  const SaveRect rects[] = {{0, 0, 13, 9}, {0, 0, 5, 3}, {8, 0, 5, 3},  {0, 6, 5, 3}, {8, 6, 5, 3},
                            {4, 3, 5, 3},  {0, 0, 1, 1}, {12, 0, 1, 1}, {0, 8, 1, 1}, {12, 8, 1, 1},
                            {0, 4, 13, 1}, {6, 0, 1, 9}, {0, 1, 13, 8}, {1, 0, 12, 9}};
  for (const auto& kind : reference::bitmapKinds) {
    const auto image = random.bytes(width * height * kind.sourceBytes);
    for (const auto& rect : rects) {
      SCOPED_TRACE(std::to_string(rect.width) + " x " + std::to_string(rect.height) + " at " +
                   std::to_string(rect.x) + ", " + std::to_string(rect.y));
      expectReference(image, width, height, rect, kind);
    }
  }
}

TEST_F(BitmapTest, everyWidthUpToNineteen) {
  RandomSource random;
  for (const auto& kind : reference::bitmapKinds) {
    for (unsigned width = 1; width < 20; ++width) {
      const auto image = random.bytes(20 * 4 * kind.sourceBytes);
      expectReference(image, 20, 4, {0, 1, width, 3}, kind);
    }
  }
}

TEST_F(BitmapTest, largeImage) {
  RandomSource random;
  for (const auto& kind : reference::bitmapKinds) {
    const auto image = random.bytes(1283 * 723 * kind.sourceBytes);
    expectReference(image, 1283, 723, {1, 2, 1281, 720}, kind);
  }
}

TEST_F(BitmapTest, longerFileIsOverwritten) {
  folder_.write("image.bmp", std::string(10000, 'x'));
  const auto file = saved({1, 2, 3}, 1, 1, {0, 0, 1, 1}, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  EXPECT_EQ(57u, file.size());
}

TEST_F(BitmapTest, lineFeedsInPixelsStayAsTheyAre) {
  const auto file =
      saved({'\n', '\r', '\n', 0x1A, 0, '\n'}, 2, 1, {0, 0, 2, 1}, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
  EXPECT_EQ((Bytes{'\n', '\r', '\n', 0x1A, 0, '\n'}), tail(file, 54));
}

}  // namespace
}  // namespace kvexa::test
