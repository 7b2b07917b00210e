// Something that one thread at a time has and hands over to the next, who does not wait for it without limit.
#pragma once

#include <windows.h>

#include "win32/Lock.h"
#include "win32/WaitingLine.h"

namespace kvexa::win32 {

class HandOver {
 public:
  // False when whoever has it did not give it within the time. Then nobody else waits for that one either:
  // a thread that hangs costs the limit once.
  bool take(DWORD milliseconds) {
    const LockGuard guard(lock_);
    if (!isTaken_) return isTaken_ = true;
    if (isLate_) return false;
    if (line_.wait(lock_, this, milliseconds)) return true;
    isLate_ = isTaken_;
    return false;
  }

  void give() {
    const LockGuard guard(lock_);
    isLate_ = false;
    isTaken_ = line_.wakeFirst();
  }

 private:
  Lock lock_;
  WaitingLine line_;
  bool isTaken_ = false;
  bool isLate_ = false;
};

}  // namespace kvexa::win32
