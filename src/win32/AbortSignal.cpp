#include "win32/AbortSignal.h"

#include <mutex>

namespace kvexa::win32 {

void AbortWatch::raise() {
  count_.fetch_add(1);
  // Who comes to wait from now on sees the count.
  const std::lock_guard guard(Endings::lock_);
  Endings::queue_.wakeAll();
}

void Endings::begin() {
  const std::lock_guard guard(lock_);
  ++count_;
}

void Endings::end() {
  const std::lock_guard guard(lock_);
  if (--count_ == 0) queue_.wakeAll(this);
}

void Endings::await(const AbortWatch& abort, DWORD milliseconds) {
  const std::lock_guard guard(lock_);
  if (count_ != 0 && !abort.isRaised()) queue_.wait(lock_, this, milliseconds);
}

}  // namespace kvexa::win32
