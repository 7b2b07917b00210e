// Lets the threads of a replayed program go on in the order of the recording.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "sim/base/NativeLock.h"

namespace sim::record {

// Begins and ends are numbered from 1. The order helps the program to do the same again; it is no promise: a
// thread that waits while nothing happens for a time goes on, so nobody waits for ever. What it has waited
// for is not waited for again.
class Turns {
 public:
  Turns(std::uint64_t last, DWORD patience)
      : patience_(patience), done_(static_cast<std::size_t>(last) + 1, true) {}

  // Before the first wait: something that will happen.
  void expect(std::uint64_t number) { done_[static_cast<std::size_t>(number)] = false; }

  void done(std::uint64_t number);

  // Waits until everything before the number has happened.
  void await(std::uint64_t number);

  // The same, but false when the count has left the given one first; whoever changes it calls look()
  // afterwards.
  bool awaitUnless(std::uint64_t number, const std::atomic<std::uint32_t>& count, std::uint32_t seen);
  void look();

  // Waits until something happens, or nothing does for a sixth of the time: the one who is to do something
  // may be waiting for the caller.
  void awaitChange();

  // A call takes the time that it took: something happens, however long that is.
  void beginCall();
  void endCall();

 private:
  bool allBefore(std::uint64_t number);
  void giveUpBefore(std::uint64_t number);
  void change();

  const DWORD patience_;  // milliseconds
  NativeLock lock_;
  NativeCondition changed_;
  std::vector<bool> done_;
  std::uint64_t first_ = 1;  // everything before has happened
  std::uint64_t changes_ = 0;
  unsigned calls_ = 0;  // that take their time
  std::vector<std::uint64_t> waiting_;
};

}  // namespace sim::record
