// The colours of 16-bit pixels as bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvexa::files {

// The low bits that a 16-bit pixel does not have are 0.
inline void rgb565ToBgr(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::uint32_t word = source[2 * i] | static_cast<std::uint32_t>(source[2 * i + 1]) << 8;
    destination[3 * i] = static_cast<std::uint8_t>((word & 0x1F) << 3);
    destination[3 * i + 1] = static_cast<std::uint8_t>(word >> 3 & 0xFC);
    destination[3 * i + 2] = static_cast<std::uint8_t>(word >> 8 & 0xF8);
  }
}

inline void rgb555ToBgr(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::uint32_t word = source[2 * i] | static_cast<std::uint32_t>(source[2 * i + 1]) << 8;
    destination[3 * i] = static_cast<std::uint8_t>((word & 0x1F) << 3);
    destination[3 * i + 1] = static_cast<std::uint8_t>(word >> 2 & 0xF8);
    destination[3 * i + 2] = static_cast<std::uint8_t>(word >> 7 & 0xF8);
  }
}

}  // namespace kvexa::files
