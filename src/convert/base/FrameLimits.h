// Which frames can be converted at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace kvexa::convert {

constexpr bool isSampleDepth(std::uint32_t bits) { return bits >= 9 && bits <= 16; }

// Whether the frame's larger buffer can exist in this address space. The product of two 32-bit sizes
// cannot wrap in 64 bits; that of its bytes could, so it is divided instead.
constexpr bool fitsMemory(std::uint32_t width, std::uint32_t height, std::size_t largerPixelBytes) {
  return std::uint64_t{width} * height <= std::numeric_limits<std::size_t>::max() / largerPixelBytes;
}

}  // namespace kvexa::convert
