// The simulated image sensor on the board's I2C bus.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Clock.h"
#include "Scene.h"

namespace sim {

// How the sensor is addressed on the bus. The default sensor has a 7-bit slave address and 16-bit
// register addresses; tests give it others.
struct SensorAddress {
  std::uint16_t slave = 0x36;
  unsigned registerBits = 16;  // 0 (a write or read starts at register 0), 8 or 16
};

// The sensor's registers, 8 bits each; two-byte values stand high byte first.
namespace SensorRegister {
constexpr std::uint16_t modelHigh = 0x0000;      // reads 0x4B
constexpr std::uint16_t modelLow = 0x0001;       // reads 0x56
constexpr std::uint16_t revision = 0x0002;       // reads 0x01
constexpr std::uint16_t streaming = 0x0100;      // 1 streams frames; 0 after reset
constexpr std::uint16_t pattern = 0x0101;        // Bayer pattern, 0 to 3 as in KvexaBayerPattern
constexpr std::uint16_t format = 0x0102;         // 0 Bayer raw, 1 YUV 4:2:2 in the order U Y0 V Y1
constexpr std::uint16_t bits = 0x0103;           // bits a sample, 8 to 16
constexpr std::uint16_t width = 0x0104;          // two bytes, pixels
constexpr std::uint16_t height = 0x0106;         // two bytes, lines
constexpr std::uint16_t framePeriod = 0x0108;    // two bytes, units of 100 microseconds
constexpr std::uint16_t noise = 0x010A;          // noise amplitude in 8-bit steps, 0 none
constexpr std::uint16_t noiseSeed = 0x010B;      // seed of the noise
constexpr std::uint16_t frameCounter = 0x010C;   // 1 draws the frame number into the top left corner
}  // namespace SensorRegister

// The lines between the board and the sensor.
struct SensorLines {
  bool supplied = false;
  bool clocked = false;
  bool resetActive = true;
  bool busConnected = true;
};

class Sensor {
 public:
  explicit Sensor(const Clock& clock);

  void setAddress(SensorAddress address);
  void setScene(std::shared_ptr<const Scene> scene);

  // The board moves a line. Without supply, clock, or in reset the registers fall back to their reset
  // values and nothing streams.
  void setLines(SensorLines lines);

  // Bus transfers. False or nothing when the sensor does not acknowledge: it is not at that address, or
  // not supplied, clocked and out of reset, or not on the bus.
  bool write(std::uint16_t slave, std::uint16_t registerAddress, std::span<const std::uint8_t> data);
  std::optional<std::vector<std::uint8_t>> read(std::uint16_t slave, std::uint16_t registerAddress,
                                                std::size_t count);

  // Looks at or changes a register behind the bus' back.
  std::uint8_t peek(std::uint16_t registerAddress) const;
  void poke(std::uint16_t registerAddress, std::uint8_t value);

  bool isStreaming() const;
  unsigned width() const;
  unsigned height() const;
  unsigned bits() const;
  Microseconds framePeriod() const;

  // When streaming began; frame n is exposed from streamStart() + n * framePeriod() for one period.
  Microseconds streamStart() const;

  // The samples of frame n, width() * height(), right-aligned in 16 bits (two samples a pixel pair's
  // four bytes in YUV format: width() * 2 samples a row).
  std::vector<std::uint16_t> frame(std::uint64_t number) const;

 private:
  bool answers(std::uint16_t slave) const;
  void reset();
  std::uint16_t pair(std::uint16_t registerAddress) const;

  const Clock& clock_;
  SensorAddress address_;
  SensorLines lines_;
  std::shared_ptr<const Scene> scene_;
  std::array<std::uint8_t, 65536> registers_{};
  Microseconds streamStart_ = 0;
};

}  // namespace sim
