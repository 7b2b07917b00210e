// The abort of captures: one signal for the whole process.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "win32/Lock.h"
#include "win32/WaitQueue.h"

namespace kvexa::win32 {

// A capture takes a watch when it starts; from the next abort on, the watch is raised and the capture stops.
// A capture that starts later does not revive an earlier one that has not seen its abort yet.
class AbortWatch {
 public:
  AbortWatch() : seen_(count_.load()) {}

  bool isRaised() const { return count_.load() != seen_; }

  // Stops every capture that runs, and wakes every start that waits for one to end.
  static void raise();

 private:
  inline static std::atomic<std::uint32_t> count_{0};

  std::uint32_t seen_;
};

// Captures that are coming to their end, and starts that wait for it. It needs no construction and no
// destruction.
class Endings {
 public:
  void begin();
  void end();

  // Waits until none is ending, the time has passed, or an abort has come since the watch was taken.
  void await(const AbortWatch& abort, DWORD milliseconds);

 private:
  friend class AbortWatch;

  // Of all objects of the process, so that an abort finds those who wait. Held for moments only.
  inline static Lock lock_;
  inline static WaitQueue queue_;

  unsigned count_ = 0;
};

}  // namespace kvexa::win32
