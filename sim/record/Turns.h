// Lets the threads of a replayed program go on in the order of the recording.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "sim/base/NativeLock.h"

namespace sim::record {

// Begins and ends are numbered from 1. The order helps the program to do the same again; it is no promise: a
// thread that waits while nothing happens for a time goes on, so nobody waits for ever.
class Turns {
 public:
  explicit Turns(std::uint64_t last) : done_(static_cast<std::size_t>(last) + 1, true) {}

  // Before the first wait: something that will happen.
  void expect(std::uint64_t number) { done_[static_cast<std::size_t>(number)] = false; }

  void done(std::uint64_t number);

  // Waits until everything before the number has happened.
  void await(std::uint64_t number);

  // The same, but false when the count has left the given one first; whoever changes it calls look()
  // afterwards.
  bool awaitUnless(std::uint64_t number, const std::atomic<std::uint32_t>& count, std::uint32_t seen);
  void look();

 private:
  bool allBefore(std::uint64_t number);

  NativeLock lock_;
  NativeCondition changed_;
  std::vector<bool> done_;
  std::uint64_t first_ = 1;  // everything before has happened
  std::uint64_t changes_ = 0;
  std::vector<std::uint64_t> waiting_;
};

}  // namespace sim::record
