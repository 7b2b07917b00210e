#include "sim/base/Clock.h"

#include <windows.h>
// After windows.h.
#include <timeapi.h>

#include <algorithm>

namespace sim {

namespace {

// Waits of this process are exact to a millisecond, instead of Windows' usual 16, while a real clock lives:
// frames come every few milliseconds.
constexpr UINT finestWait = 1;  // milliseconds

std::int64_t ticks() {
  LARGE_INTEGER value;
  QueryPerformanceCounter(&value);
  return value.QuadPart;
}

}  // namespace

Clock::Clock(Pace pace) : pace_(pace) {
  if (!isReal()) return;
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  frequency_ = frequency.QuadPart;
  start_ = ticks();
  timeBeginPeriod(finestWait);
}

Clock::~Clock() {
  if (isReal()) timeEndPeriod(finestWait);
}

Microseconds Clock::now() const {
  if (isReal()) {
    constexpr std::int64_t million = 1000000;
    const std::int64_t passed = ticks() - start_;
    // In two parts, so that the product does not overflow after days.
    const std::int64_t whole = passed / frequency_ * million;
    return static_cast<Microseconds>(whole + passed % frequency_ * million / frequency_);
  }
  const std::lock_guard lock(mutex_);
  return now_;
}

void Clock::advance(Microseconds duration) {
  const std::lock_guard lock(mutex_);
  now_ += duration;
}

void Clock::advanceTo(Microseconds moment) {
  const std::lock_guard lock(mutex_);
  now_ = std::max(now_, moment);
}

}  // namespace sim
