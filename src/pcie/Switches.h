// Supplies, clock, reset, I2C lines, DIP switches and general-purpose lines of the PCIe board.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::pcie {

enum class Switch : std::uint32_t {
  supplyV1 = 0x01,
  supplyV2 = 0x02,
  sensorClock = 0x04,
  sensorReset = 0x08,
  i2cLines = 0x10,
  powerSwitchControl = 0x20
};

std::int32_t setSwitch(HANDLE driver, Switch which, bool on);

// Always KVEXA_OK.
std::int32_t turnOffV1(HANDLE driver);

std::int32_t getV1Status(HANDLE driver, SwitchStatus* status);
std::int32_t getV2Status(HANDLE driver, SwitchStatus* status);
std::int32_t getClockStatus(HANDLE driver, SwitchStatus* status);
std::int32_t getResetStatus(HANDLE driver, std::uint32_t* on);
std::int32_t getI2cStatus(HANDLE driver, std::uint32_t* on);
std::int32_t getSupplyStatus(HANDLE driver, SupplyStatus* status);

std::int32_t getHardwareDip(HANDLE driver, std::uint32_t* value);
std::int32_t getSoftwareDip(HANDLE driver, std::uint32_t* value);
std::int32_t setSoftwareDip(HANDLE driver, const std::uint32_t* value);

std::int32_t setOutputLines(HANDLE driver, std::uint32_t value);
std::int32_t getOutputLines(HANDLE driver, std::uint32_t* value);
std::int32_t getInputLines(HANDLE driver, std::uint32_t* value);

std::int32_t playPowerSequence(HANDLE driver, const PowerSequence* sequence);

}  // namespace kvexa::pcie
