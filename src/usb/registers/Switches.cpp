#include "usb/registers/Switches.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "board/SwitchFields.h"
#include "usb/registers/BoardRegisters.h"

namespace kvexa::usb {

namespace {

constexpr SwitchFields v1Fields{supplyV1.mask, 8, 0, 7};
constexpr SwitchFields v2Fields{supplyV2.mask, 11, 3, 7};
constexpr SwitchFields clockFields{sensorClock.mask, 14, 6, 3};

struct SwitchRegisters {
  std::uint32_t switches = 0;
  std::uint32_t dip = 0;
};

SwitchStatus decode(const SwitchRegisters& registers, const SwitchFields& fields) {
  return switchStatus(registers.switches, registers.dip, fields);
}

// Reads both switch registers and hands them to `fill`. Only the first read's failure keeps `fill` from
// being called; the second read's result is returned.
template <class Fill>
std::int32_t withSwitchRegisters(HANDLE driver, const void* destination, Fill fill) {
  if (destination == nullptr) return KVEXA_BAD_ARGUMENT;
  SwitchRegisters registers;
  const std::int32_t first = readRegister(driver, Register::switches, registers.switches);
  if (first != KVEXA_OK) return first;
  const std::int32_t second = readRegister(driver, Register::dipSwitches, registers.dip);
  fill(registers);
  return second;
}

std::int32_t getStatus(HANDLE driver, const SwitchFields& fields, SwitchStatus* status) {
  return withSwitchRegisters(driver, status,
                             [&](const SwitchRegisters& registers) { *status = decode(registers, fields); });
}

std::int32_t getWord(HANDLE driver, Register address, std::uint32_t* value) {
  return value == nullptr ? KVEXA_BAD_ARGUMENT : readRegister(driver, address, *value);
}

std::uint32_t switchesAfter(const PowerStep& step, std::uint32_t before) {
  // The words are used as they are: a word other than 0 or 1 reaches its neighbours' bits. Intended.
  return (before & powerSwitchControl.mask) | step.v1 << std::countr_zero(supplyV1.mask) |
         step.v2 << std::countr_zero(supplyV2.mask) | step.clock << std::countr_zero(sensorClock.mask) |
         step.reset << std::countr_zero(sensorReset.mask) | step.i2c << std::countr_zero(i2cLines.mask);
}

}  // namespace

std::int32_t setSwitch(HANDLE driver, Switch which, bool on) {
  std::uint32_t value = 0;
  const std::int32_t read = readRegister(driver, which.address, value);
  if (read != KVEXA_OK) return read;
  return writeRegister(driver, which.address, on ? value | which.mask : value & ~which.mask);
}

std::int32_t getV1Status(HANDLE driver, SwitchStatus* status) { return getStatus(driver, v1Fields, status); }

std::int32_t getV2Status(HANDLE driver, SwitchStatus* status) { return getStatus(driver, v2Fields, status); }

std::int32_t getClockStatus(HANDLE driver, SwitchStatus* status) {
  return getStatus(driver, clockFields, status);
}

std::int32_t getResetStatus(HANDLE driver, std::uint32_t* on) {
  if (on == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t switches = 0;
  const std::int32_t result = readRegister(driver, Register::switches, switches);
  *on = isOn(switches, sensorReset.mask);
  return result;
}

std::int32_t getI2cStatus(HANDLE driver, std::uint32_t* on) {
  if (on == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t switches = 0;
  const std::int32_t result = readRegister(driver, Register::switches, switches);
  *on = 0;  // whatever the register holds; that is intended, the supply status has the lines' state
  return result;
}

std::int32_t getSupplyStatus(HANDLE driver, SupplyStatus* status) {
  return withSwitchRegisters(driver, status, [&](const SwitchRegisters& registers) {
    *status = {decode(registers, v1Fields),
               decode(registers, v2Fields),
               decode(registers, clockFields),
               isOn(registers.switches, sensorReset.mask),
               isOn(registers.switches, i2cLines.mask),
               isOn(registers.switches, powerSwitchControl.mask)};
  });
}

std::int32_t getHardwareDip(HANDLE driver, std::uint32_t* value) {
  return withSwitchRegisters(driver, value,
                             [&](const SwitchRegisters& registers) { *value = (registers.dip >> 8) & 0xFF; });
}

std::int32_t getSoftwareDip(HANDLE driver, std::uint32_t* value) {
  return withSwitchRegisters(driver, value,
                             [&](const SwitchRegisters& registers) { *value = registers.dip & 0xFF; });
}

std::int32_t setSoftwareDip(HANDLE driver, const std::uint32_t* value) {
  if (value == nullptr) return KVEXA_BAD_ARGUMENT;
  // No range test, and the hardware switch's byte is overwritten too. That is intended.
  return writeRegister(driver, Register::dipSwitches, *value);
}

std::int32_t selectBayerPattern(HANDLE driver, const std::uint32_t* pattern) {
  return pattern == nullptr ? KVEXA_BAD_ARGUMENT
                            : writeRegister(driver, Register::bayerPattern, *pattern - 1);
}

std::int32_t setOutputLines(HANDLE driver, std::uint32_t value) {
  return writeRegister(driver, Register::outputLines, value);
}

std::int32_t getOutputLines(HANDLE driver, std::uint32_t* value) {
  return getWord(driver, Register::outputLines, value);
}

std::int32_t getInputLines(HANDLE driver, std::uint32_t* value) {
  return getWord(driver, Register::inputLines, value);
}

std::int32_t playPowerSequence(HANDLE driver, const PowerSequence* sequence) {
  if (sequence == nullptr) return KVEXA_BAD_ARGUMENT;
  const auto count = std::min<std::size_t>(sequence->stepCount, std::size(sequence->steps));
  for (const PowerStep& step : std::span(sequence->steps).first(count)) {
    std::uint32_t switches = 0;
    readRegister(driver, Register::switches, switches);
    writeRegister(driver, Register::switches, switchesAfter(step, switches));
    if (step.delay != 0) Sleep(step.delay);
  }
  return KVEXA_OK;
}

}  // namespace kvexa::usb
