// Bayer mosaics to colour by bilinear interpolation.
#pragma once

#include <cstdint>

namespace kvexa::convert {

// width * height 8-bit samples to as many pixels of blue, green, red bytes. False, with nothing
// written, for a null pointer, a width or height below 4, an image that exceeds the address space, or
// a pattern above 3.
bool raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern);

}  // namespace kvexa::convert
