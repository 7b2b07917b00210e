// The period of the frames as both boards report it in a register.
#pragma once

#include <algorithm>
#include <cstdint>

#include "sim/base/Clock.h"
#include "sim/sensor/Sensor.h"

namespace sim {

// Bits 0 to 14 count units of 100 microseconds, bit 15 changes with every frame. The sensor streams.
inline std::uint16_t framePeriodWord(const Clock& clock, const Sensor& sensor) {
  constexpr Microseconds unit = 100;
  constexpr std::uint16_t toggle = 0x8000;
  const Microseconds now = clock.now();
  const Microseconds period = sensor.framePeriod();
  const Microseconds elapsed = now - std::min(now, sensor.streamStart());
  const bool odd = (elapsed / period & 1) != 0;
  return static_cast<std::uint16_t>((period / unit & ~std::uint64_t{toggle}) | (odd ? toggle : 0));
}

}  // namespace sim
