// Prefetches memory that a loop will need soon. The processor's own prefetching ends with every page.
// Prefetching beyond the end of a buffer is harmless.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/Inline.h"

namespace kvexa::convert {
namespace {

constexpr std::size_t prefetchDistance = 2048;  // bytes

KVEXA_INLINE void prefetchForReading(const std::uint8_t* at) { __builtin_prefetch(at + prefetchDistance, 0); }
KVEXA_INLINE void prefetchForWriting(const std::uint8_t* at) { __builtin_prefetch(at + prefetchDistance, 1); }

}  // namespace
}  // namespace kvexa::convert
