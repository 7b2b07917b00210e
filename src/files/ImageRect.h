// The rectangle of an image that a writer saves.
#pragma once

#include <cstdint>
#include <limits>

#include "kvexa.h"

namespace kvexa::files {

struct Image {
  const std::uint8_t* pixels = nullptr;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// Whether the rectangle has an area and lies inside the image. Sums are formed so that they cannot wrap.
inline bool isInside(const Image& image, const SaveRect* rect) {
  if (image.pixels == nullptr || rect == nullptr) return false;
  const auto fits = [](std::uint32_t start, std::uint32_t size, std::uint32_t limit) {
    return size != 0 && limit != 0 && std::uint64_t{start} + size <= limit;
  };
  return fits(rect->x, rect->width, image.width) && fits(rect->y, rect->height, image.height);
}

// Whether an image of that many bytes a pixel can lie in memory at all.
inline bool isAddressable(const Image& image, std::uint32_t bytesPerPixel) {
  return std::uint64_t{image.width} * image.height <= std::numeric_limits<std::size_t>::max() / bytesPerPixel;
}

// The first pixel of a row of the rectangle, for an image that isAddressable.
inline const std::uint8_t* rowOf(const Image& image, const SaveRect& rect, std::uint32_t row,
                                 std::uint32_t bytesPerPixel) {
  const std::size_t pixel = std::size_t{image.width} * (std::size_t{rect.y} + row) + rect.x;
  return image.pixels + pixel * bytesPerPixel;
}

}  // namespace kvexa::files
