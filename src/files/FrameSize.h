// How many bytes one captured frame has.
#pragma once

#include <cstdint>
#include <optional>

#include "kvexa.h"

namespace kvexa::files {

struct FrameSize {
  std::uint32_t bytes = 0;
  std::uint32_t bytesPerUnit = 0;
  std::uint32_t width = 0;  // units
  std::uint32_t height = 0;
};

// Nothing when the parameters have no size.
std::optional<FrameSize> frameSize(const CapParam& param, std::uint32_t alignment);

// The older, rougher size.
std::uint32_t roughFrameSize(const CapParam& param, std::uint32_t alignment);

}  // namespace kvexa::files
