// What the DLL executes: every instruction of a call, one at a time, classified by its encoding. So tests see
// which instruction set is in effect, and which way a conversion takes, without any help by the DLL.
#pragma once

#include <cstddef>
#include <functional>

namespace kvexa::test {

struct InstructionCounts {
  std::size_t all = 0;
  std::size_t ofSse41 = 0;  // SSSE3 included
  std::size_t ofAvx = 0;
  std::size_t ofAvx512 = 0;
  // Conversions of numbers to integers by truncation.
  std::size_t truncatedSingles = 0;  // whole vectors: what estimates end with
  std::size_t truncatedDoubles = 0;  // whole vectors: what exact sums end with
  std::size_t truncatedOnes = 0;     // one double: what the plain code ends with
};

// Those of the DLL alone. The upper parts of wide registers may get lost on the way, so what the call
// computes is worth nothing.
InstructionCounts countInstructions(const std::function<void()>& call);

}  // namespace kvexa::test
