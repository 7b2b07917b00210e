// A lock that its owner may take again. It needs no construction and no destruction, so it serves from
// load to unload.
#pragma once

#include <windows.h>

#include <atomic>
#include <mutex>

namespace kvexa::win32 {

// For std::lock_guard.
class Lock {
 public:
  void lock() {
    const DWORD self = GetCurrentThreadId();
    if (owner_.load(std::memory_order_relaxed) != self) {
      AcquireSRWLockExclusive(&lock_);
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }

  void unlock() {
    if (--depth_ > 0) return;
    owner_.store(0, std::memory_order_relaxed);
    ReleaseSRWLockExclusive(&lock_);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
  std::atomic<DWORD> owner_{0};
  unsigned depth_ = 0;
};

}  // namespace kvexa::win32
