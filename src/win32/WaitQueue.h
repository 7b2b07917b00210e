// Threads that wait for another thread, each up to a limit; the first that came is woken first.
#pragma once

#include <windows.h>

#include "win32/Handles.h"
#include "win32/Lock.h"

namespace kvexa::win32 {

// Protected by a lock of its owner's, which is held around every call. It needs no construction and no
// destruction, and no kernel object until a thread has to wait.
class WaitQueue {
 public:
  // Waits until `what` is woken, with the lock released meanwhile; the caller has it once.
  // True when woken, false when the time has passed or there is no event to wait with.
  bool wait(Lock& lock, const void* what, DWORD milliseconds) {
    Waiter self(what);
    if (!self.event) return false;
    Waiter** last = &first_;
    while (*last != nullptr) last = &(*last)->next;
    *last = &self;
    lock.unlock();
    WaitForSingleObject(self.event.get(), milliseconds);
    lock.lock();
    if (!self.isWoken) remove(self);
    return self.isWoken;
  }

  // False when no thread waits.
  bool wakeFirst() {
    if (first_ == nullptr) return false;
    wake(*first_);
    return true;
  }

  void wakeAll() {
    while (wakeFirst()) continue;
  }

  // All that wait for this.
  void wakeAll(const void* what) {
    for (Waiter* each = first_; each != nullptr;) {
      Waiter* const next = each->next;
      if (each->what == what) wake(*each);
      each = next;
    }
  }

 private:
  struct Waiter {
    explicit Waiter(const void* awaited)
        : what(awaited), event(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}

    const void* what;
    UniqueObject event;
    Waiter* next = nullptr;
    bool isWoken = false;
  };

  void remove(const Waiter& waiter) {
    Waiter** link = &first_;
    while (*link != &waiter) link = &(*link)->next;
    *link = waiter.next;
  }

  // The waiter is gone as soon as the lock is released.
  void wake(Waiter& waiter) {
    remove(waiter);
    waiter.isWoken = true;
    SetEvent(waiter.event.get());
  }

  Waiter* first_ = nullptr;
};

}  // namespace kvexa::win32
