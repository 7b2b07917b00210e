// The instruction sets that the converters are compiled for, and which of them runs.
#pragma once

#include "convert/vector/RowLoops.h"

namespace kvexa::convert {

enum class InstructionSet {
  scalar,  // the plain code alone
#define INSTRUCTION_SET(name, vocabulary, needs) name,
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
};

constexpr InstructionSet allInstructionSets[] = {
    InstructionSet::scalar,
#define INSTRUCTION_SET(name, vocabulary, needs) InstructionSet::name,
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
};

const char* nameOf(InstructionSet set) noexcept;

// Null when the processor or the operating system does not support the set.
const RowLoops* rowLoopsOf(InstructionSet set) noexcept;

// The widest set of this machine, chosen once when the library is loaded. The environment variable
// KVEXA_INSTRUCTION_SET (a name of sets.inc, or scalar), read at that moment, chooses a narrower one; it is
// meant for tests and measurements, and a name that is unknown or not supported is ignored.
InstructionSet chosenInstructionSet() noexcept;
const RowLoops& chosenRowLoops() noexcept;

}  // namespace kvexa::convert
