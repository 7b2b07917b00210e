#include "win32/AbortSignal.h"

namespace kvexa::win32 {

void AbortWatch::raise() {
  count_.fetch_add(1);
  // Who comes to wait from now on sees the count.
  const LockGuard guard(Endings::lock_);
  Endings::line_.wakeAll();
}

void Endings::begin() {
  const LockGuard guard(lock_);
  ++count_;
}

void Endings::end() {
  const LockGuard guard(lock_);
  if (--count_ == 0) line_.wakeAll(this);
}

void Endings::await(const AbortWatch& abort, DWORD milliseconds) {
  const LockGuard guard(lock_);
  if (count_ != 0 && !abort.isRaised()) line_.wait(lock_, this, milliseconds);
}

}  // namespace kvexa::win32
