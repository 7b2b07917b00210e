// Supplies, clock, reset, I2C lines, DIP switches and general-purpose lines of the USB board.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"
#include "usb/link/Protocol.h"

namespace kvexa::usb {

// One bit of a board register that an export turns on or off.
struct Switch {
  Register address;
  std::uint32_t mask;
};

constexpr Switch supplyV1{Register::switches, 0x01};
constexpr Switch supplyV2{Register::switches, 0x02};
constexpr Switch sensorClock{Register::switches, 0x04};
constexpr Switch sensorReset{Register::switches, 0x08};
constexpr Switch i2cLines{Register::switches, 0x10};
constexpr Switch powerSwitchControl{Register::switches, 0x20};
constexpr Switch bayerToRgb{Register::bayerStage, 0x01};

std::int32_t setSwitch(HANDLE driver, Switch which, bool on);

std::int32_t getV1Status(HANDLE driver, SwitchStatus* status);
std::int32_t getV2Status(HANDLE driver, SwitchStatus* status);
std::int32_t getClockStatus(HANDLE driver, SwitchStatus* status);
std::int32_t getResetStatus(HANDLE driver, std::uint32_t* on);
std::int32_t getI2cStatus(HANDLE driver, std::uint32_t* on);
std::int32_t getSupplyStatus(HANDLE driver, SupplyStatus* status);

std::int32_t getHardwareDip(HANDLE driver, std::uint32_t* value);
std::int32_t getSoftwareDip(HANDLE driver, std::uint32_t* value);
std::int32_t setSoftwareDip(HANDLE driver, const std::uint32_t* value);

std::int32_t selectBayerPattern(HANDLE driver, const std::uint32_t* pattern);

std::int32_t setOutputLines(HANDLE driver, std::uint32_t value);
std::int32_t getOutputLines(HANDLE driver, std::uint32_t* value);
std::int32_t getInputLines(HANDLE driver, std::uint32_t* value);

std::int32_t playPowerSequence(HANDLE driver, const PowerSequence* sequence);

}  // namespace kvexa::usb
