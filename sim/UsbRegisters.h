// The USB board's registers and target words, and what moves when they are written.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "Capture.h"
#include "Clock.h"
#include "Faults.h"
#include "Sensor.h"

namespace sim {

// 16-bit registers, reached through the address and the data port.
namespace UsbRegister {
constexpr std::uint16_t fpgaVersion = 0x0002;
constexpr std::uint16_t dipSwitches = 0x0008;     // hardware switch in the high byte, software switch low
constexpr std::uint16_t switches = 0x000A;        // bit 0 V1, 1 V2, 2 clock, 3 reset active, 4 I2C lines
constexpr std::uint16_t captureMode = 0x0102;     // 0 stop, 1 single, 2 continuous, 3 measurement
constexpr std::uint16_t captureControl = 0x0104;  // bit 1 hold, bit 3 YUV to RGB, bit 8 packing
constexpr std::uint16_t frameSkip = 0x0106;
constexpr std::uint16_t framePeriod = 0x0108;  // bit 15 toggles with every frame; 100 microseconds
constexpr std::uint16_t measuredWidth = 0x010E;
constexpr std::uint16_t measuredHeight = 0x0110;
constexpr std::uint16_t areaLeft = 0x0302;
constexpr std::uint16_t areaRight = 0x0304;
constexpr std::uint16_t areaTop = 0x0306;
constexpr std::uint16_t areaBottom = 0x0308;
constexpr std::uint16_t reduction = 0x030A;    // columns in bits 0 to 3, lines above
constexpr std::uint16_t bufferSize = 0x0402;   // 512-byte units, down from the top of 32 MiB
constexpr std::uint16_t frameStatus = 0x0404;  // frames stored or dropped; a write of 0 arms it
constexpr std::uint16_t narrowData = 0x0406;   // 1: one byte a sample
constexpr std::uint16_t bayerToRgb = 0x0502;
constexpr std::uint16_t bayerPattern = 0x0504;
constexpr std::uint16_t dataShift = 0x0802;  // 8 leaves samples as they are
}  // namespace UsbRegister

// Words of target 0x80 by sub-address.
namespace TargetWord {
constexpr std::uint16_t addressPort = 0;
constexpr std::uint16_t dataPort = 1;
constexpr std::uint16_t status = 2;  // bit 0: a measurement is finished, or the transfer engine drained
constexpr std::uint16_t frameDrop = 3;
}  // namespace TargetWord

class UsbRegisters {
 public:
  UsbRegisters(const Clock& clock, Sensor& sensor, const Faults& faults, const Patience& patience);

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
  std::uint16_t hostValue(std::uint16_t address);
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
  Capture capture_;
  std::map<std::uint16_t, std::uint16_t> registers_;
  std::map<std::uint16_t, std::uint16_t> words_;
  bool stopAtDrop_ = false;
  std::optional<Microseconds> measuringSince_;
  std::optional<Microseconds> drainedAt_;
};

}  // namespace sim
