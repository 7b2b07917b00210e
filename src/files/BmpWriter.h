// Images as Windows bitmaps.
#pragma once

#include <cstdint>

#include "kvexa.h"

namespace kvexa::files {

std::int32_t saveBmp(const char* path, const void* image, std::uint32_t imageWidth, std::uint32_t imageHeight,
                     const SaveRect* rect, std::uint32_t format, std::uint32_t kind);

}  // namespace kvexa::files
