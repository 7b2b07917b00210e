// The board under test, its sensor, and what every check does with them.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/selftest/Pace.h"

namespace cli::selftest {

// How the sensor is reached and set up. A check whose part is missing is left out.
struct SensorSetup {
  std::optional<std::uint32_t> slave;
  std::uint32_t mode = KVEXA_SLAVE7_SUB16;
  std::string registers;                                       // a register-setting file
  std::vector<std::pair<std::uint32_t, std::uint8_t>> writes;  // instead of the file
  std::optional<std::uint32_t> scratch;  // the first of sixteen registers that hold what is written
  std::optional<CapParam> parameters;
  bool drawsNumbers = false;
  bool standsStill = false;  // nothing but the number differs between two frames
};

struct RigOptions {
  std::uint32_t boardType = KVEXA_BOARD_USB;
  std::uint32_t boardIndex = 0;
  SensorSetup sensor;
};

// What a capture is given. A board that does not end it may write there for as long as it is open.
struct CaptureMemory {
  CaptureMemory(std::size_t bytes, std::size_t eventCount, std::uint8_t mark)
      : frames(bytes, mark), events(eventCount) {
    for (const kvexa::Event& each : events) handles.push_back(each.get());
  }

  std::vector<std::uint8_t> frames;
  std::vector<kvexa::Event> events;
  std::vector<void*> handles;
  std::vector<void*> buffers;
  std::int32_t result = KVEXA_OK;
  OVERLAPPED overlapped{};
  bool isOver = false;  // the capture has ended in order
};

class Rig {
 public:
  Rig(const RigOptions& options, const Pace& pace) : options_(options), pace_(pace) {}

  const Pace& pace() const { return pace_; }
  bool isUsb() const { return options_.boardType == KVEXA_BOARD_USB; }
  std::uint32_t boardType() const { return options_.boardType; }
  std::uint32_t boardIndex() const { return options_.boardIndex; }
  const SensorSetup& sensor() const { return options_.sensor; }

  // The first failure is thrown.
  void open();
  void close() { board_.close(); }
  bool isOpen() const { return board_.isOpen(); }
  const BoardHandle* board() const { return board_.handle(); }

  // Registers of the board itself: 16 bits on USB boards, 32 on PCIe boards.
  std::uint32_t boardRegister(std::uint32_t address) const;
  void setBoardRegister(std::uint32_t address, std::uint32_t value) const;

  // Registers of the sensor.
  std::vector<std::uint32_t> sensorBytes(std::uint32_t address, std::uint32_t count) const;
  void setSensorBytes(std::uint32_t address, const std::vector<std::uint32_t>& bytes) const;
  std::int32_t askSensor(std::uint32_t slave, std::uint32_t mode) const;
  bool answers() const { return askSensor(*sensor().slave, sensor().mode) == KVEXA_OK; }

  // Everything off and in reset; and on, so that the sensor answers, with the registers that it has then.
  void powerDown() const;
  void powerUp() const;

  // From the beginning: the sensor powered and streaming, the board set up for its frames.
  void stream() const { stream(*sensor().parameters); }
  void stream(const CapParam& parameters) const;

  // A frame as the board transfers it.
  kvexa::FrameLayout layout() const { return layoutOf(*sensor().parameters); }
  kvexa::FrameLayout layoutOf(const CapParam& parameters) const;

  // One frame into memory of a known content; what does not come keeps it.
  std::vector<std::uint8_t> oneShot(std::uint32_t bytes, std::uint8_t mark,
                                    std::uint32_t timeout = patience) const;

  // For one capture; stays until that is over, or until the board is closed at the very end.
  CaptureMemory& newCapture(std::size_t bytes, std::size_t events, std::uint8_t mark = 0) const;

  // Milliseconds from one frame to the next, by the board's measurement; 100 when it has none.
  double framePeriod() const;

  // Nothing a working board does takes longer, in milliseconds.
  static constexpr std::uint32_t patience = 2000;

 private:
  RigOptions options_;
  const Pace& pace_;
  mutable std::list<CaptureMemory> captures_;  // outlives the open board
  kvexa::Board board_;
};

// Sets a board register back when the check ends.
class Kept {
 public:
  Kept(const Rig& rig, std::uint32_t address)
      : rig_(rig), address_(address), value_(rig.boardRegister(address)) {}
  ~Kept();
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

 private:
  const Rig& rig_;
  std::uint32_t address_;
  std::uint32_t value_;
};

}  // namespace cli::selftest
