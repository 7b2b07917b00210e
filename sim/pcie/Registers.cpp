#include "sim/pcie/Registers.h"

#include "sim/sensor/FramePeriod.h"

namespace sim::pcie {

namespace {

constexpr std::uint32_t packingBit = 1U << 8;
constexpr std::uint32_t yuvToRgbBit = 1U << 3;
constexpr std::uint32_t areaMask = 0x1FFF;
constexpr int shiftAsIs = 8;

std::uint32_t wordAddress(std::uint32_t address) { return address & ~3U; }

// After power-up the board captures 640x480 samples of 8 bits; what is not here is 0.
const std::map<std::uint32_t, std::uint32_t> powerUp = {
    {Register::fpgaVersion, 0x00020104}, {Register::dipSwitches, 0x1B00},   {Register::switches, 0x18},
    {Register::areaRight, 640},          {Register::areaBottom, 480},       {Register::narrowData, 1},
    {Register::portShift, shiftAsIs},    {Register::widthShift, shiftAsIs},
};

}  // namespace

Registers::Registers(const Clock& clock, Sensor& sensor, Faults& faults)
    : clock_(clock), sensor_(sensor), faults_(faults), registers_(powerUp) {}

std::uint32_t Registers::value(std::uint32_t address) {
  const std::uint32_t whole = wordAddress(address);
  return whole == Register::framePeriod ? framePeriod() : stored(whole);
}

void Registers::setValue(std::uint32_t address, std::uint32_t value) {
  const std::uint32_t whole = wordAddress(address);
  registers_[whole] = value;
  if (whole != Register::switches) return;
  sensor_.setLines({(value & 1) != 0, (value >> 2 & 1) != 0, (value >> 3 & 1) != 0, (value >> 4 & 1) != 0});
}

void Registers::write(std::uint32_t address, std::uint32_t value) {
  const std::uint32_t whole = hostAddress(address);
  if (whole == Register::fpgaVersion || whole == Register::inputLines) return;
  if (faults_.defects().losesWrite()) return;
  if (whole == Register::outputLines && stored(whole) != 0 && defects().has(Defect::frozenOutputs)) return;
  constexpr std::uint32_t secondSupply = 2;
  const bool isDead = whole == Register::switches && defects().has(Defect::deadSupply);
  setValue(whole, isDead ? value & ~secondSupply : value);
}

std::uint32_t Registers::read(std::uint32_t address) {
  const std::uint32_t whole = hostAddress(address);
  std::uint32_t read = value(whole);
  if (whole >= Register::areaLeft && whole <= Register::areaBottom) read = defects().areaWord(read);
  if (whole == Register::framePeriod) read = defects().period(read);
  if (whole == Register::switches) read = defects().switches(read);
  if (whole == Register::fpgaVersion && defects().has(Defect::changingVersion)) read += ++versionReads_;
  return defects().word(read);
}

// With a stuck address line the registers of the lines answer as those of the columns.
std::uint32_t Registers::hostAddress(std::uint32_t address) const {
  const std::uint32_t whole = wordAddress(address);
  const bool isLine = whole == Register::areaTop || whole == Register::areaBottom;
  if (!isLine || !defects().has(Defect::stuckAddressLine)) return whole;
  return whole - (Register::areaTop - Register::areaLeft);
}

bool Registers::framesArrive() const { return sensor_.isStreaming() && !faults_.framesAreHeld(); }

std::uint32_t Registers::framePeriod() {
  if (framesArrive()) framePeriod_ = framePeriodWord(clock_, sensor_);
  return framePeriod_;
}

Delivery Registers::delivery() const {
  const std::uint32_t flags = stored(Register::captureFlags);
  const std::uint32_t reduction = defects().has(Defect::ignoredReduction) ? 0 : stored(Register::reduction);
  Delivery delivery;
  const std::uint32_t left = stored(Register::areaLeft) & areaMask;
  delivery.left = defects().has(Defect::ignoredArea) ? 0 : left;
  delivery.right = (stored(Register::areaRight) & areaMask) - (left - delivery.left);
  delivery.top = stored(Register::areaTop) & areaMask;
  delivery.bottom = stored(Register::areaBottom) & areaMask;
  delivery.columnStep = (reduction & 15U) + 1;
  delivery.lineStep = (reduction >> 4 & 15U) + 1;
  delivery.shift = static_cast<std::int16_t>(stored(Register::widthShift) & 0xFFFF) - shiftAsIs;
  delivery.narrow = stored(Register::narrowData) == 1;
  delivery.packed = (flags & packingBit) != 0;
  delivery.bayerToRgb = (stored(Register::byteExchange) & 1) != 0;
  delivery.bayerPattern = stored(Register::bayerPattern) & 3U;
  delivery.yuvToRgb = (flags & yuvToRgbBit) != 0;
  return delivery;
}

std::uint32_t Registers::stored(std::uint32_t address) const {
  const auto found = registers_.find(address);
  return found == registers_.end() ? 0 : found->second;
}

}  // namespace sim::pcie
