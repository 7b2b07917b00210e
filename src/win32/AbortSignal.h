// The abort of captures: one signal for the whole process.
#pragma once

#include <atomic>
#include <cstdint>

namespace kvexa::win32 {

// A capture takes a watch when it starts; from the next abort on, the watch tells it to stop. A capture
// that starts later does not revive an earlier one that has not seen its abort yet.
class AbortWatch {
 public:
  AbortWatch() : seen_(count_.load()) {}

  bool isRaised() const { return count_.load() != seen_; }

  // Stops every capture that runs.
  static void raise() { count_.fetch_add(1); }

 private:
  inline static std::atomic<std::uint32_t> count_{0};

  std::uint32_t seen_;
};

}  // namespace kvexa::win32
