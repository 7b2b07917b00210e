// The time of the simulated boards. It passes only when somebody waits: Sleep in the
// library, and transfers of frames that are still being exposed.
#pragma once

#include <cstdint>
#include <mutex>

namespace sim {

using Microseconds = std::uint64_t;

class Clock {
 public:
  Microseconds now() const;
  void advance(Microseconds duration);

  // Moves the time forward to `moment`; a moment that is already past changes nothing.
  void advanceTo(Microseconds moment);

 private:
  mutable std::mutex mutex_;
  Microseconds now_ = 0;
};

}  // namespace sim
