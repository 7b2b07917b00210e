// The USB board's capture machinery: which frames of the sensor it takes, its frame buffer, and the
// image pipe.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/Driver.h"
#include "sim/base/Faults.h"
#include "sim/base/Patience.h"
#include "sim/sensor/Delivery.h"
#include "sim/sensor/Sensor.h"

namespace sim::usb {

struct CaptureSettings {
  Delivery delivery;
  unsigned frameSkip = 0;         // frames passed over before each one that is taken
  std::uint64_t bufferBytes = 0;  // the frame buffer
  bool stopAtDrop = false;        // a dropped frame ends the capture
};

class Capture {
 public:
  // The board's memory; larger frames do not come.
  static constexpr std::uint64_t memoryBytes = std::uint64_t{32} << 20;
  static constexpr std::uint64_t unitBytes = 512;

  Capture(const Clock& clock, const Sensor& sensor, const Faults& faults, const Patience& patience);

  // Brings the machinery up to the present. Comes before every change of the board or the sensor, so
  // that frames which ended before the change are taken as things were then.
  void settle();

  void configure(const CaptureSettings& settings) { settings_ = settings; }

  // Takes the first whole frame that begins from now on, or frame after frame.
  void start(bool single);
  void stop();

  // Empties the image pipe.
  void flush();

  // Forgets that frames were dropped.
  void arm();
  bool droppedFrames() const { return dropped_; }

  // The host has read that the stored frames are ready: what is in the buffer now leaves it as one
  // block without frame boundaries, each frame filled up to whole units. Only before the first read of
  // a capture.
  void offerBlock();

  // When the frame that the sensor sends now ends; the present when it sends none.
  Microseconds frameEnd() const;

  // Frames reach the board.
  bool framesArrive() const;

  Answer read(std::uint32_t timeout, std::uint8_t* data, std::uint32_t length);

  std::vector<std::uint8_t> frameBytes(std::uint64_t number) const;

 private:
  struct Stored {
    SensorPicture picture;
    Delivery delivery;
    std::uint64_t number;
    std::uint64_t bytes;  // room in the buffer
  };

  bool takesFrames() const;
  std::uint64_t frameRoom() const;
  Microseconds arrival(std::uint64_t number) const;
  const Defects& defects() const { return faults_.defects(); }
  std::uint64_t firstWhole() const;
  void take(std::uint64_t first, std::uint64_t end);
  bool store(std::uint64_t number);
  bool hasRoom(std::uint64_t bytes) const;
  void passOver(std::uint64_t frames);
  std::optional<Microseconds> nextFrameEnd() const;
  bool waitForFrame(std::uint32_t timeout);
  void openNext();
  std::uint32_t copyOut(std::uint8_t* data, std::uint32_t length);

  const Clock& clock_;
  const Sensor& sensor_;
  const Faults& faults_;
  const Patience& patience_;
  CaptureSettings settings_;

  bool running_ = false;
  bool single_ = false;
  bool ended_ = false;       // the single frame is taken, or a dropped frame ended the capture
  Microseconds cursor_ = 0;  // frames that begin from this moment on are still to be judged
  std::uint64_t skipLeft_ = 0;
  bool dropped_ = false;
  bool untouched_ = true;  // nothing was read since the start

  std::deque<Stored> stored_;
  std::uint64_t storedBytes_ = 0;
  std::vector<std::uint8_t> current_;  // the frame that is being read
  std::size_t offset_ = 0;
  bool reading_ = false;
  std::size_t blockFrames_ = 0;  // stored frames that belong to the block
};

}  // namespace sim::usb
