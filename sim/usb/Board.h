// The simulated USB board as its kernel driver sees it: five pipes, a status block, board registers,
// the sensor bus and the capture machinery.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sim/base/Faults.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/sensor/CameraBoard.h"
#include "sim/usb/Capture.h"

namespace sim::usb {

class Firmware;

class Board : public CameraBoard {
 public:
  Board(std::string name, Timeline& timeline, Trace& trace);
  ~Board() override;
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  // Board registers, looked at and changed without a request.
  std::uint16_t boardRegister(std::uint16_t address) const;
  void setBoardRegister(std::uint16_t address, std::uint16_t value);

  // The 16-bit words of target 0x80 that are no registers, by sub-address.
  std::uint16_t targetWord(std::uint8_t subAddress) const;
  void setTargetWord(std::uint8_t subAddress, std::uint16_t value);

  // The extended commands received, in order; the caller may clear it.
  std::vector<std::uint8_t>& commands() { return commands_; }

  // The next readings of the status block answer these instead of the truth, one each, first in first
  // out: byte 4 is `code`, byte 6 `digit`.
  void queueStatus(std::uint8_t code, char digit = '0');

  // What the board answers to the recovery request on pipe 1; 0 unless it is set.
  void setRecoveryAnswer(std::uint8_t answer);

  void unplug() override;

  // One frame as the board delivers it, whatever the host asks for: the captured area, reduced, in the
  // board's bit width. Empty when the area is empty or the frame exceeds the board's memory.
  std::vector<std::uint8_t> frameBytes(std::uint64_t number) const;

  // ---- for the driver ----
  void close();
  Answer transfer(std::uint32_t pipe, std::uint32_t timeout, std::uint8_t* data, std::uint32_t length);
  Answer descriptor(std::uint8_t* data, std::uint32_t length);

 private:
  Answer corruptTransfer(std::uint32_t pipe, std::uint32_t timeout, std::span<std::uint8_t> data,
                         std::uint8_t turned);

  bool waitUntil(std::optional<Microseconds> moment);

  template <class Request>
  Answer meetFaults(const std::optional<Fault>& fault, std::uint32_t length, Request request);

  std::vector<std::uint8_t> commands_;
  std::unique_ptr<Firmware> firmware_;
};

}  // namespace sim::usb
