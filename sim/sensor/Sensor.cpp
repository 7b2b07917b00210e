#include "sim/sensor/Sensor.h"

#include <algorithm>
#include <utility>

#include "sim/sensor/Mosaic.h"

namespace sim {

namespace {

// 640x480, 8 bits, 30 frames a second; the registers that are not here reset to 0.
constexpr SensorReset usualResetValues[] = {
    {SensorRegister::modelHigh, 0x4B},       {SensorRegister::modelLow, 0x56},
    {SensorRegister::revision, 0x01},        {SensorRegister::bits, 8},
    {SensorRegister::width, 640 >> 8},       {SensorRegister::width + 1, 640 & 0xFF},
    {SensorRegister::height, 480 >> 8},      {SensorRegister::height + 1, 480 & 0xFF},
    {SensorRegister::framePeriod, 333 >> 8}, {SensorRegister::framePeriod + 1, 333 & 0xFF},
    {SensorRegister::noiseSeed, 1},
};

constexpr Microseconds periodUnit = 100;

}  // namespace

Sensor::Sensor(const Clock& clock) : clock_(clock) {}

void Sensor::setAddress(SensorAddress address) {
  const std::lock_guard lock(mutex_);
  address_ = address;
}

void Sensor::setScene(std::shared_ptr<const Scene> scene) {
  const std::lock_guard lock(mutex_);
  scene_ = std::move(scene);
}

void Sensor::setResetValues(std::vector<SensorReset> values) {
  const std::lock_guard lock(mutex_);
  resetValues_ = std::move(values);
}

void Sensor::setLines(SensorLines lines) {
  const std::lock_guard lock(mutex_);
  const Microseconds period = framePeriod();
  const bool wasAlive = isAlive();
  lines_ = lines;
  if (wasAlive && !isAlive() && !has(Defect::keptRegisters)) reset();
  settleStreaming(period);
}

bool Sensor::write(std::uint16_t slave, std::uint16_t registerAddress, std::span<const std::uint8_t> data,
                   std::size_t before) {
  const std::lock_guard lock(mutex_);
  if (!answers(slave)) return has(Defect::wrongAcknowledge);
  std::uint16_t address = firstRegister(registerAddress, before);
  for (const std::uint8_t value : data) {
    // The identification is wired.
    if (address > SensorRegister::revision) store(address, value);
    if (!has(Defect::repeatedAddress)) address = nextRegister(address);
  }
  return true;
}

std::optional<std::vector<std::uint8_t>> Sensor::read(std::uint16_t slave, std::uint16_t registerAddress,
                                                      std::size_t count, std::size_t before) {
  const std::lock_guard lock(mutex_);
  if (!answers(slave)) {
    if (has(Defect::wrongAcknowledge)) return std::vector<std::uint8_t>(count, 0xFF);
    return std::nullopt;
  }
  std::vector<std::uint8_t> data(count);
  std::uint16_t address = firstRegister(registerAddress, before);
  for (std::uint8_t& value : data) {
    value = peek(address);
    if (has(Defect::lostSensorBit)) value &= 0xFE;
    if (!has(Defect::repeatedRead)) address = nextRegister(address);
  }
  return data;
}

std::uint8_t Sensor::peek(std::uint16_t registerAddress) const {
  const std::lock_guard lock(mutex_);
  return registers_ ? (*registers_)[registerAddress] : resetValue(registerAddress);
}

void Sensor::poke(std::uint16_t registerAddress, std::uint8_t value) {
  const std::lock_guard lock(mutex_);
  store(registerAddress, value);
}

bool Sensor::isStreaming() const {
  const std::lock_guard lock(mutex_);
  const std::uint64_t pixels = std::uint64_t{width()} * height();
  return isAlive() && (peek(SensorRegister::streaming) & 1) != 0 && pixels != 0 && pixels <= mostPixels;
}

unsigned Sensor::width() const { return pair(SensorRegister::width); }

unsigned Sensor::height() const { return pair(SensorRegister::height); }

unsigned Sensor::bits() const { return std::clamp<unsigned>(peek(SensorRegister::bits), 8, 16); }

Microseconds Sensor::framePeriod() const {
  return std::max(pair(SensorRegister::framePeriod), 1U) * periodUnit;
}

Microseconds Sensor::streamStart() const {
  const std::lock_guard lock(mutex_);
  return streamStart_;
}

SensorPicture Sensor::picture() const {
  const std::lock_guard lock(mutex_);
  SensorPicture picture;
  picture.scene = scene_ ? scene_ : Scene::chart();
  picture.width = width();
  picture.height = height();
  picture.bits = bits();
  picture.pattern = peek(SensorRegister::pattern) & 3U;
  picture.yuv = (peek(SensorRegister::format) & 1) != 0;
  picture.noise = peek(SensorRegister::noise);
  picture.noiseSeed = peek(SensorRegister::noiseSeed);
  picture.counter = (peek(SensorRegister::frameCounter) & 1) != 0;
  return picture;
}

std::vector<std::uint16_t> Sensor::frame(std::uint64_t number) const { return frame(picture(), number); }

std::vector<std::uint16_t> Sensor::frame(const SensorPicture& picture, std::uint64_t number) const {
  if (std::uint64_t{picture.width} * picture.height > mostPixels) return {};
  SensorPicture still = picture;
  still.noise = 0;
  still.noiseSeed = 0;
  still.counter = false;
  std::shared_ptr<const std::vector<std::uint16_t>> drawn;
  {
    const std::lock_guard lock(mutex_);
    if (!drawn_ || !(drawnFrom_ == still)) {
      drawn_.reset();
      drawn_ = std::make_shared<const std::vector<std::uint16_t>>(drawSamples(still));
      drawnFrom_ = still;
    }
    drawn = drawn_;
  }
  std::vector<std::uint16_t> samples = *drawn;
  addNoise(picture, number, samples);
  drawFrameNumber(picture, number, samples);
  return samples;
}

bool Sensor::isAlive() const { return lines_.supplied && lines_.clocked && !lines_.resetActive; }

bool Sensor::answers(std::uint16_t slave) const {
  const bool alive = isAlive() || has(Defect::unpoweredSensor);
  return alive && lines_.busConnected && slave == address_.slave;
}

void Sensor::reset() { registers_.reset(); }

std::uint8_t Sensor::resetValue(std::uint16_t address) const {
  const auto isIt = [address](const SensorReset& each) { return each.address == address; };
  const auto own = std::find_if(resetValues_.rbegin(), resetValues_.rend(), isIt);
  if (own != resetValues_.rend()) return own->value;
  const auto* const usual = std::find_if(std::begin(usualResetValues), std::end(usualResetValues), isIt);
  return usual == std::end(usualResetValues) ? std::uint8_t{0} : usual->value;
}

std::uint16_t Sensor::firstRegister(std::uint16_t registerAddress, std::size_t before) const {
  const std::size_t given = address_.registerBits == 0 ? 0 : registerAddress;
  const auto first = static_cast<std::uint16_t>(given + before);
  return address_.registerBits == 8 ? first & 0xFF : first;
}

std::uint16_t Sensor::nextRegister(std::uint16_t registerAddress) const {
  const auto next = static_cast<std::uint16_t>(registerAddress + 1);
  return address_.registerBits == 8 ? next & 0xFF : next;
}

void Sensor::store(std::uint16_t registerAddress, std::uint8_t value) {
  const Microseconds period = framePeriod();
  if (!registers_) {
    registers_ = std::make_unique<Registers>();
    for (const SensorReset& each : usualResetValues) (*registers_)[each.address] = each.value;
    for (const SensorReset& each : resetValues_) (*registers_)[each.address] = each.value;
  }
  (*registers_)[registerAddress] = value;
  settleStreaming(period);
}

void Sensor::settleStreaming(Microseconds periodBefore) {
  const bool streams = isStreaming();
  if (streams && (!streaming_ || framePeriod() != periodBefore)) streamStart_ = clock_.now();
  streaming_ = streams;
}

unsigned Sensor::pair(std::uint16_t registerAddress) const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(peek(registerAddress) << 8 |
                               peek(static_cast<std::uint16_t>(registerAddress + 1)));
}

}  // namespace sim
