#include "sim/base/Clock.h"

namespace sim {

Microseconds Clock::now() const {
  const std::lock_guard lock(mutex_);
  return now_;
}

void Clock::advance(Microseconds duration) {
  const std::lock_guard lock(mutex_);
  now_ += duration;
}

void Clock::advanceTo(Microseconds moment) {
  const std::lock_guard lock(mutex_);
  if (moment > now_) now_ = moment;
}

}  // namespace sim
