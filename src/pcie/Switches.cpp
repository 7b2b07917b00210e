#include "pcie/Switches.h"

#include <cstddef>
#include <cstring>

#include "board/SwitchFields.h"
#include "pcie/BoardRegisters.h"

namespace kvexa::pcie {

namespace {

constexpr std::uint32_t allSwitches = 0x3F;
constexpr std::uint32_t largestSoftwareDip = 0xFF;

constexpr std::uint32_t maskOf(Switch which) { return static_cast<std::uint32_t>(which); }

constexpr SwitchFields v1Fields{maskOf(Switch::supplyV1), 8, 0, 3};
constexpr SwitchFields v2Fields{maskOf(Switch::supplyV2), 11, 3, 3};
constexpr SwitchFields clockFields{maskOf(Switch::sensorClock), 14, 6, 3};

// The result is that of the DIP register's reading; what could not be read counts as 0.
std::int32_t getStatus(HANDLE driver, const SwitchFields& fields, SwitchStatus* status) {
  if (status == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t switches = 0;
  std::uint32_t dip = 0;
  readRegister(driver, Register::switches, switches);
  const std::int32_t result = readRegister(driver, Register::dipSwitches, dip);
  *status = switchStatus(switches, dip, fields);
  return result;
}

std::int32_t getSwitch(HANDLE driver, Switch which, std::uint32_t* on) {
  if (on == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t switches = 0;
  const std::int32_t result = readRegister(driver, Register::switches, switches);
  *on = isOn(switches, maskOf(which));
  return result;
}

std::int32_t getField(HANDLE driver, Register address, unsigned shift, std::uint32_t mask,
                      std::uint32_t* value) {
  if (value == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t whole = 0;
  const std::int32_t result = readRegister(driver, address, whole);
  *value = whole >> shift & mask;
  return result;
}

std::uint32_t bitOf(std::uint32_t state, Switch which) { return state == 1 ? maskOf(which) : 0; }

std::uint32_t switchesAfter(const PowerStep& step, std::uint32_t before) {
  return (before & maskOf(Switch::powerSwitchControl)) | bitOf(step.v1, Switch::supplyV1) |
         bitOf(step.v2, Switch::supplyV2) | bitOf(step.clock, Switch::sensorClock) |
         bitOf(step.reset, Switch::sensorReset) | bitOf(step.i2c, Switch::i2cLines);
}

// The step count is not limited to the record's 100 steps: callers may lay out a longer sequence. That
// is intended.
PowerStep stepAt(const PowerSequence* sequence, std::size_t index) {
  PowerStep step;
  std::memcpy(&step, reinterpret_cast<const std::byte*>(sequence) + index * sizeof step, sizeof step);
  return step;
}

}  // namespace

std::int32_t setSwitch(HANDLE driver, Switch which, bool on) {
  std::uint32_t switches = 0;
  readRegister(driver, Register::switches, switches);  // a failed reading counts as 0
  switches &= allSwitches;
  return writeRegister(driver, Register::switches, on ? switches | maskOf(which) : switches & ~maskOf(which));
}

std::int32_t turnOffV1(HANDLE driver) {
  setSwitch(driver, Switch::supplyV1, false);
  return KVEXA_OK;  // whatever the write did; that is intended
}

std::int32_t getV1Status(HANDLE driver, SwitchStatus* status) { return getStatus(driver, v1Fields, status); }

std::int32_t getV2Status(HANDLE driver, SwitchStatus* status) { return getStatus(driver, v2Fields, status); }

std::int32_t getClockStatus(HANDLE driver, SwitchStatus* status) {
  return getStatus(driver, clockFields, status);
}

std::int32_t getResetStatus(HANDLE driver, std::uint32_t* on) {
  return getSwitch(driver, Switch::sensorReset, on);
}

std::int32_t getI2cStatus(HANDLE driver, std::uint32_t* on) {
  return getSwitch(driver, Switch::i2cLines, on);
}

std::int32_t getSupplyStatus(HANDLE driver, SupplyStatus* status) {
  if (status == nullptr) return KVEXA_BAD_ARGUMENT;
  std::int32_t result = getV1Status(driver, &status->v1);
  if (result == KVEXA_OK) result = getV2Status(driver, &status->v2);
  if (result == KVEXA_OK) result = getClockStatus(driver, &status->clock);
  if (result == KVEXA_OK) result = getResetStatus(driver, &status->resetOn);
  if (result == KVEXA_OK) result = getI2cStatus(driver, &status->i2cOn);
  if (result == KVEXA_OK) result = getSwitch(driver, Switch::powerSwitchControl, &status->powerSwitchOn);
  return result;
}

std::int32_t getHardwareDip(HANDLE driver, std::uint32_t* value) {
  return getField(driver, Register::dipSwitches, 8, 0x3F, value);
}

std::int32_t getSoftwareDip(HANDLE driver, std::uint32_t* value) {
  if (value == nullptr) return KVEXA_BAD_ARGUMENT;
  std::uint32_t dip = 0;
  const std::int32_t result = readRegister(driver, Register::dipSwitches, dip);
  if (result == KVEXA_OK) *value = dip & largestSoftwareDip;
  return result;
}

std::int32_t setSoftwareDip(HANDLE driver, const std::uint32_t* value) {
  if (value == nullptr || *value > largestSoftwareDip) return KVEXA_BAD_ARGUMENT;
  std::uint32_t dip = 0;
  const std::int32_t read = readRegister(driver, Register::dipSwitches, dip);
  if (read != KVEXA_OK) return read;
  return writeRegister(driver, Register::dipSwitches, (dip & 0xFF00) | *value);
}

std::int32_t setOutputLines(HANDLE driver, std::uint32_t value) {
  return writeRegister(driver, Register::outputLines, value);
}

std::int32_t getOutputLines(HANDLE driver, std::uint32_t* value) {
  return getField(driver, Register::outputLines, 0, 0xFFFF, value);
}

std::int32_t getInputLines(HANDLE driver, std::uint32_t* value) {
  return getField(driver, Register::inputLines, 0, 0xFFFF, value);
}

std::int32_t playPowerSequence(HANDLE driver, const PowerSequence* sequence) {
  if (sequence == nullptr) return KVEXA_BAD_ARGUMENT;
  std::int32_t result = KVEXA_OK;
  const std::uint32_t count = sequence->stepCount;
  for (std::uint32_t i = 0; i < count; ++i) {
    const PowerStep step = stepAt(sequence, i);
    std::uint32_t switches = 0;
    readRegister(driver, Register::switches, switches);
    result = writeRegister(driver, Register::switches, switchesAfter(step, switches));
    if (step.delay != 0) Sleep(step.delay);
  }
  return result;
}

}  // namespace kvexa::pcie
