#include "sim/base/HeldRequests.h"

namespace sim {

void HeldRequests::await(unsigned count) {
  timeline_.until([&] { return this->count() >= count; });
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
  timeline_.noteChange(nullptr);
}

void HeldRequests::hold() {
  std::uint64_t before = 0;
  {
    const std::lock_guard lock(mutex_);
    before = releases_;
    ++count_;
  }
  timeline_.noteChange(nullptr);
  timeline_.until([&] {
    const std::lock_guard lock(mutex_);
    return releases_ != before;
  });
}

}  // namespace sim
