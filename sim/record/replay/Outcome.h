// What became of a lenient replay, for the program that has started it.
#pragma once

#include <array>
#include <cstdint>

#include "sim/record/format/Line.h"

namespace sim::record {

// Plain data in memory that both programs have, so that it is there however the replayed one ends.
struct Outcome {
  std::uint32_t unanswered = 0;  // calls that nothing in the recording is like
  std::uint32_t failure = 0;     // of the last failed request: what it was and how it failed; 0 for none
  std::array<char, 200> text{};  // the same for people
};

// Takes in an answer.
void note(Outcome& outcome, const Line& answer);

}  // namespace sim::record
