// Doubles to integers as the processor converts them.
#pragma once

#include <cstdint>
#include <limits>

namespace kvexa {

// Truncates toward zero; what no 32-bit integer can hold becomes the smallest one.
inline std::int32_t truncateToInteger(double value) {
  constexpr double limit = 2147483648.0;
  return value > -limit - 1.0 && value < limit ? static_cast<std::int32_t>(value)
                                               : std::numeric_limits<std::int32_t>::min();
}

// The same as a word: what no 32-bit integer can hold becomes 0x80000000.
inline std::uint32_t truncateToWord(double value) {
  return static_cast<std::uint32_t>(truncateToInteger(value));
}

}  // namespace kvexa
