// The instruction sets that this machine has, found out apart from the library, and the one that is asked
// for.
#pragma once

#include <cstdlib>
#include <iterator>
#include <string>

namespace kvexa::test {

struct MachineSet {
  const char* name;
  bool isThere;
};

// From the narrowest to the widest.
inline const MachineSet (&machineSets())[5] {
  __builtin_cpu_init();
  static const MachineSet sets[] = {
      {"scalar", true},
      {"sse2", __builtin_cpu_supports("sse2") != 0},
      {"sse41", __builtin_cpu_supports("ssse3") != 0 && __builtin_cpu_supports("sse4.1") != 0},
      {"avx2", __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0},
      {"avx512", __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
                     __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512vl") != 0}};
  return sets;
}

inline bool machineHas(const std::string& name) {
  for (const MachineSet& set : machineSets()) {
    if (name == set.name) return set.isThere;
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
