#include "sim/record/replay/Repetition.h"

#include <algorithm>

namespace sim::record {

namespace {

constexpr std::size_t longestLoop = 16;

using Calls = std::span<const AskedCall>;

bool alike(Calls first, Calls second) {
  return std::ranges::equal(first, second, {}, &AskedCall::key, &AskedCall::key);
}

// So many calls before `next` were repeated, before or behind it; 0 for none.
std::size_t loopLength(Calls calls, std::size_t next) {
  for (std::size_t length = 1; length <= std::min(longestLoop, next); ++length) {
    const Calls last = calls.subspan(next - length, length);
    if (next >= 2 * length && alike(last, calls.subspan(next - 2 * length, length))) return length;
    if (next + length <= calls.size() && alike(last, calls.subspan(next, length))) return length;
  }
  return 0;
}

bool repeats(Calls calls, std::size_t call, std::size_t length) {
  return calls[call].isOfFrames || (length != 0 && calls[call].key == calls[call - length].key);
}

}  // namespace

std::optional<std::size_t> findBehindLoop(Calls calls, std::size_t next, std::uint32_t key) {
  const std::size_t length = loopLength(calls, next);
  for (std::size_t call = next; call < calls.size(); ++call) {
    if (calls[call].key == key) return call;
    if (!repeats(calls, call, length)) break;
  }
  return std::nullopt;
}

std::optional<std::size_t> findInLoop(Calls calls, std::size_t next, std::uint32_t key) {
  const std::size_t length = loopLength(calls, next);
  for (std::size_t back = 1; back <= std::min(longestLoop, next); ++back) {
    const AskedCall& call = calls[next - back];
    if (back > length && !call.isOfFrames) break;
    if (call.key == key) return next - back;
  }
  return std::nullopt;
}

bool onlyRepeats(Calls calls, std::size_t next) {
  const std::size_t length = loopLength(calls, next);
  for (std::size_t call = next; call < calls.size(); ++call) {
    if (!repeats(calls, call, length)) return false;
  }
  return true;
}

}  // namespace sim::record
