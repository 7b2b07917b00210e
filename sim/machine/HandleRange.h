// Handles that a machine gives out.
#pragma once

#include <atomic>
#include <cstdint>

namespace sim {

// From the topmost part of the address space, where neither Windows' handles nor its device sets lie. They
// are used again only when all others were, by whichever machine of the process: a handle that outlives its
// machine must not mean a board of the next one.
struct HandleRange {
  std::uintptr_t first;
  std::uintptr_t last;

  bool holds(std::uintptr_t value) const { return value >= first && value <= last; }
};

// The last value given out, by all machines.
using LastHandle = std::atomic<std::uintptr_t>;

// A free value above the last one given out; 0 when none is left.
template <class Map>
std::uintptr_t freeHandle(const HandleRange& range, const Map& taken, LastHandle& last) {
  constexpr std::uintptr_t step = 4;
  if (taken.size() > (range.last - range.first) / step) return 0;
  std::uintptr_t before = last;
  for (;;) {
    const std::uintptr_t next = before < range.first || before >= range.last ? range.first : before + step;
    if (last.compare_exchange_strong(before, next) && !taken.contains(next)) return next;
    before = last;
  }
}

}  // namespace sim
