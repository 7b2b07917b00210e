// The timeline with a clock of real time: the time moves by itself, and waits are Windows' own.
#include <algorithm>

#include "sim/base/Timeline.h"

namespace sim {

namespace {

constexpr Microseconds microsecondsPerMillisecond = 1000;

// While somebody waits and nothing is due, boards are asked again after so long: a program may change one
// without the timeline being told.
constexpr DWORD askAgain = 10;

}  // namespace

// Rounded up, so that the moment has come afterwards. Without a limit when there is no moment, and for
// simulated time, which is waited for in other ways.
DWORD Timeline::realMillisecondsUntil(std::optional<Microseconds> moment) const {
  if (!moment || !clock_.isReal()) return INFINITE;
  const Microseconds now = clock_.now();
  if (*moment <= now) return 0;
  const Microseconds milliseconds = (*moment - now - 1) / microsecondsPerMillisecond + 1;
  return milliseconds < INFINITE ? static_cast<DWORD>(milliseconds) : INFINITE - 1;
}

DWORD Timeline::waitInRealTime(std::span<const HANDLE> objects, DWORD milliseconds) const {
  return WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.data(), FALSE, milliseconds);
}

void Timeline::runInRealTime(Lock& lock) {
  while (!ends_) {
    const std::uint64_t seen = changes_;
    const auto source = firstSource(lock);
    if (ends_) return;
    if (source && source->first <= clock_.now()) {
      lock.unlock();
      source->second->happen();
      lock.lock();
      continue;
    }
    if (changes_ != seen) continue;
    idleInRealTime(lock, source ? std::optional(source->first) : std::nullopt);
  }
}

// Until something is due or changes.
void Timeline::idleInRealTime(Lock& lock, std::optional<Microseconds> due) {
  const std::vector<Source*> sources = sources_;
  lock.unlock();
  DWORD limit = realMillisecondsUntil(due);
  for (Source* source : sources) {
    if (source->isWaiting()) limit = std::min(limit, askAgain);
  }
  WaitForSingleObject(driverWake_, limit);
  lock.lock();
}

}  // namespace sim
