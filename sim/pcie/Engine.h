// What the PCIe board does by itself while time passes: it moves frames, reports intervals, measures, and
// completes the requests that wait for these.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>

#include "sim/base/Clock.h"
#include "sim/pcie/PendingRequest.h"
#include "sim/pcie/Registers.h"
#include "sim/pcie/Transfer.h"
#include "sim/sensor/Sensor.h"

namespace sim::pcie {

// The requests that may stay pending.
enum class Wait { capture, measurement, interval, block };

// Not for several threads at a time.
class Engine {
 public:
  using RequestPointer = std::unique_ptr<PendingRequest>;

  // `reported` is called with every request that is completed later.
  using Reported = std::function<void(PendingRequest& request)>;

  Engine(Clock& clock, const Sensor& sensor, Registers& registers, Reported reported);

  // Brings everything up to the present, but for what happens at this very moment: that waits for happen().
  // Comes before every change of the board or the sensor.
  void settle();

  // The first thing that is due happens.
  void happen();

  std::optional<Microseconds> nextDue();

  // Takes a request. With a status of its own it carries that one in the end.
  void add(Wait kind, RequestPointer request, std::optional<std::uint32_t> status);

  // Whether a capture moves frames.
  bool isCapturing() const { return transfer_.isActive(); }

  // Ends the capture and the measurements that run; ends the intervals that are armed.
  void stop();
  void cancelIntervals();

  // The board's file is closed, or the board is gone: everything ends.
  void endAll(std::uint32_t status, std::uint32_t outcome);

  // Keeps requests of the kind pending although they are over.
  void hold(Wait kind, bool held);

  // Ends the oldest request of the kind whatever it waits for; false when there is none.
  bool complete(Wait kind, std::uint32_t status);

  unsigned pending(Wait kind) const;
  unsigned pending() const { return static_cast<unsigned>(waiting_.size()); }

  // The status of captures that a stop has ended; otherwise 0 for multi-shot captures, 0x1000 for others.
  void setStopStatus(std::optional<std::uint32_t> status) { stopStatus_ = status; }

 private:
  struct Waiting {
    Wait kind;
    RequestPointer request;
    std::optional<std::uint32_t> ownStatus;
    Microseconds since = 0;            // measurement
    std::uint64_t from = 0;            // interval: the stream's position when it was armed
    std::optional<std::uint32_t> end;  // the status with which it is over
    bool isTold = false;               // interval: it is over, and will be told once more
  };
  using Entry = std::list<Waiting>::iterator;

  struct Event {
    Microseconds at;
    Entry entry;
    std::uint32_t status;
  };

  std::optional<Event> nextEvent();
  std::optional<Event> eventOf(Entry entry);
  std::optional<Microseconds> intervalEnd(const Waiting& interval) const;
  std::optional<Microseconds> measurementEnd(Waiting& measurement);
  void handle(const Event& event);
  void begin(Waiting& waiting);
  void fillMeasurement(Waiting& measurement);
  void end(Entry entry, std::uint32_t status);
  void finish(Entry entry, std::uint32_t outcome);
  void tellAgain(Waiting waiting);
  bool isHeld(Wait kind) const { return held_.contains(kind); }

  Clock& clock_;
  const Sensor& sensor_;
  Registers& registers_;
  Reported reported_;
  Transfer transfer_;
  std::list<Waiting> waiting_;
  std::set<Wait> held_;
  std::optional<std::uint32_t> stopStatus_;
};

}  // namespace sim::pcie
