// Doubles to integers as the processor's own instruction does it.
#pragma once

#include <cstdint>

namespace kvexa::convert {

// Truncates toward zero. What does not fit, and what is not a number, gives 0x80000000.
inline std::uint32_t truncateToWord(double value) {
  if (value > -2147483649.0 && value < 2147483648.0) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(value));
  }
  return 0x80000000U;
}

}  // namespace kvexa::convert
