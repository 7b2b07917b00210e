// The instruction sets that the converters are compiled for, and which of them runs.
#pragma once

#include "convert/vector/RowLoops.h"

namespace kvexa::convert {

enum class InstructionSet { scalar, sse2, sse41, avx2, avx512 };

constexpr InstructionSet allInstructionSets[] = {InstructionSet::scalar, InstructionSet::sse2,
                                                 InstructionSet::sse41, InstructionSet::avx2,
                                                 InstructionSet::avx512};

const char* nameOf(InstructionSet set) noexcept;

// Null when the processor or the operating system does not support the set.
const RowLoops* rowLoopsOf(InstructionSet set) noexcept;

// The widest set of this machine, chosen once when the library is loaded. The environment variable
// KVEXA_INSTRUCTION_SET (scalar, sse2, sse41, avx2, avx512), read at that moment, chooses a narrower one; it
// is meant for tests and measurements, and a name that is unknown or not supported is ignored.
InstructionSet chosenInstructionSet() noexcept;
const RowLoops& chosenRowLoops() noexcept;

}  // namespace kvexa::convert
