// Images saved as JPEG files. Their pixels are looked at by other programs, see tests/whole/readers.
#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "sim/sensor/Scene.h"
#include "tests/files/TemporaryFolder.h"
#include "tests/support/BoardFixture.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

class Jpeg : public MachineTest {
 protected:
  std::int32_t save(const Bytes& image, unsigned width, unsigned height, const SaveRect& rect,
                    std::uint32_t format = KVEXA_FORMAT_BGR24, std::uint32_t quality = 90) {
    return kVexaSaveJpegFile(path().c_str(), image.data(), width, height, &rect, format, quality);
  }

  void expectRefused(std::int32_t result) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, result);
    EXPECT_TRUE(folder_.isEmpty()) << "a file was created";
  }

  std::string path() const { return folder_.path("image.jpg"); }
  Bytes file() const { return folder_.read("image.jpg"); }

  // Smooth colours, so that the encoder's own loss is small.
  static Bytes ramps(unsigned width, unsigned height) {
    Bytes image;
    for (unsigned y = 0; y < height; ++y) {
      for (unsigned x = 0; x < width; ++x) {
        image.push_back(static_cast<std::uint8_t>(40 + 2 * x));
        image.push_back(static_cast<std::uint8_t>(60 + 2 * y));
        image.push_back(static_cast<std::uint8_t>(200 - x - y));
      }
    }
    return image;
  }

  const TemporaryFolder folder_;
};

// The segment of a kind, from behind its length; empty when there is none.
Bytes segment(const Bytes& file, std::uint8_t kind) {
  for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF;) {
    const std::size_t length = file[at + 2] * 256U + file[at + 3];
    if (file[at + 1] == kind) return {file.begin() + at + 4, file.begin() + at + 2 + length};
    at += 2 + length;
  }
  return {};
}

constexpr std::uint8_t baselineFrame = 0xC0;
constexpr std::uint8_t progressiveFrame = 0xC2;

void expectSize(const Bytes& file, unsigned width, unsigned height) {
  const Bytes frame = segment(file, baselineFrame);
  ASSERT_GE(frame.size(), 6U);
  EXPECT_EQ(8, frame[0]);
  EXPECT_EQ(height, frame[1] * 256U + frame[2]);
  EXPECT_EQ(width, frame[3] * 256U + frame[4]);
  EXPECT_EQ(3, frame[5]);
}

TEST_F(Jpeg, FileIsBaselineOfTheRectanglesSize) {
  ASSERT_EQ(KVEXA_OK, save(ramps(20, 10), 20, 10, {3, 2, 15, 7}));
  const Bytes saved = file();
  EXPECT_EQ((Bytes{0xFF, 0xD8}), Bytes(saved.begin(), saved.begin() + 2));
  EXPECT_EQ((Bytes{0xFF, 0xD9}), Bytes(saved.end() - 2, saved.end()));
  expectSize(saved, 15, 7);
  EXPECT_TRUE(segment(saved, progressiveFrame).empty());
}

TEST_F(Jpeg, PixelsComeBack) {
  constexpr unsigned width = 40;
  constexpr unsigned height = 24;
  const Bytes image = ramps(width, height);
  for (const SaveRect& rect : {SaveRect{0, 0, width, height},
                               {0, 0, 17, 9},
                               {23, 0, 17, 9},
                               {0, 15, 17, 9},
                               {23, 15, 17, 9},
                               {5, 5, 1, 1},
                               {5, 5, 1, 13},
                               {5, 5, 13, 1}}) {
    ASSERT_EQ(KVEXA_OK, save(image, width, height, rect, KVEXA_FORMAT_BGR24, 100));
    expectSize(file(), rect.width, rect.height);
    const auto picture = sim::Scene::fromFile(path())->render(rect.width, rect.height);
    for (unsigned y = 0; y < rect.height; ++y) {
      for (unsigned x = 0; x < rect.width; ++x) {
        const std::uint8_t* source = &image[((rect.y + y) * width + rect.x + x) * 3];
        const sim::Colour colour = picture[y * rect.width + x];
        EXPECT_NEAR(source[2], colour.red, 6) << x << "," << y;
        EXPECT_NEAR(source[1], colour.green, 6) << x << "," << y;
        EXPECT_NEAR(source[0], colour.blue, 6) << x << "," << y;
      }
    }
  }
}

