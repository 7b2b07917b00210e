// Requests that hang in the driver: their threads wait here, outside of every lock of the simulation.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace sim {

class HeldRequests {
 public:
  // Waits until so many requests are held.
  void await(unsigned count = 1);

  unsigned count() const;

  // Lets those go on that are held now.
  void release();

  // For the board, on the thread of the request: comes back when the request is released.
  void hold();

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  unsigned count_ = 0;
  std::uint64_t releases_ = 0;
};

}  // namespace sim
