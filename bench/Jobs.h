// What is measured, in the library and in its peers: a name, the bytes of a pixel before and after.
#pragma once

#include <cstddef>
#include <cstdint>

namespace bench {

struct Frame {
  std::uint32_t width, height;
  std::size_t pixels() const { return std::size_t{width} * height; }
};

// The first three are those of the tables; the plots have all.
constexpr Frame frames[] = {{640, 480}, {1920, 1080}, {4208, 3120}, {320, 240}, {1280, 960}, {8192, 6144}};
constexpr unsigned tableFrames = 3;
constexpr unsigned allFrames = 6;

// Content that neither favours nor hampers anyone: noise over a gradient.
inline void fillFrame(std::uint8_t* bytes, std::size_t count) {
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1664525U + 1013904223U;
    bytes[i] = static_cast<std::uint8_t>((i / 64 + (state >> 27)) & 0xFF);
  }
}

// 16-bit samples of this many bits.
inline void fillFrame16(std::uint8_t* bytes, std::size_t samples, unsigned bits) {
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < samples; ++i) {
    state = state * 1664525U + 1013904223U;
    const std::uint32_t value = (i * 4 + (state >> 24)) & ((1U << bits) - 1);
    bytes[2 * i] = static_cast<std::uint8_t>(value);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(value >> 8);
  }
}

}  // namespace bench