TEST_F(Jpeg, SixteenBitColoursBecomeTheirHighBits) {
  struct Sample {
    std::uint32_t format;
    std::uint32_t word;
    int red, green, blue;
  };
  for (const Sample& sample : {Sample{KVEXA_FORMAT_RGB565, 0xFFFF, 0xF8, 0xFC, 0xF8},
                               {KVEXA_FORMAT_RGB565, 0xF800, 0xF8, 0, 0},
                               {KVEXA_FORMAT_RGB565, 0x07E0, 0, 0xFC, 0},
                               {KVEXA_FORMAT_RGB565, 0x001F, 0, 0, 0xF8},
                               {KVEXA_FORMAT_RGB555, 0x7FFF, 0xF8, 0xF8, 0xF8},
                               {KVEXA_FORMAT_RGB555, 0xFFFF, 0xF8, 0xF8, 0xF8},
                               {KVEXA_FORMAT_RGB555, 0x7C00, 0xF8, 0, 0},
                               {KVEXA_FORMAT_RGB555, 0x03E0, 0, 0xF8, 0},
                               {KVEXA_FORMAT_RGB555, 0x001F, 0, 0, 0xF8}}) {
    Bytes image;
    for (int i = 0; i < 64; ++i) {
      image.push_back(static_cast<std::uint8_t>(sample.word));
      image.push_back(static_cast<std::uint8_t>(sample.word >> 8));
    }
    ASSERT_EQ(KVEXA_OK, save(image, 8, 8, {0, 0, 8, 8}, sample.format, 100));
    const sim::Colour colour = sim::Scene::fromFile(path())->render(8, 8)[36];
    EXPECT_NEAR(sample.red, colour.red, 2) << std::hex << sample.word;
    EXPECT_NEAR(sample.green, colour.green, 2) << std::hex << sample.word;
    EXPECT_NEAR(sample.blue, colour.blue, 2) << std::hex << sample.word;
  }
}

TEST_F(Jpeg, QualityDecidesAboutTheSize) {
  Bytes image = ramps(64, 64);
  for (std::size_t i = 0; i < image.size(); ++i) image[i] ^= static_cast<std::uint8_t>(i * i % 61);
  std::size_t before = 0;
  for (const std::uint32_t quality : {0U, 50U, 90U, 100U}) {
    ASSERT_EQ(KVEXA_OK, save(image, 64, 64, {0, 0, 64, 64}, KVEXA_FORMAT_BGR24, quality));
    EXPECT_GT(file().size(), before) << quality;
    before = file().size();
    // 8-bit tables only: that is what baseline means.
    EXPECT_FALSE(segment(file(), baselineFrame).empty());
  }
}

TEST_F(Jpeg, GreyIsRefused) { expectRefused(save(Bytes(64, 9), 8, 8, {0, 0, 8, 8}, KVEXA_FORMAT_GREY8)); }

TEST_F(Jpeg, QualityAbove100IsRefused) {
  for (const std::uint32_t quality : {101U, 255U, 0x80000000U, 0xFFFFFFFFU}) {
    expectRefused(save(ramps(8, 8), 8, 8, {0, 0, 8, 8}, KVEXA_FORMAT_BGR24, quality));
  }
}

TEST_F(Jpeg, OtherFormatsAreRefused) {
  for (std::uint32_t format = 0; format < 50; ++format) {
    if (format < KVEXA_FORMAT_BGR24 || format > KVEXA_FORMAT_RGB555) {
      expectRefused(save(ramps(8, 8), 8, 8, {0, 0, 8, 8}, format));
    }
  }
}

TEST_F(Jpeg, RectangleThatIsEmptyOrNotInsideIsRefused) {
  const Bytes image = ramps(8, 6);
  for (const SaveRect& rect : {SaveRect{0, 0, 0, 6},
                               {0, 0, 8, 0},
                               {1, 0, 8, 6},
                               {0, 1, 8, 6},
                               {0, 0, 9, 6},
                               {0xFFFFFFFFU, 0, 2, 1},
                               {0, 0xFFFFFFFFU, 1, 2}}) {
    expectRefused(save(image, 8, 6, rect));
  }
  expectRefused(save(image, 0, 6, {0, 0, 1, 1}));
  expectRefused(save(image, 8, 0, {0, 0, 1, 1}));
}

