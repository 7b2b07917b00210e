// Bitmap files put together apart from the library, which is compared with them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kvexa.h"

namespace kvexa::test::reference {

// The formats and kinds that go together.
struct BitmapKind {
  std::uint32_t format, kind;
  unsigned sourceBytes, outputBytes;  // a pixel
};

inline constexpr BitmapKind bitmapKinds[] = {
    {KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS, 1, 1},   {KVEXA_FORMAT_GREY8, KVEXA_BMP_16_BITS, 1, 2},
    {KVEXA_FORMAT_GREY8, KVEXA_BMP_24_BITS, 1, 3},  {KVEXA_FORMAT_RGB565, KVEXA_BMP_16_BITS, 2, 2},
    {KVEXA_FORMAT_RGB565, KVEXA_BMP_24_BITS, 2, 3}, {KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS, 3, 3},
};

class BitmapFile {
 public:
  // `image` points to the first pixel of the whole image.
  BitmapFile(const std::uint8_t* image, unsigned imageWidth, const SaveRect& rect, const BitmapKind& kind) {
    const std::uint32_t palette = kind.outputBytes == 1 ? 1024 : kind.outputBytes == 2 ? 12 : 0;
    const std::uint32_t pixels = rect.width * rect.height * kind.outputBytes;
    put('B', 1);
    put('M', 1);
    put(pixels + 54 + palette, 4);
    put(0, 2);
    put(0, 2);
    put(54 + palette, 4);
    put(40, 4);
    put(rect.width, 4);
    put(rect.height, 4);
    put(1, 2);
    put(8 * kind.outputBytes, 2);
    put(kind.outputBytes == 2 ? 3 : 0, 4);
    put(pixels, 4);
    put(0, 4);
    put(0, 4);
    put(kind.outputBytes == 1 ? 256 : kind.outputBytes == 2 ? 3 : 0, 4);
    put(0, 4);
    if (kind.outputBytes == 1) {
      for (std::uint32_t i = 0; i < 256; ++i) put(i * 0x01010101u, 4);
    }
    if (kind.outputBytes == 2) {
      for (const std::uint32_t mask : {0xF800u, 0x07E0u, 0x001Fu}) put(mask, 4);
    }
    for (unsigned row = rect.height; row-- > 0;) {
      for (unsigned column = 0; column < rect.width; ++column) {
        const std::size_t pixel = static_cast<std::size_t>(rect.y + row) * imageWidth + rect.x + column;
        putPixel(image + pixel * kind.sourceBytes, kind);
      }
    }
  }

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  void put(std::uint32_t value, unsigned count) {
    for (unsigned i = 0; i < count; ++i) bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }

  void putPixel(const std::uint8_t* pixel, const BitmapKind& kind) {
    if (kind.sourceBytes == kind.outputBytes) {
      for (unsigned i = 0; i < kind.sourceBytes; ++i) put(pixel[i], 1);
    } else if (kind.sourceBytes == 1 && kind.outputBytes == 2) {
      const std::uint32_t grey = pixel[0];
      put((grey / 8) * 2048 + (grey / 8) * 64 + grey / 8, 2);
    } else if (kind.sourceBytes == 1) {
      for (unsigned i = 0; i < 3; ++i) put(pixel[0], 1);
    } else {
      const std::uint32_t word = pixel[0] + 256u * pixel[1];
      put(word % 32 * 8, 1);
      put(word / 32 % 64 * 4, 1);
      put(word / 2048 * 8, 1);
    }
  }

  std::vector<std::uint8_t> bytes_;
};

}  // namespace kvexa::test::reference
