// The time of the simulated boards. Simulated time passes only when somebody waits: Sleep in the
// library, and transfers of frames that are still being exposed. Real time passes by itself.
#pragma once

#include <cstdint>
#include <mutex>

namespace sim {

using Microseconds = std::uint64_t;

enum class Pace { simulated, real };

class Clock {
 public:
  // Starts at 0.
  explicit Clock(Pace pace = Pace::simulated);
  ~Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  bool isReal() const { return pace_ == Pace::real; }

  Microseconds now() const;

  // These move simulated time; real time moves by itself.
  void advance(Microseconds duration);

  // A moment that is already past changes nothing.
  void advanceTo(Microseconds moment);

 private:
  const Pace pace_;
  std::int64_t start_ = 0;      // ticks of the performance counter
  std::int64_t frequency_ = 1;  // ticks a second
  mutable std::mutex mutex_;
  Microseconds now_ = 0;  // simulated
};

}  // namespace sim
