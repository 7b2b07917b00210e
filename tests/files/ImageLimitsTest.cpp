// How large an image may claim to be, and a rectangle must not be: at each limit and one step beyond.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/ImageWriters.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t most = 0xFFFFFFFF;

class ImageHeight : public MachineTest, public testing::WithParamInterface<ImageWriter> {
 protected:
  // What the writer makes of it; empty when it refuses.
  Bytes save(std::uint32_t width, std::uint32_t height, const SaveRect& rect) {
    const std::int32_t result =
        GetParam().save(folder_.path("image").c_str(), image_.data(), width, height, rect);
    if (result != KVEXA_OK) {
      EXPECT_EQ(KVEXA_BAD_ARGUMENT, result);
      EXPECT_TRUE(folder_.isEmpty()) << "a file was created";
      return {};
    }
    Bytes file = folder_.read("image");
    DeleteFileA(folder_.path("image").c_str());
    return file;
  }

  static Bytes counted() {
    Bytes bytes(std::size_t{40} * 30 * 3);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
  }

  const TemporaryFolder folder_;
  const Bytes image_ = counted();
};

// Nothing below the rectangle is read, so an image may claim more lines than memory holds.
TEST_P(ImageHeight, BeyondMemoryDoesNotMatter) {
  for (const SaveRect& rect : {SaveRect{0, 0, 10, 10}, {30, 20, 10, 10}, {0, 0, 40, 30}, {39, 29, 1, 1}}) {
    const Bytes good = save(40, 30, rect);
    ASSERT_FALSE(good.empty());
    for (const std::uint32_t height :
         {31U, 0x02AAAAABU, 0x06666667U, 0x7FFFFFFFU, 0x80000000U, most - 1, most}) {
      EXPECT_EQ(good, save(40, height, rect)) << height;
    }
  }
}

TEST_P(ImageHeight, WidthBeyondMemoryDoesNotMatterInTheFirstLine) {
  const Bytes good = save(1200, 1, {3, 0, 50, 1});
  ASSERT_FALSE(good.empty());
  for (const std::uint32_t width : {0x55555556U, 0x80000001U, most}) {
    EXPECT_EQ(good, save(width, 1, {3, 0, 50, 1})) << width;
    EXPECT_EQ(good, save(width, most, {3, 0, 50, 1})) << width;
  }
}

// None of these offsets can be formed without wrapping, in 32 bits or in 64.
TEST_P(ImageHeight, RectangleBeyondMemoryIsRefused) {
  for (const SaveRect& rect : {SaveRect{0, most - 1, 1, 1},
                               {most - 1, most - 1, 1, 1},
                               {0, 0, 1, most},
                               {0, 0, most, most},
                               {0, 1, 2, most - 1},
                               {0, 0x10000, 1, 1},
                               {0, 0, 40, 0x80000000}}) {
    EXPECT_TRUE(save(most, most, rect).empty());
  }
  // 65536 * 65536 is 0 in 32 bits.
  EXPECT_TRUE(save(0x10000, most, {0, 0x10000, 1, 1}).empty());
  EXPECT_TRUE(save(0x10000, most, {0, 0xFFFF, 0x10000, 2}).empty());
}

// At the limit of an image that has a gigabyte a line: the second and the third line are as far away as
// memory can be, and nobody may go there.
TEST_P(ImageHeight, RectangleThatEndsBehindTheAddressSpaceIsRefused) {
  const auto address = reinterpret_cast<std::uintptr_t>(image_.data());
  const std::uint32_t pixels = static_cast<std::uint32_t>((most - address) / GetParam().pixelBytes);
  EXPECT_TRUE(save(pixels + 1, 1, {pixels, 0, 1, 1}).empty());
  EXPECT_TRUE(save(1, most, {0, pixels, 1, 1}).empty());
  EXPECT_TRUE(save(2, most, {0, pixels / 2, 2, 1}).empty());
  EXPECT_TRUE(save(1, most, {0, pixels - 9, 1, 10}).empty());
}

INSTANTIATE_TEST_SUITE_P(Writers, ImageHeight, testing::ValuesIn(imageWriters),
                         [](const auto& writer) { return std::string(writer.param.name); });

// A rectangle that is not refused meets a path that cannot be written, so that no image need be there: the
// limits themselves can be looked at.
class SizeLimit : public MachineTest {
 protected:
  std::int32_t bin(std::uintptr_t address, std::uint32_t width, const SaveRect& rect, std::uint32_t format) {
    return kVexaSaveBinFile(path_.c_str(), reinterpret_cast<const void*>(address), width, most, &rect,
                            format);
  }

  // A rectangle of one column.
  std::int32_t bitmap(std::uint32_t height, std::uint32_t format, std::uint32_t kind) {
    const SaveRect rect{0, 0, 1, height};
    return kVexaSaveBmpFile(path_.c_str(), reinterpret_cast<const void*>(1), 1, most, &rect, format, kind);
  }

