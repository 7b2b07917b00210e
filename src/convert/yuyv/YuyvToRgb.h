// Packed 4:2:2 YUV frames to colour.
#pragma once

#include <cstdint>

#include "convert/vector/InstructionSet.h"
#include "convert/vector/YuyvParameters.h"

namespace kvexa::convert {

enum class YuyvMethod : std::uint32_t { integerStudio, doubleStudio, integerFull, doubleFull };
constexpr std::uint32_t yuyvMethodCount = 4;

// width * height / 2 groups of four samples, each to two pixels; rows do not matter, and the last pixel of
// an odd count is not written. Buffers may be at any address and must not overlap. False, with nothing
// written, for a null pointer, fewer than 2 pixels, an image that exceeds the address space, an unknown
// method or format, and bits outside 9 to 16.
bool yuyv8ToRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                YuyvMethod method, YuyvOrder order, std::uint32_t format,
                const RowLoops& loops = chosenRowLoops()) noexcept;
bool yuyv16ToRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                 YuyvMethod method, YuyvOrder order, std::uint32_t format, std::uint32_t bits,
                 const RowLoops& loops = chosenRowLoops()) noexcept;

// matrix holds 13 doubles: the weights of Y, U, V and a constant for red, green and blue, and the scale
// of the constants.
bool yuyv8ToMtxRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                   const double* matrix, YuyvOrder order, std::uint32_t format,
                   const RowLoops& loops = chosenRowLoops()) noexcept;
bool yuyv16ToMtxRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                    const double* matrix, YuyvOrder order, std::uint32_t format, std::uint32_t bits,
                    const RowLoops& loops = chosenRowLoops()) noexcept;

}  // namespace kvexa::convert
