// Loops in what a thread asks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace sim::record {

// A recorded call of a thread.
struct AskedCall {
  std::uint32_t position = 0;  // among all that is recorded of the thread
  std::uint32_t key = 0;       // alike for calls that ask the same
  bool isOfFrames = false;     // it fetches a frame, which programs do again and again
};

// Threads that are stopped by others go through their loops more or less often in every run. What fetches
// frames is a loop; other calls are one when the same series of them stands there twice. `next` is the call
// that is to come.

// The nearest call with the key, when only repetitions lie before it.
std::optional<std::size_t> findBehindLoop(std::span<const AskedCall> calls, std::size_t next,
                                          std::uint32_t key);

// The latest call with the key in the loop that ends before `next`.
std::optional<std::size_t> findInLoop(std::span<const AskedCall> calls, std::size_t next, std::uint32_t key);

// Whether nothing but repetitions is to come.
bool onlyRepeats(std::span<const AskedCall> calls, std::size_t next);

}  // namespace sim::record
