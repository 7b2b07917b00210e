// How the self-test waits and reads the time: in the computer's, or in that of simulated boards, which it
// takes part in so that a busy computer changes no finding.
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "sim/base/Timeline.h"

namespace cli::selftest {

class Pace {
 public:
  // Null: the time of the computer.
  explicit Pace(sim::Timeline* timeline);

  // In microseconds, from any moment.
  std::uint64_t now() const;
  void sleep(DWORD milliseconds) const;

  // Whether the object is signalled within the time.
  bool wait(HANDLE object, DWORD milliseconds) const;
  bool isSet(HANDLE event) const;
  void set(HANDLE event) const;

  // A thread that runs beside the check until join.
  class Thread {
   public:
    Thread(const Pace& pace, std::function<void()> run);
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

   private:
    static unsigned __stdcall start(void* run);

    const Pace& pace_;
    std::function<void()> run_;
    HANDLE handle_ = nullptr;
  };

 private:
  sim::Timeline* timeline_;
  std::unique_ptr<sim::Participation> participation_;
};

}  // namespace cli::selftest
