#include "sim/record/Turns.h"

#include <algorithm>
#include <mutex>

namespace sim::record {

namespace {

constexpr DWORD patience = 1000;  // milliseconds

}  // namespace

void Turns::done(std::uint64_t number) {
  const std::lock_guard lock(lock_);
  done_[static_cast<std::size_t>(number)] = true;
  ++changes_;
  changed_.wake();
}

bool Turns::allBefore(std::uint64_t number) {
  while (first_ < done_.size() && done_[static_cast<std::size_t>(first_)]) ++first_;
  return first_ >= number;
}

void Turns::look() {
  const std::lock_guard lock(lock_);
  changed_.wake();
}

void Turns::await(std::uint64_t number) {
  const std::atomic<std::uint32_t> never = 0;
  awaitUnless(number, never, 0);
}

bool Turns::awaitUnless(std::uint64_t number, const std::atomic<std::uint32_t>& count, std::uint32_t seen) {
  std::unique_lock lock(lock_);
  if (allBefore(number)) return true;
  waiting_.push_back(number);
  for (bool isPatient = true; isPatient && count.load() == seen && !allBefore(number);) {
    const std::uint64_t before = changes_;
    changed_.wait(lock, patience);
    // The one whose turn comes first goes on first.
    isPatient = changes_ != before || *std::ranges::min_element(waiting_) != number;
  }
  waiting_.erase(std::ranges::find(waiting_, number));
  ++changes_;
  changed_.wake();
  return count.load() == seen;
}

}  // namespace sim::record