TEST_F(Jpeg, NullPointersAreRefused) {
  const Bytes image = ramps(8, 6);
  const SaveRect rect{0, 0, 8, 6};
  expectRefused(kVexaSaveJpegFile(nullptr, image.data(), 8, 6, &rect, KVEXA_FORMAT_BGR24, 90));
  expectRefused(kVexaSaveJpegFile(path().c_str(), nullptr, 8, 6, &rect, KVEXA_FORMAT_BGR24, 90));
  expectRefused(kVexaSaveJpegFile(path().c_str(), image.data(), 8, 6, nullptr, KVEXA_FORMAT_BGR24, 90));
}

TEST_F(Jpeg, PathThatCannotBeWrittenHasItsCodeAndNothingLeaks) {
  const Bytes image = ramps(8, 6);
  const SaveRect rect{0, 0, 8, 6};
  const auto saveTo = [&](const std::string& file) {
    return kVexaSaveJpegFile(file.c_str(), image.data(), 8, 6, &rect, KVEXA_FORMAT_BGR24, 90);
  };
  EXPECT_EQ(KVEXA_OK, saveTo(path()));
  const unsigned before = processHandleCount();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(KVEXA_FAILED, saveTo(folder_.path("none\\image.jpg")));
    EXPECT_EQ(KVEXA_FAILED, saveTo(""));
    EXPECT_EQ(KVEXA_OK, saveTo(path()));
  }
  EXPECT_EQ(before, processHandleCount());
}

// The format carries at most 65500 pixels in a direction; the encoder's error comes back as a code, and the
// process goes on.
TEST_F(Jpeg, ErrorOfTheEncoderIsAFailureAndNothingLeaks) {
  const Bytes image(std::size_t{65501} * 3, 0x20);
  ASSERT_EQ(KVEXA_OK, save(image, 65501, 1, {0, 0, 65500, 1}));
  EXPECT_EQ(KVEXA_FAILED, save(image, 65501, 1, {0, 0, 65501, 1}));
  const unsigned before = processHandleCount();
  for (int i = 0; i < 100; ++i) EXPECT_EQ(KVEXA_FAILED, save(image, 1, 65501, {0, 0, 1, 65501}));
  EXPECT_EQ(before, processHandleCount());
}

// Wine reaches the host's device that is always full; on Windows no such path exists.
TEST_F(Jpeg, VolumeWithoutRoomIsAFailureAndNothingLeaks) {
  const Bytes image = ramps(40, 30);
  const SaveRect rect{0, 0, 40, 30};
  const unsigned before = processHandleCount();
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(KVEXA_FAILED,
              kVexaSaveJpegFile("Z:\\dev\\full", image.data(), 40, 30, &rect, KVEXA_FORMAT_BGR24, 90));
  }
  EXPECT_EQ(before, processHandleCount());
}

// Without memory for the copy of the rectangle the call succeeds and writes nothing.
TEST_F(Jpeg, WithoutMemoryForTheCopyNothingIsWritten) {
  const Bytes image = ramps(100, 100);
  machine.resources().failBlocksFrom(100 * 100 * 3);
  const std::int32_t result = save(image, 100, 100, {0, 0, 100, 100});
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_OK, result);
  EXPECT_TRUE(folder_.isEmpty());
}

TEST_F(Jpeg, CopyThatIsTooLargeForMemoryIsTheSame) {
  // The image itself is not read: there is no memory of that size to read.
  const Bytes image(16);
  EXPECT_EQ(KVEXA_OK, save(image, 0x7FFFFFFF, 1, {0, 0, 0x7FFFFFFF, 1}, KVEXA_FORMAT_RGB565));
  EXPECT_TRUE(folder_.isEmpty());
}

// The encoder takes a few blocks of its own; whichever is missing, the call fails and leaves none behind.
TEST_F(Jpeg, WithoutMemoryForTheEncoderItFails) {
  const Bytes image = ramps(16, 16);
  machine.resources().failBlocksFrom(1000);
  const std::int32_t result = save(image, 16, 16, {0, 0, 16, 16});
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_FAILED, result);
}

TEST_F(Jpeg, ThreadsEncodeAtOnce) {
  const Bytes image = ramps(64, 48);
  ASSERT_EQ(KVEXA_OK, save(image, 64, 48, {0, 0, 64, 48}));
  const Bytes expected = file();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = std::to_string(i) + ".jpg";
      const SaveRect rect{0, 0, 64, 48};
      for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(KVEXA_OK, kVexaSaveJpegFile(folder_.path(name).c_str(), image.data(), 64, 48, &rect,
                                              KVEXA_FORMAT_BGR24, 90));
      }
      EXPECT_EQ(expected, folder_.read(name));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace kvexa::test
