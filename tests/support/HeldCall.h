// A call of the library whose k-th request to a board hangs in the driver.
#pragma once

#include <atomic>
#include <functional>
#include <optional>

#include "sim/base/Faults.h"
#include "tests/support/SimulatedTime.h"

namespace kvexa::test {

class HeldCall {
 public:
  using Call = std::function<double()>;

  // Comes back when the request hangs.
  HeldCall(sim::Faults& faults, unsigned k, const Call& call) : faults_(faults) {
    faults.at(k, {sim::Fault::Kind::hold});
    thread_.emplace([this, call] {
      result_ = call();
      isOver_ = true;
    });
    faults.held().await();
  }

  ~HeldCall() { result(); }
  HeldCall(const HeldCall&) = delete;
  HeldCall& operator=(const HeldCall&) = delete;

  bool isOver() const { return isOver_; }

  // Lets the request go on, waits for the call and gives its result.
  double result() {
    faults_.held().release();
    thread_->join();
    return result_;
  }

 private:
  sim::Faults& faults_;
  std::atomic<bool> isOver_{false};
  double result_ = 0;
  std::optional<Thread> thread_;
};

}  // namespace kvexa::test
