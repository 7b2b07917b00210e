// Requests that hang in the driver: their threads wait here, outside of every lock of the simulation.
#pragma once

#include <cstdint>
#include <mutex>

#include "sim/base/Timeline.h"

namespace sim {

class HeldRequests {
 public:
  explicit HeldRequests(Timeline& timeline) : timeline_(timeline) {}

  // Waits until so many requests are held.
  void await(unsigned count = 1);

  unsigned count() const;

  // Lets those go on that are held now.
  void release();

  // For the board, on the thread of the request: returns when the request is released.
  void hold();

 private:
  Timeline& timeline_;
  mutable std::mutex mutex_;
  unsigned count_ = 0;
  std::uint64_t releases_ = 0;
};

}  // namespace sim
