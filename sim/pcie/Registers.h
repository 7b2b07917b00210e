// The PCIe board's registers, and what moves when they are written.
#pragma once

#include <cstdint>
#include <map>

#include "sim/base/Clock.h"
#include "sim/base/Faults.h"
#include "sim/sensor/Delivery.h"
#include "sim/sensor/Sensor.h"

namespace sim::pcie {

// 32-bit registers by byte address; the two lowest address bits do not count.
namespace Register {
constexpr std::uint32_t fpgaVersion = 0x20;
constexpr std::uint32_t intervalBytes = 0x40;
constexpr std::uint32_t i2cSpeed = 0x118;
constexpr std::uint32_t acknowledgeWait = 0x11C;
constexpr std::uint32_t dipSwitches = 0x210;   // software switch in bits 0 to 7, hardware switch in 8 to 15
constexpr std::uint32_t switches = 0x214;      // bit 0 V1, 1 V2, 2 clock, 3 reset active, 4 I2C lines
constexpr std::uint32_t captureFlags = 0x308;  // bit 3 YUV to RGB, bit 8 packing
constexpr std::uint32_t frameSkip = 0x30C;
constexpr std::uint32_t framePeriod = 0x310;  // bit 15 toggles with every frame; 100 microseconds
constexpr std::uint32_t areaLeft = 0x504;
constexpr std::uint32_t areaRight = 0x508;
constexpr std::uint32_t areaTop = 0x50C;
constexpr std::uint32_t areaBottom = 0x510;
constexpr std::uint32_t reduction = 0x514;     // columns in bits 0 to 3, lines in 4 to 7
constexpr std::uint32_t narrowData = 0x60C;    // 1: one byte a sample
constexpr std::uint32_t byteExchange = 0x704;  // bit 0: Bayer to RGB
constexpr std::uint32_t bayerPattern = 0x708;
constexpr std::uint32_t portShift = 0x804;
constexpr std::uint32_t widthShift = 0x904;  // 8 leaves samples as they are
constexpr std::uint32_t inputLines = 0xA04;  // not writable
constexpr std::uint32_t outputLines = 0xA08;
}  // namespace Register

class Registers {
 public:
  Registers(const Clock& clock, Sensor& sensor, Faults& faults);

  // For the test, without the driver.
  std::uint32_t value(std::uint32_t address);
  void setValue(std::uint32_t address, std::uint32_t value);

  // For the host: what is wired does not change.
  void write(std::uint32_t address, std::uint32_t value);
  std::uint32_t read(std::uint32_t address);

  // Frames reach the board.
  bool framesArrive() const;

  // What a reading of the frame period gives now. It stays when the frames stop.
  std::uint32_t framePeriod();

  std::uint32_t intervalBytes() const { return stored(Register::intervalBytes) & ~3U; }

  // Frames passed over before each one that is taken.
  std::uint32_t frameSkip() const {
    return defects().has(Defect::ignoredSkip) ? 0 : stored(Register::frameSkip) & 15U;
  }

  Delivery delivery() const;

  const Defects& defects() const { return faults_.defects(); }

 private:
  std::uint32_t hostAddress(std::uint32_t address) const;
  std::uint32_t stored(std::uint32_t address) const;

  const Clock& clock_;
  Sensor& sensor_;
  Faults& faults_;
  std::map<std::uint32_t, std::uint32_t> registers_;
  std::uint32_t framePeriod_ = 0;
  std::uint32_t versionReads_ = 0;
};

}  // namespace sim::pcie
