// Writes pictures through the library into the current folder, and beside each what a reader should see in
// it: NAME.bmp or NAME.jpg, and NAME.ppm.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "kvexa.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned imageWidth = 52;
constexpr unsigned imageHeight = 37;

struct Colour {
  unsigned red, green, blue;
};

// Smooth enough for JPEG, and different at every place.
Colour colourAt(unsigned x, unsigned y) { return {20 + 3 * x, 30 + 4 * y, 240 - 2 * x - 2 * y}; }

// A source format: how a colour becomes its pixel, and what of the colour is left in it.
struct Format {
  std::uint32_t code;
  void (*put)(Bytes& image, Colour colour);
  Colour (*seen)(Colour colour);
};

void putWord(Bytes& image, unsigned word) {
  image.push_back(static_cast<std::uint8_t>(word));
  image.push_back(static_cast<std::uint8_t>(word >> 8));
}

const Format bgr24{KVEXA_FORMAT_BGR24,
                   [](Bytes& image, Colour c) {
                     for (const unsigned part : {c.blue, c.green, c.red}) {
                       image.push_back(static_cast<std::uint8_t>(part));
                     }
                   },
                   [](Colour c) { return c; }};
const Format rgb565{
    KVEXA_FORMAT_RGB565,
    [](Bytes& image, Colour c) { putWord(image, (c.red >> 3) << 11 | (c.green >> 2) << 5 | c.blue >> 3); },
    [](Colour c) {
      return Colour{c.red & 0xF8, c.green & 0xFC, c.blue & 0xF8};
    }};
const Format rgb555{
    KVEXA_FORMAT_RGB555,
    [](Bytes& image, Colour c) { putWord(image, (c.red >> 3) << 10 | (c.green >> 3) << 5 | c.blue >> 3); },
    [](Colour c) {
      return Colour{c.red & 0xF8, c.green & 0xF8, c.blue & 0xF8};
    }};
const Format grey{KVEXA_FORMAT_GREY8,
                  [](Bytes& image, Colour c) { image.push_back(static_cast<std::uint8_t>(c.red)); },
                  [](Colour c) {
                    return Colour{c.red, c.red, c.red};
                  }};

Bytes imageOf(const Format& format) {
  Bytes image;
  for (unsigned y = 0; y < imageHeight; ++y) {
    for (unsigned x = 0; x < imageWidth; ++x) format.put(image, colourAt(x, y));
  }
  return image;
}

bool writeExpected(const std::string& name, const SaveRect& rect, const Format& format) {
  std::FILE* file = std::fopen((name + ".ppm").c_str(), "wb");
  if (file == nullptr) return false;
  std::fprintf(file, "P6 %u %u 255\n", rect.width, rect.height);
  for (unsigned y = 0; y < rect.height; ++y) {
    for (unsigned x = 0; x < rect.width; ++x) {
      const Colour seen = format.seen(colourAt(rect.x + x, rect.y + y));
      for (const unsigned part : {seen.red, seen.green, seen.blue}) std::fputc(static_cast<int>(part), file);
    }
  }
  return std::fclose(file) == 0;
}

// Whole image, each corner, and the smallest; bitmaps take those whose rows need no padding.
constexpr std::array<SaveRect, 9> rects{{{0, 0, imageWidth, imageHeight},
                                         {0, 0, 16, 9},
                                         {36, 0, 16, 9},
                                         {0, 28, 16, 9},
                                         {36, 28, 16, 9},
                                         {7, 5, 4, 1},
                                         {7, 5, 1, 1},
                                         {7, 5, 1, 19},
                                         {7, 5, 17, 19}}};
constexpr std::size_t rectsOfBitmaps = 6;

// Without the 16-bit kind: netpbm does not know its colour masks (tests/files asks another reader).
bool writeBitmaps() {
  const struct {
    const char* name;
    const Format& format;
    std::uint32_t kind;
  } combinations[] = {{"grey8", grey, KVEXA_BMP_8_BITS},
                      {"grey24", grey, KVEXA_BMP_24_BITS},

                      {"rgb24", rgb565, KVEXA_BMP_24_BITS},
                      {"bgr24", bgr24, KVEXA_BMP_24_BITS}};
  for (const auto& [name, format, kind] : combinations) {
    const Bytes image = imageOf(format);
    for (std::size_t i = 0; i < rectsOfBitmaps; ++i) {
      const std::string file = std::string(name) + "-" + std::to_string(i);
      const std::int32_t result = kVexaSaveBmpFile((file + ".bmp").c_str(), image.data(), imageWidth,
                                                   imageHeight, &rects[i], format.code, kind);
      if (result != KVEXA_OK || !writeExpected(file, rects[i], format)) return false;
    }
  }
  return true;
}

bool writeJpegs() {
  const struct {
    const char* name;
    const Format& format;
  } sources[] = {{"jpeg10", bgr24}, {"jpeg11", rgb565}, {"jpeg12", rgb555}};
  for (const auto& [name, format] : sources) {
    const Bytes image = imageOf(format);
    for (std::size_t i = 0; i < rects.size(); ++i) {
      for (const std::uint32_t quality : {0U, 90U, 100U}) {
        const std::string file = std::string(name) + "-" + std::to_string(i) + "-q" + std::to_string(quality);
        const std::int32_t result = kVexaSaveJpegFile((file + ".jpg").c_str(), image.data(), imageWidth,
                                                      imageHeight, &rects[i], format.code, quality);
        if (result != KVEXA_OK || !writeExpected(file, rects[i], format)) return false;
      }
    }
  }
  return true;
}

}  // namespace

int main() {
  if (writeBitmaps() && writeJpegs()) return 0;
  std::fprintf(stderr, "a picture could not be written\n");
  return 1;
}
