// Bayer mosaics to colour by bilinear interpolation.
#pragma once

#include <cstdint>

#include "convert/vector/InstructionSet.h"

namespace kvexa::convert {

// width * height samples to as many pixels: blue, green, red bytes, or 16-bit words with red on top.
// Buffers may be at any address and must not overlap. False, with nothing written, for a null pointer,
// a width or height below 4 (there is no cell of four interior pixels), an image that exceeds the address
// space, a pattern above 3, and bits outside 9 to 16.
bool raw8ToRgb565(const std::uint8_t* source, std::uint16_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern,
                  const RowLoops& loops = chosenRowLoops()) noexcept;
bool raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern,
                  const RowLoops& loops = chosenRowLoops()) noexcept;
bool raw16ToRgb565(const std::uint16_t* source, std::uint16_t* destination, std::uint32_t width,
                   std::uint32_t height, std::uint32_t pattern, std::uint32_t bits,
                   const RowLoops& loops = chosenRowLoops()) noexcept;
bool raw16ToRgb888(const std::uint16_t* source, std::uint8_t* destination, std::uint32_t width,
                   std::uint32_t height, std::uint32_t pattern, std::uint32_t bits,
                   const RowLoops& loops = chosenRowLoops()) noexcept;

}  // namespace kvexa::convert