  static constexpr std::int32_t accepted = KVEXA_FILE_NOT_OPENED;
  static constexpr std::int32_t refused = KVEXA_BAD_ARGUMENT;

  const TemporaryFolder folder_;
  const std::string path_ = folder_.path("none\\image");
};

TEST_F(SizeLimit, BytesOfAddressSpaceBehindTheImage) {
  struct Format {
    std::uint32_t code;
    std::uint32_t bytes;
  };
  for (const Format format : {Format{1, 1}, {2, 2}, {3, 3}, {4, 4}}) {
    for (const std::uintptr_t address : {0x10000U, 0x10001U, 0x7FFF0000U, 0xFFFF0000U}) {
      SCOPED_TRACE(testing::Message() << format.bytes << " bytes a pixel at " << address);
      const std::uint32_t pixels = static_cast<std::uint32_t>(most - address) / format.bytes;
      EXPECT_EQ(accepted, bin(address, 1, {0, pixels - 1, 1, 1}, format.code));
      EXPECT_EQ(refused, bin(address, 1, {0, pixels, 1, 1}, format.code));
      EXPECT_EQ(accepted, bin(address, 1, {0, 0, 1, pixels}, format.code));
      EXPECT_EQ(refused, bin(address, 1, {0, 0, 1, pixels + 1}, format.code));
      EXPECT_EQ(accepted, bin(address, most, {0, 0, pixels, 1}, format.code));
      EXPECT_EQ(refused, bin(address, most, {0, 0, pixels + 1, 1}, format.code));
      EXPECT_EQ(accepted, bin(address, most, {pixels - 1, 0, 1, 1}, format.code));
      EXPECT_EQ(refused, bin(address, most, {pixels, 0, 1, 1}, format.code));
    }
  }
}

TEST_F(SizeLimit, LinesAboveTheRectangleCountInFull) {
  // 65534 lines of 65536 bytes, and a line that ends at the last byte but 65536.
  EXPECT_EQ(accepted, bin(0x10000, 0x10000, {0, 0xFFFE, 0xFFFF, 1}, 1));
  EXPECT_EQ(refused, bin(0x10000, 0x10000, {0, 0xFFFE, 0x10000, 1}, 1));
  EXPECT_EQ(refused, bin(0x10000, 0x10000, {1, 0xFFFE, 0xFFFF, 1}, 1));
  EXPECT_EQ(accepted, bin(0x10000, 0x10000, {0, 0xFFFD, 0xFFFF, 2}, 1));
  EXPECT_EQ(refused, bin(0x10000, 0x10000, {0, 0xFFFD, 0xFFFF, 3}, 1));
}

// The size field of a bitmap has 32 bits: all of its bytes, with the headers and what stands between.
TEST_F(SizeLimit, BytesOfABitmap) {
  struct Row {
    std::uint32_t format;
    std::uint32_t kind;
    std::uint32_t outputBytes;
    std::uint32_t before;
  };
  for (const Row& row : {Row{KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS, 1, 54 + 1024},
                         {KVEXA_FORMAT_GREY8, KVEXA_BMP_16_BITS, 2, 54 + 12},
                         {KVEXA_FORMAT_GREY8, KVEXA_BMP_24_BITS, 3, 54},
                         {KVEXA_FORMAT_RGB565, KVEXA_BMP_16_BITS, 2, 54 + 12},
                         {KVEXA_FORMAT_RGB565, KVEXA_BMP_24_BITS, 3, 54},
                         {KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS, 3, 54}}) {
    SCOPED_TRACE(testing::Message() << row.format << " to " << row.kind);
    const std::uint32_t lines = (most - row.before) / row.outputBytes;
    EXPECT_EQ(accepted, bitmap(lines, row.format, row.kind));
    EXPECT_EQ(refused, bitmap(lines + 1, row.format, row.kind));
  }
}

// The copy of a JPEG's rectangle has three bytes a pixel; when no memory can hold it the call succeeds and
// writes nothing. Their number must not wrap: these would be copies of 2, 131072 and 32768 bytes.
TEST_F(SizeLimit, CopyOfAJpegThatNoMemoryHolds) {
  const Bytes image(16);
  const auto address = reinterpret_cast<std::uintptr_t>(image.data());
  struct Size {
    std::uint32_t width;
    std::uint32_t height;
  };
  for (const Size size : {Size{0x55555556, 1}, {1, 0x55555556}, {0x10000, 0x5556}, {0x8000, 0xAAAB}}) {
    SCOPED_TRACE(testing::Message() << size.width << " x " << size.height);
    ASSERT_LE(std::uint64_t{size.width} * size.height * 2, most - address);
    const SaveRect rect{0, 0, size.width, size.height};
    EXPECT_EQ(KVEXA_OK, kVexaSaveJpegFile(folder_.path("image").c_str(), image.data(), size.width,
                                          size.height, &rect, KVEXA_FORMAT_RGB565, 90));
    EXPECT_TRUE(folder_.isEmpty());
  }
}

}  // namespace
}  // namespace kvexa::test
