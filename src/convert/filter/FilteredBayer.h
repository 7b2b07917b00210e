// Bayer mosaics to colour through twelve 3x3 kernels of the caller's.
#pragma once

#include <cstdint>

#include "convert/base/Packing.h"
#include "convert/vector/InstructionSet.h"

namespace kvexa::convert {

// What a filtered frame becomes: all of it with a black frame one pixel wide, or the interior alone, which
// is (width - 2) * (height - 2) pixels, tightly packed.
enum class Extent { framed, interior };

// kernels holds twelve kernels of nine doubles each, row by row; three (red, green, blue) per site in the
// order blue, green beside blue, green beside red, red. Buffers may be at any address and must not
// overlap. False, with nothing written, for a null pointer, a size below 4 (below 3 for the interior
// alone, which then still has a pixel), an image that exceeds the address space, a pattern above 3, and
// bits outside 9 to 16.
bool filterRaw8(const std::uint8_t* source, void* destination, std::uint32_t width, std::uint32_t height,
                std::uint32_t pattern, const double* kernels, Packing packing, Extent extent,
                const RowLoops& rowLoops = chosenRowLoops()) noexcept;
bool filterRaw16(const std::uint16_t* source, void* destination, std::uint32_t width, std::uint32_t height,
                 std::uint32_t pattern, const double* kernels, std::uint32_t bits, Packing packing,
                 Extent extent, const RowLoops& rowLoops = chosenRowLoops()) noexcept;

}  // namespace kvexa::convert
