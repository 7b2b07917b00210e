// The simulated USB board as its kernel driver sees it: five pipes, a status block, board registers,
// the sensor bus and the capture machinery.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sim/base/Faults.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/sensor/Sensor.h"
#include "sim/usb/Capture.h"

namespace sim::usb {

class Firmware;

class Board {
 public:
  Board(std::string name, Timeline& timeline, Trace& trace);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  const std::string& name() const { return name_; }
  Sensor& sensor() { return sensor_; }
  Faults& faults() { return faults_; }

  // Board registers, looked at and changed without a request.
  std::uint16_t boardRegister(std::uint16_t address) const;
  void setBoardRegister(std::uint16_t address, std::uint16_t value);

  // The 16-bit words of target 0x80 that stand beside the registers, by sub-address.
  std::uint16_t targetWord(std::uint8_t subAddress) const;
  void setTargetWord(std::uint8_t subAddress, std::uint16_t value);

  // The extended commands received, in order; the caller may clear it.
  std::vector<std::uint8_t>& commands() { return commands_; }

  // The next readings of the status block answer these instead of the truth, one each, first in first
  // out: byte 4 is `code`, byte 6 `digit`.
  void queueStatus(std::uint8_t code, char digit = '0');

  // What the board answers to the recovery request on pipe 1; 0 unless it is set.
  void setRecoveryAnswer(std::uint8_t answer);

  // Pulled out, every request fails with ERROR_DEVICE_NOT_CONNECTED and the board is not enumerated.
  void unplug();
  void plug();
  bool isPlugged() const;

  // One frame as the board delivers it, whatever the host asks for: the captured area, reduced, in the
  // board's bit width. Empty when the area is empty or the frame exceeds the board's memory.
  std::vector<std::uint8_t> frameBytes(std::uint64_t number) const;

  // ---- for the driver ----
  bool open();  // false when somebody has it open already
  void close();
  Answer transfer(std::uint32_t pipe, std::uint32_t timeout, std::uint8_t* data, std::uint32_t length);
  Answer descriptor(std::uint8_t* data, std::uint32_t length);

 private:
  Answer corruptTransfer(std::uint32_t pipe, std::uint32_t timeout, std::span<std::uint8_t> data,
                         std::uint8_t turned);

  bool waitUntil(std::optional<Microseconds> moment);

  template <class Request>
  Answer meetFaults(const std::optional<Fault>& fault, std::uint32_t length, Request request);

  mutable std::recursive_mutex mutex_;
  std::string name_;
  Timeline& timeline_;
  Trace& trace_;
  Sensor sensor_;
  Faults faults_;
  std::vector<std::uint8_t> commands_;
  std::unique_ptr<Firmware> firmware_;
  bool open_ = false;
  bool plugged_ = true;
};

}  // namespace sim::usb
