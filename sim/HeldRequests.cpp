#include "HeldRequests.h"

namespace sim {

void HeldRequests::await(unsigned count) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return count_ >= count; });
}

unsigned HeldRequests::count() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

void HeldRequests::release() {
  {
    const std::lock_guard lock(mutex_);
    ++releases_;
    count_ = 0;
  }
  changed_.notify_all();
}

void HeldRequests::hold() {
  std::unique_lock lock(mutex_);
  const std::uint64_t before = releases_;
  ++count_;
  changed_.notify_all();
  changed_.wait(lock, [&] { return releases_ != before; });
}

}  // namespace sim
