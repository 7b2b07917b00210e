// What the writers take, and what they have in common.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

#include "cli/pictures/Bytes.h"

namespace pictures {

// Samples stay with their owner: top row first, rows not padded, 16-bit samples in the order of this
// computer, which is little-endian. Colours stand in the order red, green, blue.
struct Picture {
  std::span<const std::uint8_t> samples;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t channels = 1;        // 1 grey or mosaic, 3 colour
  std::uint32_t bytesPerSample = 1;  // 1 or 2
  std::string description;           // for people, without line breaks
};

// What keeps a picture from being written; a sentence for people.
struct PictureError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Throws PictureError when a side is 0 or has more than 65535 pixels, the samples have another size than the
// picture, or are more than the 32-bit lengths of these files can hold.
void check(const Picture& picture);

// Each gives a whole file. They throw PictureError as check does.
Bytes pngOf(const Picture& picture);
Bytes tiffOf(const Picture& picture);
Bytes npyOf(const Picture& picture);

}  // namespace pictures
