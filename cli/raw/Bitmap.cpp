#include "cli/raw/Bitmap.h"

#include <cstring>

namespace cli {

namespace {

constexpr std::uint32_t rowMultiple = 4;  // pixels of three bytes
constexpr std::size_t pixelBytes = 3;

}  // namespace

std::uint32_t bitmapPadding(std::uint32_t width) { return (rowMultiple - width % rowMultiple) % rowMultiple; }

std::string paddingText(std::uint32_t width) {
  const std::uint32_t padding = bitmapPadding(width);
  return "has " + std::to_string(width + padding) + " columns instead of " + std::to_string(width) +
         (padding == 1 ? ", the last one black" : ", the last ones black") +
         ": bitmaps need rows of whole words";
}

std::int32_t BitmapWriter::save(const kvexa::Image& image, const std::string& path) {
  const std::uint32_t padding = bitmapPadding(image.width());
  if (padding == 0) return image.saveBmp(path);
  const std::size_t row = pixelBytes * image.width();
  const std::size_t fill = pixelBytes * padding;
  padded_.resize(image.width() + padding, image.height());
  std::uint8_t* to = padded_.pixels();
  for (std::size_t y = 0; y < image.height(); ++y, to += row + fill) {
    std::memcpy(to, image.pixels() + y * row, row);
    std::memset(to + row, 0, fill);
  }
  return padded_.saveBmp(path);
}

}  // namespace cli
