// The register in which both boards report the period of the frames that come in.
#pragma once

#include <cstdint>

namespace kvexa {

constexpr std::uint32_t frameToggle = 0x8000;      // changes with every frame
constexpr std::uint32_t framePeriodMask = 0x7FFF;  // units of 100 microseconds

// Infinity when the period is 0.
inline double framesPerSecond(std::uint32_t period) {
  constexpr double periodUnitsPerSecond = 10000.0;
  return periodUnitsPerSecond / (period & framePeriodMask);
}

}  // namespace kvexa
