#include "PcieRegisters.h"

#include <algorithm>

namespace sim {

namespace {

constexpr std::uint32_t packingBit = 1U << 8;
constexpr std::uint32_t yuvToRgbBit = 1U << 3;
constexpr std::uint32_t areaMask = 0x1FFF;
constexpr std::uint32_t frameToggle = 0x8000;
constexpr int shiftAsIs = 8;
constexpr Microseconds periodUnit = 100;

std::uint32_t wordAddress(std::uint32_t address) { return address & ~3U; }

// After power-up the board captures 640x480 samples of 8 bits; what is not here is 0.
const std::map<std::uint32_t, std::uint32_t> powerUp = {
    {PcieRegister::fpgaVersion, 0x00020104}, {PcieRegister::dipSwitches, 0x1B00},
    {PcieRegister::switches, 0x18},          {PcieRegister::areaRight, 640},
    {PcieRegister::areaBottom, 480},         {PcieRegister::narrowData, 1},
    {PcieRegister::portShift, shiftAsIs},    {PcieRegister::widthShift, shiftAsIs},
};

}  // namespace

PcieRegisters::PcieRegisters(const Clock& clock, Sensor& sensor, const Faults& faults)
    : clock_(clock), sensor_(sensor), faults_(faults), registers_(powerUp) {}

std::uint32_t PcieRegisters::value(std::uint32_t address) {
  const std::uint32_t whole = wordAddress(address);
  return whole == PcieRegister::framePeriod ? framePeriod() : stored(whole);
}

void PcieRegisters::setValue(std::uint32_t address, std::uint32_t value) {
  const std::uint32_t whole = wordAddress(address);
  registers_[whole] = value;
  if (whole != PcieRegister::switches) return;
  sensor_.setLines({(value & 1) != 0, (value >> 2 & 1) != 0, (value >> 3 & 1) != 0, (value >> 4 & 1) != 0});
}

void PcieRegisters::write(std::uint32_t address, std::uint32_t value) {
  const std::uint32_t whole = wordAddress(address);
  if (whole != PcieRegister::fpgaVersion && whole != PcieRegister::inputLines) setValue(whole, value);
}

bool PcieRegisters::framesArrive() const { return sensor_.isStreaming() && !faults_.framesAreHeld(); }

std::uint32_t PcieRegisters::framePeriod() {
  if (!framesArrive()) return framePeriod_;
  const Microseconds period = sensor_.framePeriod();
  const Microseconds elapsed = clock_.now() - std::min(clock_.now(), sensor_.streamStart());
  const bool odd = (elapsed / period & 1) != 0;
  framePeriod_ =
      static_cast<std::uint32_t>(period / periodUnit & (frameToggle - 1)) | (odd ? frameToggle : 0);
  return framePeriod_;
}

Delivery PcieRegisters::delivery() const {
  const std::uint32_t flags = stored(PcieRegister::captureFlags);
  const std::uint32_t reduction = stored(PcieRegister::reduction);
  Delivery delivery;
  delivery.left = stored(PcieRegister::areaLeft) & areaMask;
  delivery.right = stored(PcieRegister::areaRight) & areaMask;
  delivery.top = stored(PcieRegister::areaTop) & areaMask;
  delivery.bottom = stored(PcieRegister::areaBottom) & areaMask;
  delivery.columnStep = (reduction & 15U) + 1;
  delivery.lineStep = (reduction >> 4 & 15U) + 1;
  delivery.shift = static_cast<std::int16_t>(stored(PcieRegister::widthShift) & 0xFFFF) - shiftAsIs;
  delivery.narrow = stored(PcieRegister::narrowData) == 1;
  delivery.packed = (flags & packingBit) != 0;
  delivery.bayerToRgb = (stored(PcieRegister::byteExchange) & 1) != 0;
  delivery.bayerPattern = stored(PcieRegister::bayerPattern) & 3U;
  delivery.yuvToRgb = (flags & yuvToRgbBit) != 0;
  return delivery;
}

std::uint32_t PcieRegisters::stored(std::uint32_t address) const {
  const auto found = registers_.find(address);
  return found == registers_.end() ? 0 : found->second;
}

}  // namespace sim
