// What answers at the USB board's pipes.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "sim/usb/Capture.h"
#include "sim/usb/CommandPacket.h"
#include "sim/usb/Registers.h"

namespace sim::usb {

class Firmware {
 public:
  Firmware(const Clock& clock, Sensor& sensor, Faults& faults, std::vector<std::uint8_t>& commands,
           Patience patience);

  Registers& registers() { return registers_; }

  // One request on a pipe.
  Answer transfer(std::uint32_t pipe, std::uint32_t timeout, std::uint8_t* data, std::uint32_t length);

  static std::vector<std::uint8_t> descriptor();

  void queueStatus(std::uint8_t code, char digit);
  void setRecoveryAnswer(std::uint8_t answer) { recoveryAnswer_ = answer; }

 private:
  struct Status {
    std::uint8_t code = 0;
    std::uint8_t digit = 0;
  };
  enum class Expected { nothing, status, recovery };
  enum class BusOutcome { none, good, bad };

  Answer request(std::span<const std::uint8_t> packet);
  Answer statusOrRecovery(std::uint32_t timeout, std::span<std::uint8_t> room);
  Answer command(std::span<const std::uint8_t> packet);
  Answer readAnswer(std::uint32_t timeout, std::span<std::uint8_t> room);
  Answer image(std::uint32_t timeout, std::span<std::uint8_t> room);
  Answer timedOut(std::uint32_t timeout);

  void run(std::uint8_t number);
  void clearErrors();
  void waitForVerticalSync();
  void localReset();
  bool write(const PacketItem& item);
  bool read(const PacketItem& item);
  Status nextStatus();

  void waitUntil(Microseconds moment);

  const Clock& clock_;
  Sensor& sensor_;
  const Faults& faults_;
  std::vector<std::uint8_t>& commands_;
  Patience patience_;
  Registers registers_;

  Status status_;
  std::deque<Status> queuedStatus_;
  std::uint8_t recoveryAnswer_ = 0;
  Expected expected_ = Expected::nothing;
  std::vector<std::uint8_t> answer_;
  std::size_t answerOffset_ = 0;
};

}  // namespace sim::usb
