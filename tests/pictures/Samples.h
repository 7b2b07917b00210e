// Pictures of samples that differ at every place.
#pragma once

#include <cstdint>
#include <string>

#include "cli/pictures/Picture.h"

namespace samples {

struct Owned {
  pictures::Bytes bytes;
  pictures::Picture picture;

  Owned(std::uint32_t width, std::uint32_t height, std::uint32_t channels, std::uint32_t bytesPerSample,
        const std::string& description = "")
      : bytes(std::size_t{width} * height * channels * bytesPerSample),
        picture{{}, width, height, channels, bytesPerSample, description} {
    std::uint32_t state = 12345;
    for (auto& byte : bytes) {
      state = state * 1664525 + 1013904223;
      byte = static_cast<std::uint8_t>(state >> 24);
    }
    picture.samples = bytes;
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
};

inline std::uint32_t littleAt(const pictures::Bytes& file, std::size_t place, unsigned size) {
  std::uint32_t value = 0;
  for (unsigned i = 0; i < size; ++i) value |= std::uint32_t{file.at(place + i)} << (8 * i);
  return value;
}

}  // namespace samples
