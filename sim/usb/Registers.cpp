#include "sim/usb/Registers.h"

#include <algorithm>
#include <utility>

#include "sim/sensor/FramePeriod.h"

namespace sim::usb {

namespace {

enum CaptureMode : std::uint16_t { stopped = 0, singleShot = 1, continuous = 2, measuring = 3 };

constexpr std::uint16_t outputLines = 0x0904;
constexpr std::uint16_t holdBit = 1U << 1;
constexpr std::uint16_t yuvToRgbBit = 1U << 3;
constexpr std::uint16_t packingBit = 1U << 8;
constexpr std::uint16_t statusBit = 1;
constexpr std::uint16_t frameDropOn = 2;
constexpr std::uint32_t bufferUnits = 65536;
constexpr int shiftAsIs = 8;
constexpr unsigned measuredFrames = 2;

// After power-up the board captures 640x480 samples of 8 bits; what is not here is 0.
const std::map<std::uint16_t, std::uint16_t> powerUp = {
    {Register::fpgaVersion, 0x0103},
    {Register::dipSwitches, 0x1B00},
    {Register::switches, 0x0018},
    {Register::areaRight, 640},
    {Register::areaBottom, 480},
    {Register::narrowData, 1},
    {0x0702, 8},
    {Register::dataShift, shiftAsIs},
};

}  // namespace

Registers::Registers(const Clock& clock, Sensor& sensor, Faults& faults, const Patience& patience)
    : clock_(clock),
      sensor_(sensor),
      defects_(faults.defects()),
      capture_(clock, sensor, faults, patience),
      registers_(powerUp) {
  configureCapture();
}

void Registers::settle() {
  capture_.settle();
  settlePeriod();
  settleMeasurement();
  settleDrain();
}

std::uint16_t Registers::value(std::uint16_t address) {
  settle();
  const std::uint16_t plain = stored(address);
  if (address != Register::frameStatus || plain != 0) return plain;
  if (defects_.has(Defect::falseDrop)) return 1;
  return capture_.droppedFrames() && !defects_.has(Defect::unreportedDrop) ? 1 : 0;
}

void Registers::setValue(std::uint16_t address, std::uint16_t value) {
  settle();
  const std::uint16_t before = stored(address);
  registers_[address] = value;
  afterWrite(address, before);
}

std::uint16_t Registers::word(std::uint16_t subAddress) {
  settle();
  const auto found = words_.find(subAddress);
  return found == words_.end() ? std::uint16_t{0} : found->second;
}

void Registers::setWord(std::uint16_t subAddress, std::uint16_t value) {
  settle();
  words_[subAddress] = value;
  // The host acknowledges, or stops the engine itself.
  if (subAddress == TargetWord::status) drainedAt_.reset();
}

void Registers::write(std::uint16_t subAddress, std::span<const std::uint8_t> data) {
  std::uint16_t address = word(TargetWord::addressPort);
  for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
    const auto value = static_cast<std::uint16_t>(data[i] | data[i + 1] << 8);
    if (subAddress == TargetWord::dataPort) {
      setHostValue(hostAddress(address), value);
      address = static_cast<std::uint16_t>(address + 2);
      continue;
    }
    setWord(subAddress, value);
    if (subAddress == TargetWord::addressPort) address = value;
    ++subAddress;
  }
}

std::vector<std::uint8_t> Registers::read(std::uint16_t subAddress, std::size_t count) {
  std::vector<std::uint8_t> data;
  data.reserve(count + 1);
  std::uint16_t address = word(TargetWord::addressPort);
  while (data.size() < count) {
    const std::uint16_t value =
        subAddress == TargetWord::dataPort ? hostValue(hostAddress(address)) : word(subAddress);
    data.push_back(static_cast<std::uint8_t>(value & 0xFF));
    data.push_back(static_cast<std::uint8_t>(value >> 8));
    if (subAddress == TargetWord::dataPort) {
      address = static_cast<std::uint16_t>(address + 2);
    } else {
      ++subAddress;
    }
  }
  data.resize(count);
  return data;
}

void Registers::resetCapture() {
  setValue(Register::captureMode, stopped);
  capture_.flush();
  drainedAt_.reset();
}

void Registers::setFrameDropMode(bool on) {
  settle();
  stopAtDrop_ = on && word(TargetWord::frameDrop) == frameDropOn;
  configureCapture();
}

// With a stuck address line the registers of the lines answer as those of the columns.
std::uint16_t Registers::hostAddress(std::uint16_t address) const {
  const bool isLine = address == Register::areaTop || address == Register::areaBottom;
  if (!isLine || !defects_.has(Defect::stuckAddressLine)) return address;
  return static_cast<std::uint16_t>(address - (Register::areaTop - Register::areaLeft));
}

void Registers::setHostValue(std::uint16_t address, std::uint16_t value) {
  if (defects_.losesWrite()) return;
  if (address == Register::captureMode && value == stopped && defects_.has(Defect::ignoredAbort)) return;
  if (address == outputLines && stored(address) != 0 && defects_.has(Defect::frozenOutputs)) return;
  constexpr std::uint16_t secondSupply = 2;
  const bool isDead = address == Register::switches && defects_.has(Defect::deadSupply);
  setValue(address, isDead ? static_cast<std::uint16_t>(value & ~secondSupply) : value);
}

