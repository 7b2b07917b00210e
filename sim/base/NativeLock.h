// Windows' own light lock and condition variable: waking a thread through them takes microseconds.
#pragma once

#include <windows.h>

#include <mutex>

namespace sim {

// For std::lock_guard and std::unique_lock.
class NativeLock {
 public:
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }

 private:
  friend class NativeCondition;

  SRWLOCK lock_ = SRWLOCK_INIT;
};

class NativeCondition {
 public:
  // False when the real time has passed first.
  bool wait(std::unique_lock<NativeLock>& lock, DWORD milliseconds) {
    return SleepConditionVariableSRW(&condition_, &lock.mutex()->lock_, milliseconds, 0) != FALSE;
  }
  void wake() { WakeAllConditionVariable(&condition_); }

 private:
  CONDITION_VARIABLE condition_ = CONDITION_VARIABLE_INIT;
};

}  // namespace sim
