// The simulated PCIe board as its kernel driver sees it: registers, the sensor bus, captures into a program's
// memory, interval notices and measurements.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/base/Clock.h"
#include "sim/base/Driver.h"
#include "sim/base/Faults.h"
#include "sim/base/Loans.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/pcie/Engine.h"
#include "sim/pcie/Lut.h"
#include "sim/pcie/Registers.h"
#include "sim/sensor/CameraBoard.h"

namespace sim::pcie {

class Board : public CameraBoard, private Timeline::Source {
 public:
  // What every board of a machine shares. The timeline must not look at the board any more when it is
  // destroyed.
  struct Machinery {
    Timeline& timeline;
    Trace& trace;
    Loans& loans;
  };

  Board(std::string name, const Machinery& machinery);
  ~Board() override = default;

  // Board registers, looked at and changed without a request.
  std::uint32_t boardRegister(std::uint32_t address);
  void setBoardRegister(std::uint32_t address, std::uint32_t value);

  // One frame as the board delivers it, filled up to whole 32-bit words. Empty when the area is empty.
  std::vector<std::uint8_t> frameBytes(std::uint64_t number) const;

  // Pending requests end.
  void unplug() override;

  // Requests that the driver has not completed.
  unsigned pending() const;
  unsigned pending(Wait kind) const;

  // While it is set, requests of the kind stay pending although they are over: frames were moved, the stop
  // came, and so on. Released, they complete.
  void hold(Wait kind, bool held);

  // Completes the oldest pending request of the kind, whatever it waits for, with a status; false when there
  // is none.
  bool complete(Wait kind, std::uint32_t status);

  // Sensor blocks are carried out before DeviceIoControl returns, instead of a moment later.
  void completeBlocksAtOnce(bool atOnce);

  // The status of a capture that a stop has ended. Nothing: 0 for multi-shot captures, 0x1000 for one-shots.
  void setStopStatus(std::optional<std::uint32_t> status);

  // Locked regions of memory, in the order in which they were locked.
  struct Region {
    std::uint32_t start;
    std::uint32_t length;
    bool operator==(const Region&) const = default;
  };
  std::vector<Region> lockedRegions() const;

  std::uint32_t lutWord(std::size_t index) const;

  // ---- for the driver ----
  void close();
  Answer control(const Shape& shape, const ControlRequest& request);

 private:
  using Words = std::vector<std::uint32_t>;

  bool isWaiting() override;
  std::optional<Microseconds> nextDue() override;
  void happen() override;

  Answer refuse(const std::string& line, std::uint32_t error);
  Answer meetRequest(const Shape& shape, const ControlRequest& request, const std::optional<Fault>& fault);
  Answer complete(const std::string& line, const Shape& shape, const ControlRequest& request,
                  const std::optional<Fault>& fault);
  Answer start(const std::string& line, const Shape& shape, const ControlRequest& request,
               const std::optional<Fault>& fault);
  void report(std::string line);
  std::uint32_t run(Request request, Words& words);
  std::uint32_t unlock(const Region& region);
  std::uint32_t check(const Shape& shape, const Words& words) const;

  Loans& loans_;
  Registers registers_;
  Lut lut_;
  std::vector<Region> regions_;
  Engine engine_;
  bool causesEnds_ = false;
  std::vector<std::string> causedLines_;
  bool blocksAtOnce_ = false;
};

}  // namespace sim::pcie
