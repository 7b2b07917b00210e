// The colour matrix as both boards hold it: twelve coefficients and an offset, a register each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Truncation.h"

namespace kvexa {

constexpr std::size_t colourMatrixValues = 13;

// A value in the fixed point of its register.
inline std::int32_t colourMatrixWord(std::size_t index, double value) {
  constexpr double coefficientScale = 32.0;  // 5 fraction bits
  constexpr double offsetScale = 4.0;        // 2 fraction bits
  return truncateToInteger(value * (index + 1 < colourMatrixValues ? coefficientScale : offsetScale));
}

}  // namespace kvexa
