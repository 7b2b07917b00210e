// Pictures as bytes of files.
#pragma once

#include <kvexa_frames.hpp>

#include <cstdint>
#include <vector>

namespace cli::serve {

// A baseline JPEG file of quality 1 to 100. Throws Failure.
std::vector<std::uint8_t> jpegOf(const kvexa::Image& image, std::uint32_t quality);

// A bitmap of 24 bits a pixel. Throws Failure.
std::vector<std::uint8_t> bmpOf(const kvexa::Image& image);

}  // namespace cli::serve
