// Bitmaps with 16 bits a pixel in the eyes of another program's reader; the other kinds: tests/whole/readers.
#include <gtest/gtest.h>

#include <vector>

#include "kvexa.h"
#include "sim/sensor/Scene.h"
#include "tests/files/TemporaryFolder.h"

namespace kvexa::test {
namespace {

constexpr unsigned width = 12;
constexpr unsigned height = 7;

// So many high bits, spread over a byte.
unsigned spread(unsigned value, unsigned bits) { return value << (8 - bits) | value >> (2 * bits - 8); }

TEST(BitmapReader, SixteenBitsShowTheirColours) {
  const TemporaryFolder folder;
  const std::string path = folder.path("image.bmp");
  std::vector<std::uint8_t> image;
  std::vector<std::uint32_t> words;
  for (std::uint32_t i = 0; i < width * height; ++i) {
    words.push_back((i * 7 % 32) << 11 | (i * 5 % 64) << 5 | (i * 3 % 32));
    image.push_back(static_cast<std::uint8_t>(words.back()));
    image.push_back(static_cast<std::uint8_t>(words.back() >> 8));
  }
  for (const SaveRect& rect : {SaveRect{0, 0, width, height},
                               {0, 0, 4, 3},
                               {8, 0, 4, 3},
                               {0, 4, 4, 3},
                               {8, 4, 4, 3},
                               {2, 2, 2, 1}}) {
    ASSERT_EQ(KVEXA_OK, kVexaSaveBmpFile(path.c_str(), image.data(), width, height, &rect,
                                         KVEXA_FORMAT_RGB565, KVEXA_BMP_16_BITS));
    const auto picture = sim::Scene::fromFile(path)->render(rect.width, rect.height);
    for (unsigned i = 0; i < rect.width * rect.height; ++i) {
      const std::uint32_t word = words[(rect.y + i / rect.width) * width + rect.x + i % rect.width];
      EXPECT_NEAR(spread(word >> 11, 5), picture[i].red, 1) << i;
      EXPECT_NEAR(spread(word >> 5 & 63, 6), picture[i].green, 1) << i;
      EXPECT_NEAR(spread(word & 31, 5), picture[i].blue, 1) << i;
    }
  }
}

}  // namespace
}  // namespace kvexa::test
