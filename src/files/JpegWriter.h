// Images as baseline JPEG files.
#pragma once

#include <cstdint>

#include "kvexa.h"

namespace kvexa::files {

std::int32_t saveJpeg(const char* path, const void* image, std::uint32_t imageWidth,
                      std::uint32_t imageHeight, const SaveRect* rect, std::uint32_t format,
                      std::uint32_t quality);

}  // namespace kvexa::files
