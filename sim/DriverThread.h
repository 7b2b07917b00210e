// The thread on which simulated drivers complete what a program waits for. It moves the machine's clock to
// the next moment at which something happens, so that no real time passes.
#pragma once

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "Clock.h"

namespace sim {

class DriverThread {
 public:
  using RealTime = std::chrono::steady_clock::time_point;

  // A board. Its operations may be called on any thread.
  class Source {
   public:
    virtual ~Source() = default;

    // Requests are pending.
    virtual bool isWaiting() = 0;

    // When the next thing happens; nothing when nothing will without outside help.
    virtual std::optional<Microseconds> nextDue() = 0;

    // The time stands still until the program has answered what it was told, at most until this moment.
    virtual std::optional<RealTime> awaitsHostUntil() = 0;

    // Brings the board up to the present.
    virtual void settle() = 0;
  };

  explicit DriverThread(Clock& clock) : clock_(clock) {}

  // Ends the thread.
  ~DriverThread();
  DriverThread(const DriverThread&) = delete;
  DriverThread& operator=(const DriverThread&) = delete;

  // Sources live as long as the thread.
  void add(Source& source);

  // Looks after the sources from now on; the thread is made when this is first called.
  void serve();

  // Something has changed.
  void wake();

  // Waits for an event that a pending request sets, as WaitForSingleObject does, but in simulated time.
  // `waits` is called when the time has begun to count.
  DWORD waitWithin(HANDLE event, DWORD milliseconds, const std::function<void()>& waits);

 private:
  struct Alarm {
    Microseconds at;
    HANDLE event;
  };
  struct Turn {
    std::uint64_t changes;
    RealTime until;
  };
  struct Next {
    Microseconds at;
    Source* source = nullptr;  // null: an alarm
  };

  void run();
  void step(std::uint64_t seen, const std::vector<Source*>& sources);
  std::optional<Next> findNext(const std::vector<Source*>& sources);
  std::optional<RealTime> hostsTurn(std::uint64_t seen);
  void waitForChange(std::uint64_t seen, std::optional<RealTime> until);
  void ring(Microseconds now);

  Clock& clock_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Source*> sources_;
  std::list<Alarm> alarms_;
  std::optional<Turn> alarm_;
  std::uint64_t changes_ = 0;
  bool ends_ = false;
  std::thread thread_;
};

}  // namespace sim
