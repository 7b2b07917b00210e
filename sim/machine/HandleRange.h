// Handles that a machine gives out.
#pragma once

#include <cstdint>

namespace sim {

// From the topmost part of the address space, where neither Windows' handles nor its device sets lie. They
// are used again only when all others were.
struct HandleRange {
  std::uintptr_t first;
  std::uintptr_t last;

  bool holds(std::uintptr_t value) const { return value >= first && value <= last; }
};

// A free value above the last one given out; 0 when none is left.
template <class Map>
std::uintptr_t freeHandle(const HandleRange& range, const Map& taken, std::uintptr_t& last) {
  constexpr std::uintptr_t step = 4;
  if (taken.size() > (range.last - range.first) / step) return 0;
  do {
    last = last < range.first || last >= range.last ? range.first : last + step;
  } while (taken.contains(last));
  return last;
}

}  // namespace sim
