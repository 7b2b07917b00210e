// Switches of a board, and where both boards report their state.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa {

// Each board has a type for its switches, and a setSwitch for that type.
template <auto which>
std::int32_t turnOn(HANDLE driver) {
  return setSwitch(driver, which, true);
}

template <auto which>
std::int32_t turnOff(HANDLE driver) {
  return setSwitch(driver, which, false);
}

// Where the state of a supply or of the clock is in the switch register and in the DIP register.
struct SwitchFields {
  std::uint32_t onMask;
  unsigned hardwareShift;
  unsigned softwareShift;
  std::uint32_t settingMask;
};

constexpr std::uint32_t isOn(std::uint32_t switches, std::uint32_t mask) {
  return (switches & mask) != 0 ? 1 : 0;
}

constexpr SwitchStatus switchStatus(std::uint32_t switches, std::uint32_t dip, const SwitchFields& fields) {
  return {isOn(switches, fields.onMask), (dip >> fields.hardwareShift) & fields.settingMask,
          (dip >> fields.softwareShift) & fields.settingMask};
}

}  // namespace kvexa
