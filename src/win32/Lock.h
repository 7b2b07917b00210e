// A lock that its owner may take again. It needs no construction and no destruction, so it serves from
// load to unload.
#pragma once

#include <windows.h>

#include <atomic>

namespace kvexa::win32 {

class Lock {
 public:
  void take() {
    const DWORD self = GetCurrentThreadId();
    if (owner_.load(std::memory_order_relaxed) != self) {
      AcquireSRWLockExclusive(&lock_);
      owner_.store(self, std::memory_order_relaxed);
    }
    ++depth_;
  }

  void give() {
    if (--depth_ > 0) return;
    owner_.store(0, std::memory_order_relaxed);
    ReleaseSRWLockExclusive(&lock_);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
  std::atomic<DWORD> owner_{0};
  unsigned depth_ = 0;
};

class LockGuard {
 public:
  explicit LockGuard(Lock& lock) : lock_(lock) { lock_.take(); }
  ~LockGuard() { lock_.give(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Lock& lock_;
};

}  // namespace kvexa::win32
