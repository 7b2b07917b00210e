#include "convert/vector/InstructionSet.h"

#include <cstdlib>
#include <cstring>

namespace kvexa::convert {

constinit const RowLoops scalarRowLoops{};

namespace {

struct Entry {
  const char* name;
  const RowLoops* loops;
};

constexpr Entry entries[] = {
    {"scalar", &scalarRowLoops},
#define INSTRUCTION_SET(name, vocabulary, needs) {#name, &name##RowLoops},
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
};

const Entry& entryOf(InstructionSet set) { return entries[static_cast<std::size_t>(set)]; }

// The compiler's own check also asks whether the operating system saves the wide registers.
bool isSupported(InstructionSet set) {
  __builtin_cpu_init();
  switch (set) {
    case InstructionSet::scalar: return true;
#define NEEDS(feature) (__builtin_cpu_supports(feature) != 0)
#define INSTRUCTION_SET(name, vocabulary, needs) \
  case InstructionSet::name:                     \
    return (needs);
#include "convert/vector/sets.inc"
#undef INSTRUCTION_SET
#undef NEEDS
  }
  return false;
}

InstructionSet choose() {
  InstructionSet widest = InstructionSet::scalar;
  const char* wanted = std::getenv("KVEXA_INSTRUCTION_SET");
  for (const InstructionSet set : allInstructionSets) {
    if (!isSupported(set)) continue;
    widest = set;
    if (wanted != nullptr && std::strcmp(wanted, nameOf(set)) == 0) return set;
  }
  return widest;
}

const InstructionSet chosen = choose();

}  // namespace

const char* nameOf(InstructionSet set) noexcept { return entryOf(set).name; }

const RowLoops* rowLoopsOf(InstructionSet set) noexcept {
  return isSupported(set) ? entryOf(set).loops : nullptr;
}

InstructionSet chosenInstructionSet() noexcept { return chosen; }
const RowLoops& chosenRowLoops() noexcept { return *entryOf(chosen).loops; }

}  // namespace kvexa::convert
