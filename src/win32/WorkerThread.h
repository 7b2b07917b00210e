// Threads of the library's own.
#pragma once

#include <windows.h>

#include "win32/Handles.h"
#include "win32/Shared.h"

namespace kvexa::win32 {

// What a worker works on. The thread keeps it alive until it has run.
class Work : public Counted {
 public:
  virtual void run() = 0;

  // Whether the worker came to its end within the time.
  bool waitForEnd(DWORD milliseconds) const {
    return WaitForSingleObject(thread_.get(), milliseconds) == WAIT_OBJECT_0;
  }

 private:
  friend bool startWorker(const Shared<Work>& work);

  UniqueObject thread_;
};

// Runs the work on a thread of its own, which keeps the library loaded until it ends. False when the
// thread cannot be made; then the work has not run and nothing is left.
bool startWorker(const Shared<Work>& work);

}  // namespace kvexa::win32
