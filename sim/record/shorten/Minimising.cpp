#include "sim/record/shorten/Minimising.h"

#include <algorithm>
#include <numeric>

namespace sim::record {

namespace {

enum class Sweep : std::uint8_t { nothing, something, stopped };

// Leaves out pieces of the size, the last ones first: what comes later depends on what came before.
Sweep sweep(std::vector<std::uint32_t>& kept, std::size_t size, const Trial& trial) {
  Sweep result = Sweep::nothing;
  for (std::size_t end = kept.size(); end != 0;) {
    const std::size_t begin = end - std::min(end, size);
    std::vector<std::uint32_t> rest(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(begin));
    rest.insert(rest.end(), kept.begin() + static_cast<std::ptrdiff_t>(end), kept.end());
    const Verdict verdict = trial(rest);
    if (verdict == Verdict::stop) return Sweep::stopped;
    if (verdict == Verdict::same) {
      kept = std::move(rest);
      result = Sweep::something;
    }
    end = begin;
  }
  return result;
}

}  // namespace

std::vector<std::uint32_t> minimise(std::size_t count, const Trial& trial) {
  std::vector<std::uint32_t> kept(count);
  std::iota(kept.begin(), kept.end(), 0U);
  for (std::size_t size = (count + 1) / 2; size != 0;) {
    const Sweep result = sweep(kept, size, trial);
    if (result == Sweep::stopped) break;
    // Single ones again until none can go: one that could not be left out may be able to now.
    if (size != 1 || result == Sweep::nothing) size /= 2;
  }
  return kept;
}

}  // namespace sim::record
