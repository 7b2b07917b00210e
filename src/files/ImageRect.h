// The rectangle of an image that a writer saves.
#pragma once

#include <cstddef>
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

// Whether the rectangle's last byte lies within that many bytes from the image's first. The rectangle is
// inside the image; the image's own height does not matter, for nothing below the rectangle is read.
inline bool endsWithin(std::size_t bytes, const Image& image, const SaveRect& rect,
                       std::uint32_t bytesPerPixel) {
  const std::uint64_t rowsAbove = std::uint64_t{rect.y} + rect.height - 1;
  const std::uint64_t pixels = rowsAbove * image.width + rect.x + rect.width;
  return pixels <= bytes / bytesPerPixel;
}

// Whether the rectangle can lie in memory, where the image begins.
inline bool isAddressable(const Image& image, const SaveRect& rect, std::uint32_t bytesPerPixel) {
  const std::size_t bytes =
      std::numeric_limits<std::uintptr_t>::max() - reinterpret_cast<std::uintptr_t>(image.pixels);
  return endsWithin(bytes, image, rect, bytesPerPixel);
}

// The first pixel of a row of the rectangle, which isAddressable.
inline const std::uint8_t* rowOf(const Image& image, const SaveRect& rect, std::uint32_t row,
                                 std::uint32_t bytesPerPixel) {
  const std::size_t pixel = std::size_t{image.width} * (std::size_t{rect.y} + row) + rect.x;
  return image.pixels + pixel * bytesPerPixel;
}

}  // namespace kvexa::files