// What the board's defects make of a register.
std::uint16_t Registers::spoiled(std::uint16_t address, std::uint16_t value) {
  std::uint32_t read = value;
  if (address >= Register::areaLeft && address <= Register::areaBottom) read = defects_.areaWord(read);
  if (address == Register::framePeriod) read = defects_.period(read);
  if (address == Register::switches) read = defects_.switches(read);
  if (address == Register::measuredHeight && defects_.has(Defect::heightOff) && read != 0) --read;
  if (address == Register::fpgaVersion && defects_.has(Defect::changingVersion)) read += ++versionReads_;
  if (defects_.has(Defect::staleAnswer)) read = std::exchange(lastRead_, static_cast<std::uint16_t>(read));
  return static_cast<std::uint16_t>(defects_.word(read));
}

std::uint16_t Registers::hostValue(std::uint16_t address) {
  const std::uint16_t read = spoiled(address, value(address));
  if (address == Register::frameStatus && capture_.droppedFrames()) capture_.offerBlock();
  return read;
}

void Registers::afterWrite(std::uint16_t address, std::uint16_t before) {
  switch (address) {
    case Register::switches: moveLines(); break;
    case Register::captureMode: changeMode(before); break;
    case Register::captureControl:
      configureCapture();
      changeHold(before);
      break;
    case Register::frameStatus: capture_.arm(); break;
    default: configureCapture(); break;
  }
}

void Registers::moveLines() {
  const std::uint16_t lines = stored(Register::switches);
  sensor_.setLines({(lines & 1) != 0, (lines >> 2 & 1) != 0, (lines >> 3 & 1) != 0, (lines >> 4 & 1) != 0});
}

void Registers::changeMode(std::uint16_t before) {
  const std::uint16_t mode = stored(Register::captureMode);
  capture_.stop();
  measuringSince_.reset();
  if (mode == measuring) measuringSince_ = clock_.now();
  if (mode == stopped && (before == singleShot || before == continuous)) drainedAt_ = capture_.frameEnd();
  startIfReleased();
}

void Registers::changeHold(std::uint16_t before) {
  if (isHeld()) {
    capture_.stop();
  } else if ((before & holdBit) != 0) {
    startIfReleased();
  }
}

void Registers::startIfReleased() {
  const std::uint16_t mode = stored(Register::captureMode);
  if (!isHeld() && (mode == singleShot || mode == continuous)) capture_.start(mode == singleShot);
}

void Registers::configureCapture() {
  const std::uint16_t control = stored(Register::captureControl);
  const bool reduces = !defects_.has(Defect::ignoredReduction);
  const std::uint16_t reduction = reduces ? stored(Register::reduction) : std::uint16_t{0};
  CaptureSettings settings;
  Delivery& delivery = settings.delivery;
  delivery.left = defects_.has(Defect::ignoredArea) ? 0 : stored(Register::areaLeft);
  delivery.right = stored(Register::areaRight) - (stored(Register::areaLeft) - delivery.left);
  delivery.top = stored(Register::areaTop);
  delivery.bottom = stored(Register::areaBottom);
  delivery.columnStep = (reduction & 15U) + 1;
  delivery.lineStep = (reduction >> 4) + 1U;
  delivery.shift = static_cast<std::int16_t>(stored(Register::dataShift)) - shiftAsIs;
  delivery.narrow = stored(Register::narrowData) == 1;
  delivery.packed = (control & packingBit) != 0;
  delivery.bayerToRgb = (stored(Register::bayerToRgb) & 1) != 0;
  delivery.bayerPattern = stored(Register::bayerPattern) & 3U;
  delivery.yuvToRgb = (control & yuvToRgbBit) != 0;
  settings.frameSkip = defects_.has(Defect::ignoredSkip) ? 0U : stored(Register::frameSkip);
  settings.bufferBytes = (bufferUnits - stored(Register::bufferSize)) * Capture::unitBytes;
  settings.stopAtDrop = stopAtDrop_;
  capture_.configure(settings);
}

// The period of the frames that come in; it stays when they stop.
void Registers::settlePeriod() {
  if (!capture_.framesArrive()) return;
  registers_[Register::framePeriod] = framePeriodWord(clock_, sensor_);
}

void Registers::settleMeasurement() {
  if (!measuringSince_) return;
  if (!capture_.framesArrive()) {
    measuringSince_ = clock_.now();
    return;
  }
  const Microseconds since = std::max(*measuringSince_, sensor_.streamStart());
  if (clock_.now() < since + measuredFrames * sensor_.framePeriod()) return;
  measuringSince_.reset();
  const SensorPicture picture = sensor_.picture();
  registers_[Register::measuredWidth] = static_cast<std::uint16_t>(picture.width);
  registers_[Register::measuredHeight] = static_cast<std::uint16_t>(picture.height);
  words_[TargetWord::status] |= statusBit;
}

void Registers::settleDrain() {
  if (!drainedAt_ || clock_.now() < *drainedAt_) return;
  drainedAt_.reset();
  words_[TargetWord::status] |= statusBit;
}

bool Registers::isHeld() const { return (stored(Register::captureControl) & holdBit) != 0; }

std::uint16_t Registers::stored(std::uint16_t address) const {
  const auto found = registers_.find(address);
  return found == registers_.end() ? std::uint16_t{0} : found->second;
}

}  // namespace sim::usb
