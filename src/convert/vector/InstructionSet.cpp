#include "convert/vector/InstructionSet.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

namespace kvexa::convert {

constinit const RowLoops scalarRowLoops{};

namespace {

struct Entry {
  const char* name;
  const RowLoops* loops;
};

constexpr Entry entries[] = {{"scalar", &scalarRowLoops},
                             {"sse2", &sse2RowLoops},
                             {"sse41", &sse41RowLoops},
                             {"avx2", &avx2RowLoops},
                             {"avx512", &avx512RowLoops}};
static_assert(std::size(entries) == std::size(allInstructionSets));

const Entry& entryOf(InstructionSet set) { return entries[static_cast<std::size_t>(set)]; }

// These also ask whether the operating system saves the wide registers.
bool isSupported(InstructionSet set) {
  __builtin_cpu_init();
  switch (set) {
    case InstructionSet::scalar:
    case InstructionSet::sse2: return true;  // everything is compiled for it
    case InstructionSet::sse41: return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1");
    case InstructionSet::avx2: return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    case InstructionSet::avx512:
      return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
             __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
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
