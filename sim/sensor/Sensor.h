// The simulated image sensor on the board's I2C bus.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/Defects.h"
#include "sim/sensor/Scene.h"

namespace sim {

// How the sensor is addressed on the bus. The default sensor has a 7-bit slave address and 16-bit
// register addresses; tests give it others.
struct SensorAddress {
  std::uint16_t slave = 0x36;
  unsigned registerBits = 16;  // 0 (a write or read starts at register 0), 8 or 16
};

// The sensor's registers, 8 bits each; two-byte values have their high byte first.
namespace SensorRegister {
constexpr std::uint16_t modelHigh = 0x0000;     // reads 0x4B
constexpr std::uint16_t modelLow = 0x0001;      // reads 0x56
constexpr std::uint16_t revision = 0x0002;      // reads 0x01
constexpr std::uint16_t streaming = 0x0100;     // 1 streams frames; 0 after reset
constexpr std::uint16_t pattern = 0x0101;       // Bayer pattern, 0 to 3 as in KvexaBayerPattern
constexpr std::uint16_t format = 0x0102;        // 0 Bayer raw, 1 YUV 4:2:2 in the order U Y0 V Y1
constexpr std::uint16_t bits = 0x0103;          // bits a sample, 8 to 16
constexpr std::uint16_t width = 0x0104;         // two bytes, pixels
constexpr std::uint16_t height = 0x0106;        // two bytes, lines
constexpr std::uint16_t framePeriod = 0x0108;   // two bytes, units of 100 microseconds
constexpr std::uint16_t noise = 0x010A;         // noise amplitude in 8-bit steps, 0 none
constexpr std::uint16_t noiseSeed = 0x010B;     // seed of the noise
constexpr std::uint16_t frameCounter = 0x010C;  // 1 draws the frame number into the top left corner
}  // namespace SensorRegister

// The drawn frame number: a row of 32 square cells from the top left pixel, most significant bit
// first. A cell is white for 1 and black for 0 in every one of its samples, whatever the colour pattern
// (in YUV format luma 235 and 16 without chroma), and free of noise.
namespace FrameCounter {
constexpr unsigned cells = 32;
constexpr unsigned cellSize = 4;  // pixels
}  // namespace FrameCounter

// A register and the value that it has after power-up and reset.
struct SensorReset {
  std::uint16_t address;
  std::uint8_t value;
};

// The lines between the board and the sensor.
struct SensorLines {
  bool supplied = false;
  bool clocked = false;
  bool resetActive = true;
  bool busConnected = true;
};

// What decides how a frame looks, so that a frame that the board stored can be drawn later.
struct SensorPicture {
  std::shared_ptr<const Scene> scene;
  unsigned width = 0;
  unsigned height = 0;
  unsigned bits = 8;
  unsigned pattern = 0;
  bool yuv = false;
  unsigned noise = 0;
  unsigned noiseSeed = 0;
  bool counter = false;

  bool operator==(const SensorPicture&) const = default;

  // Samples of one row: two a pixel in YUV format.
  unsigned samplesPerRow() const { return yuv ? width * 2 : width; }
};

class Sensor {
 public:
  // A sensor that is set to no pixels, or to more than this, does not stream.
  static constexpr std::uint64_t mostPixels = std::uint64_t{1} << 25;

  explicit Sensor(const Clock& clock);

  // Those of the board that it is mounted on; they outlive the sensor.
  void setDefects(const Defects& defects) { defects_ = &defects; }

  void setAddress(SensorAddress address);
  void setScene(std::shared_ptr<const Scene> scene);

  // Of the registers that are named here; the others keep theirs. Counts from the next reset on.
  void setResetValues(std::vector<SensorReset> values);

  // The board moves a line. When supply or clock goes, or reset comes, the registers fall back to their
  // reset values and nothing streams.
  void setLines(SensorLines lines);

  // Bus transfers. False or nothing when the sensor does not acknowledge: it is not at that address, or
  // not supplied, clocked and out of reset, or not on the bus. Consecutive bytes go to and come from
  // consecutive registers; a transfer in parts says how many bytes came before.
  bool write(std::uint16_t slave, std::uint16_t registerAddress, std::span<const std::uint8_t> data,
             std::size_t before = 0);
  std::optional<std::vector<std::uint8_t>> read(std::uint16_t slave, std::uint16_t registerAddress,
                                                std::size_t count, std::size_t before = 0);

  // Looks at or changes a register without the bus.
  std::uint8_t peek(std::uint16_t registerAddress) const;
  void poke(std::uint16_t registerAddress, std::uint8_t value);

  bool isStreaming() const;
  unsigned width() const;
  unsigned height() const;
  unsigned bits() const;
  Microseconds framePeriod() const;

  // When streaming began, or the frame period changed while streaming; frame n is exposed from
  // streamStart() + n * framePeriod() for one period.
  Microseconds streamStart() const;

  // The samples of frame n, width() * height(), right-aligned in 16 bits (two samples a pixel pair's
  // four bytes in YUV format: width() * 2 samples a row).
  std::vector<std::uint16_t> frame(std::uint64_t number) const;

  // The same, with the settings of an earlier moment.
  SensorPicture picture() const;
  std::vector<std::uint16_t> frame(const SensorPicture& picture, std::uint64_t number) const;

 private:
  using Registers = std::array<std::uint8_t, 65536>;

  bool isAlive() const;
  bool has(Defect defect) const { return defects_ != nullptr && defects_->has(defect); }
  bool answers(std::uint16_t slave) const;
  void reset();
  std::uint8_t resetValue(std::uint16_t address) const;
  std::uint16_t firstRegister(std::uint16_t registerAddress, std::size_t before) const;
  std::uint16_t nextRegister(std::uint16_t registerAddress) const;
  void store(std::uint16_t registerAddress, std::uint8_t value);
  void settleStreaming(Microseconds periodBefore);
  unsigned pair(std::uint16_t registerAddress) const;

  mutable std::recursive_mutex mutex_;
  const Clock& clock_;
  const Defects* defects_ = nullptr;
  SensorAddress address_;
  SensorLines lines_;
  std::shared_ptr<const Scene> scene_;
  std::vector<SensorReset> resetValues_;  // beyond the usual ones; a later one of an address counts
  std::unique_ptr<Registers> registers_;  // null while every register has its reset value
  bool streaming_ = false;
  Microseconds streamStart_ = 0;

  // The last frame without noise and number: the scene does not move.
  mutable SensorPicture drawnFrom_;
  mutable std::shared_ptr<const std::vector<std::uint16_t>> drawn_;
};

}  // namespace sim
