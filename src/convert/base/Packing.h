// Packed pixels: how the three channels of a pixel become bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/base/Bytes.h"

namespace kvexa::convert {

enum class Packing { rgb565, rgb888 };

constexpr std::size_t pixelBytes(Packing packing) { return packing == Packing::rgb565 ? 2 : 3; }

template <typename Sample, Packing packing>
struct Packer;

template <>
struct Packer<std::uint8_t, Packing::rgb888> {
  void operator()(std::uint8_t* pixel, std::uint32_t red, std::uint32_t green, std::uint32_t blue) const {
    pixel[0] = static_cast<std::uint8_t>(blue);
    pixel[1] = static_cast<std::uint8_t>(green);
    pixel[2] = static_cast<std::uint8_t>(red);
  }
};

template <>
struct Packer<std::uint8_t, Packing::rgb565> {
  void operator()(std::uint8_t* pixel, std::uint32_t red, std::uint32_t green, std::uint32_t blue) const {
    const std::uint32_t word = (red & 0xF8) << 8 | (green & 0xFC) << 3 | (blue & 0xFF) >> 3;
    storeWord(pixel, static_cast<std::uint16_t>(word));
  }
};

template <>
struct Packer<std::uint16_t, Packing::rgb888> {
  unsigned bits;

  void operator()(std::uint8_t* pixel, std::uint32_t red, std::uint32_t green, std::uint32_t blue) const {
    const unsigned shift = bits - 8;
    pixel[0] = static_cast<std::uint8_t>(blue >> shift);
    pixel[1] = static_cast<std::uint8_t>(green >> shift);
    pixel[2] = static_cast<std::uint8_t>(red >> shift);
  }
};

// The fields are neither masked nor kept apart, by intent: a value above the range of the samples spills
// into the next field.
template <>
struct Packer<std::uint16_t, Packing::rgb565> {
  unsigned bits;

  void operator()(std::uint8_t* pixel, std::uint32_t red, std::uint32_t green, std::uint32_t blue) const {
    const std::uint32_t word =
        ((red >> (bits - 5)) << 11) + ((green >> (bits - 6)) << 5) + (blue >> (bits - 5));
    storeWord(pixel, static_cast<std::uint16_t>(word));
  }
};

}  // namespace kvexa::convert
