#include "sim/base/Loans.h"

#include <algorithm>
#include <cstdint>

namespace sim {

namespace {

bool overlap(const void* a, std::size_t aBytes, const void* b, std::size_t bBytes) {
  const auto aStart = reinterpret_cast<std::uintptr_t>(a);
  const auto bStart = reinterpret_cast<std::uintptr_t>(b);
  return aStart < bStart + bBytes && bStart < aStart + aBytes;
}

}  // namespace

Loans::Ticket Loans::take(const Loan& loan) {
  const std::lock_guard lock(mutex_);
  ++count_;
  return loans_.insert(loans_.end(), loan);
}

void Loans::giveBack(Ticket ticket) {
  const std::lock_guard lock(mutex_);
  loans_.erase(ticket);
  --count_;
}

bool Loans::holdsEvent(HANDLE event) const {
  if (!any() || event == nullptr) return false;
  const std::lock_guard lock(mutex_);
  return std::ranges::any_of(loans_, [event](const Loan& loan) { return loan.event == event; });
}

void Loans::noteFree(const void* block, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  for (Loan& loan : loans_) {
    const bool freed = overlap(block, bytes, loan.record, loan.bytes) ||
                       overlap(block, bytes, loan.overlapped, sizeof(OVERLAPPED));
    if (!freed || loan.lost || loan.settled) continue;
    loan.lost = true;
    ++lost_;
  }
}

unsigned Loans::lostLoans() const {
  const std::lock_guard lock(mutex_);
  return lost_;
}

}  // namespace sim
