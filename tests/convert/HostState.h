// What a host may have left in the registers that say how to compute: set for a call, and looked at after it.
#pragma once

#include <cstdint>

namespace kvexa::test {

struct HostState {
  std::uint32_t mxcsr = 0x1F80;
  std::uint16_t x87Control = 0x037F;
};

// The registers as a call left them.
struct StateAfter {
  std::uint32_t mxcsr = 0;
  std::uint16_t x87Control = 0;
  std::uint16_t x87Status = 0;

  // Control words and flags are those of before the call, and the x87 unit has no exception to tell.
  bool isLeftAlone(const HostState& before) const {
    constexpr std::uint16_t exceptions = 0x7F;
    return mxcsr == before.mxcsr && x87Control == before.x87Control && (x87Status & exceptions) == 0;
  }
};

inline void loadState(const HostState& state) {
  asm volatile(
      "fnclex\n"
      "fldcw %0\n"
      "ldmxcsr %1\n"
      :
      : "m"(state.x87Control), "m"(state.mxcsr)
      : "memory");
}

// The default state follows.
inline StateAfter takeState() {
  StateAfter after;
  asm volatile(
      "stmxcsr %0\n"
      "fnstcw %1\n"
      "fnstsw %2\n"
      : "=m"(after.mxcsr), "=m"(after.x87Control), "=m"(after.x87Status)
      :
      : "memory");
  loadState(HostState{});
  return after;
}

}  // namespace kvexa::test
