// The stream of frames that the PCIe board moves into a program's buffer.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/pcie/Registers.h"
#include "sim/sensor/Sensor.h"

namespace sim::pcie {

// Frames follow one another without gaps, each filled up with zeros to whole 32-bit words. Positions count
// the bytes of the stream from the start of the transfer; a frame's bytes arrive evenly over its period.
class Transfer {
 public:
  struct Order {
    std::uint8_t* buffer = nullptr;
    std::uint64_t length = 0;
    bool continuous = false;  // over and over into the same buffer
    bool singleFrame = false;
    std::uint32_t timeout = 0;  // milliseconds for each frame; 0 for no limit
  };

  Transfer(const Sensor& sensor, Registers& registers) : sensor_(sensor), registers_(registers) {}

  void start(const Order& order, Microseconds now);
  void end();
  bool isActive() const { return active_; }

  // Follows sensor and registers: when frames begin, end, or change, the transfer goes on with the next whole
  // frame. Comes before every question.
  void follow(Microseconds now);

  std::uint64_t position() const { return position_; }

  // When the stream has come to a position after the present one; nothing when it will not.
  std::optional<Microseconds> arrival(std::uint64_t position) const;

  // When the transfer is complete, and when it times out.
  std::optional<Microseconds> completion() const;
  std::optional<Microseconds> timeout() const;

  // Moves what has arrived by then.
  void advance(Microseconds now);

 private:
  // The frames as they come now. Frame i of the run is the sensor's frame first + i * stride.
  struct Run {
    SensorPicture picture;
    Delivery delivery;
    Microseconds streamStart = 0;
    Microseconds period = 1;
    std::uint64_t first = 0;
    std::uint64_t stride = 1;
    std::uint64_t frameBytes = 0;
    std::uint64_t base = 0;  // position of frame 0

    bool isLike(const Run& other) const;
    std::uint64_t number(std::uint64_t frame) const { return first + frame * stride; }
    Microseconds begin(std::uint64_t frame) const { return streamStart + number(frame) * period; }
    std::uint64_t arrivedBy(Microseconds now) const;  // bytes
  };

  std::optional<Run> present(Microseconds now) const;
  std::uint64_t framesDone() const;
  Microseconds lastFrameEnd() const;
  std::uint64_t limit() const;
  void copy(std::uint64_t from, std::uint64_t to);
  const std::vector<std::uint8_t>& frame(std::uint64_t index);

  const Sensor& sensor_;
  Registers& registers_;
  bool active_ = false;
  Order order_;
  std::uint64_t position_ = 0;
  Microseconds patience_ = 0;  // the time-out counts from here, or from the last frame's end
  std::optional<Run> run_;
  std::vector<std::uint8_t> frame_;
  std::optional<std::uint64_t> frameNumber_;  // of the run
};

}  // namespace sim::pcie
