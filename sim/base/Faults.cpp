#include "sim/base/Faults.h"

#include <algorithm>

namespace sim {

void Faults::at(unsigned k, Fault fault) {
  const std::lock_guard lock(mutex_);
  at_[count_ + std::max(k, 1U)] = fault;
}

void Faults::from(unsigned k, Fault fault) {
  const std::lock_guard lock(mutex_);
  from_ = std::pair(count_ + std::max(k, 1U), fault);
}

void Faults::holdAcknowledge(bool hold) {
  const std::lock_guard lock(mutex_);
  acknowledgeHeld_ = hold;
}

bool Faults::acknowledgeIsHeld() const {
  const std::lock_guard lock(mutex_);
  return acknowledgeHeld_;
}

void Faults::holdFrames(bool hold) {
  const std::lock_guard lock(mutex_);
  framesHeld_ = hold;
}

bool Faults::framesAreHeld() const {
  const std::lock_guard lock(mutex_);
  return framesHeld_;
}

void Faults::clear() {
  const std::lock_guard lock(mutex_);
  at_.clear();
  from_.reset();
  acknowledgeHeld_ = false;
  framesHeld_ = false;
}

unsigned Faults::requestCount() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(count_);
}

std::optional<Fault> Faults::nextRequest() {
  const std::lock_guard lock(mutex_);
  ++count_;
  if (auto found = at_.extract(count_)) return found.mapped();
  if (from_ && count_ >= from_->first) return from_->second;
  return std::nullopt;
}

}  // namespace sim
