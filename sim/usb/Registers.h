// The USB board's registers and target words, and what moves when they are written.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "sim/base/Clock.h"
#include "sim/base/Faults.h"
#include "sim/sensor/Sensor.h"
#include "sim/usb/Capture.h"
#include "sim/usb/Protocol.h"

namespace sim::usb {

class Registers {
 public:
  Registers(const Clock& clock, Sensor& sensor, Faults& faults, const Patience& patience);

  // Brings frame period, measurement, drain and capture up to the present.
  void settle();

  std::uint16_t value(std::uint16_t address);
  void setValue(std::uint16_t address, std::uint16_t value);

  std::uint16_t word(std::uint16_t subAddress);
  void setWord(std::uint16_t subAddress, std::uint16_t value);

  // Transfers to and from target 0x80: 16-bit words, low byte first. At the data port consecutive words
  // belong to consecutive registers, two apart; elsewhere to consecutive sub-addresses. An odd last byte
  // of a write is ignored.
  void write(std::uint16_t subAddress, std::span<const std::uint8_t> data);
  std::vector<std::uint8_t> read(std::uint16_t subAddress, std::size_t count);

  // The local reset: the capture machinery starts afresh, the other registers stay.
  void resetCapture();

  // Frame-drop mode: with the word `frameDrop` at 2, a dropped frame ends a continuous capture.
  void setFrameDropMode(bool on);

  Capture& capture() { return capture_; }

 private:
  std::uint16_t hostAddress(std::uint16_t address) const;
  std::uint16_t hostValue(std::uint16_t address);
  std::uint16_t spoiled(std::uint16_t address, std::uint16_t value);
  void setHostValue(std::uint16_t address, std::uint16_t value);
  void afterWrite(std::uint16_t address, std::uint16_t before);
  void moveLines();
  void changeMode(std::uint16_t before);
  void changeHold(std::uint16_t before);
  void startIfReleased();
  void configureCapture();
  void settlePeriod();
  void settleMeasurement();
  void settleDrain();
  bool isHeld() const;
  std::uint16_t stored(std::uint16_t address) const;

  const Clock& clock_;
  Sensor& sensor_;
  Defects& defects_;
  Capture capture_;
  std::map<std::uint16_t, std::uint16_t> registers_;
  std::map<std::uint16_t, std::uint16_t> words_;
  std::uint16_t lastRead_ = 0;
  std::uint16_t versionReads_ = 0;
  bool stopAtDrop_ = false;
  std::optional<Microseconds> measuringSince_;
  std::optional<Microseconds> drainedAt_;
};

}  // namespace sim::usb
