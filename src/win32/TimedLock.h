// A lock that is waited for up to a limit, and goes to those who wait in the order in which they came.
#pragma once

#include <windows.h>

#include <mutex>

#include "win32/Lock.h"
#include "win32/WaitQueue.h"

namespace kvexa::win32 {

class TimedLock {
 public:
  // False when the owner did not unlock within the time. Then no other thread waits for that owner either: a
  // thread that hangs costs the limit once.
  bool tryLock(DWORD milliseconds) {
    const std::lock_guard guard(lock_);
    if (!isLocked_) return isLocked_ = true;
    if (isLate_) return false;
    if (queue_.wait(lock_, this, milliseconds)) return true;
    isLate_ = isLocked_;
    return false;
  }

  void unlock() {
    const std::lock_guard guard(lock_);
    isLate_ = false;
    isLocked_ = queue_.wakeFirst();
  }

 private:
  Lock lock_;
  WaitQueue queue_;
  bool isLocked_ = false;
  bool isLate_ = false;
};

}  // namespace kvexa::win32
