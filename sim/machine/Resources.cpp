#include "sim/machine/Resources.h"

#include <algorithm>

namespace sim {

void Resources::fail(Kind kind, unsigned k, unsigned count) {
  const std::lock_guard lock(mutex_);
  failures_[kind] = {created_[kind] + std::max(k, 1U), count};
}

unsigned Resources::open(Kind kind) const {
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(kind);
  return found == open_.end() ? 0 : static_cast<unsigned>(found->second.size());
}

bool Resources::isOpen(Kind kind, const void* object) const {
  const std::lock_guard lock(mutex_);
  const auto found = open_.find(kind);
  return found != open_.end() && found->second.contains(object);
}

bool Resources::allows(Kind kind) {
  const std::lock_guard lock(mutex_);
  const std::uint64_t number = ++created_[kind];
  const Failure& failure = failures_[kind];
  return number < failure.first || number - failure.first >= failure.count;
}

void Resources::noteTaken(Kind kind, const void* object) {
  const std::lock_guard lock(mutex_);
  open_[kind].insert(object);
}

void Resources::noteReturned(Kind kind, const void* object) {
  const std::lock_guard lock(mutex_);
  open_[kind].erase(object);
}

}  // namespace sim
