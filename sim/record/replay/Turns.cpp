#include "sim/record/replay/Turns.h"

#include <algorithm>
#include <mutex>

namespace sim::record {

void Turns::change() {
  ++changes_;
  changed_.wake();
}

void Turns::done(std::uint64_t number) {
  const std::lock_guard lock(lock_);
  done_[static_cast<std::size_t>(number)] = true;
  change();
}

bool Turns::allBefore(std::uint64_t number) {
  while (first_ < done_.size() && done_[static_cast<std::size_t>(first_)]) ++first_;
  return first_ >= number;
}

void Turns::giveUpBefore(std::uint64_t number) {
  for (; first_ < number; ++first_) done_[static_cast<std::size_t>(first_)] = true;
}

void Turns::look() {
  const std::lock_guard lock(lock_);
  changed_.wake();
}

void Turns::beginCall() {
  const std::lock_guard lock(lock_);
  ++calls_;
}

void Turns::endCall() {
  const std::lock_guard lock(lock_);
  --calls_;
  change();
}

void Turns::awaitChange() {
  std::unique_lock lock(lock_);
  for (const std::uint64_t before = changes_; changes_ == before;) {
    if (!changed_.wait(lock, patience_ / 6) && calls_ == 0) return;
  }
}

void Turns::await(std::uint64_t number) {
  const std::atomic<std::uint32_t> never = 0;
  awaitUnless(number, never, 0);
}

bool Turns::awaitUnless(std::uint64_t number, const std::atomic<std::uint32_t>& count, std::uint32_t seen) {
  std::unique_lock lock(lock_);
  if (allBefore(number)) return true;
  waiting_.push_back(number);
  while (count.load() == seen && !allBefore(number)) {
    const std::uint64_t before = changes_;
    const bool isStill = !changed_.wait(lock, patience_) && changes_ == before && calls_ == 0;
    // The one whose turn comes first goes on first.
    if (isStill && *std::ranges::min_element(waiting_) == number) giveUpBefore(number);
  }
  waiting_.erase(std::ranges::find(waiting_, number));
  change();
  return count.load() == seen;
}

}  // namespace sim::record
