// The time that the library itself takes: between the moments at which it leaves the driver or a wait and
// those at which it comes back to one.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "sim/attach/ImportTable.h"

namespace bench {

// While it lives, what the library calls to reach its boards and to wait is seen; one at a time.
class LibraryClock {
 public:
  // microseconds: how long each driver request takes beyond the simulation's answer.
  explicit LibraryClock(HMODULE library, unsigned microseconds = 0);
  ~LibraryClock();
  LibraryClock(const LibraryClock&) = delete;
  LibraryClock& operator=(const LibraryClock&) = delete;

  // Around calls of a thread that is not the library's own.
  static void enter();
  static void leave();

  // Of all threads together, or of the library's own workers alone. Seconds.
  static double all();
  static double workers();
  static void reset();

 private:
  std::vector<sim::ImportPatch> patches_;
};

}  // namespace bench
