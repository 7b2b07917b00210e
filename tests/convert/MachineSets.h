// The instruction sets of the library's table that this machine has, asked for apart from the library, and
// the one that is under test.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace kvexa::test {

struct MachineSet {
  const char* name;
  bool isThere;
  std::string_view needs;  // the features, each in quotation marks
};

inline const std::vector<MachineSet>& machineSets() {
  __builtin_cpu_init();
  static const std::vector<MachineSet> sets = {
      {"scalar", true, ""},
#define NEEDS(feature) (__builtin_cpu_supports(feature) != 0)
#define INSTRUCTION_SET(name, vocabulary, needs) {#name, (needs), #needs},
#include "src/convert/vector/sets.inc"
#undef INSTRUCTION_SET
#undef NEEDS
  };
  return sets;
}

inline bool machineHas(const std::string& name) {
  for (const MachineSet& set : machineSets()) {
    if (name == set.name) return set.isThere;
  }
  return false;
}

// Whether a set is made of a feature, or of one whose name begins so.
inline bool setNeeds(const std::string& name, const std::string& feature) {
  for (const MachineSet& set : machineSets()) {
    if (name == set.name) return set.needs.find('"' + feature) != std::string_view::npos;
  }
  return false;
}

// What the tests of this process are about; the widest set when none is named.
inline std::string setUnderTest() {
  if (const char* asked = std::getenv("KVEXA_INSTRUCTION_SET"); asked != nullptr) return asked;
  std::string widest;
  for (const MachineSet& set : machineSets()) {
    if (set.isThere) widest = set.name;
  }
  return widest;
}

}  // namespace kvexa::test
