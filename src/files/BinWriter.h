// Images as bare bytes.
#pragma once

#include <cstdint>

#include "kvexa.h"

namespace kvexa::files {

std::int32_t saveBin(const char* path, const void* image, std::uint32_t imageWidth, std::uint32_t imageHeight,
                     const SaveRect* rect, std::uint32_t format);

}  // namespace kvexa::files
