// Bytes of a program's call, as far as lines hold them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sim/record/format/Line.h"
#include "sim/record/format/LineText.h"

namespace sim::record {

inline Bytes bytesOf(const void* data, std::size_t size) {
  return {static_cast<const std::uint8_t*>(data),
          data != nullptr ? static_cast<std::uint32_t>(std::min<std::size_t>(size, mostPayload)) : 0};
}

inline Bytes bytesOf(const char* text) {
  return bytesOf(text, text != nullptr ? strnlen(text, mostText) : 0);
}

}  // namespace sim::record
