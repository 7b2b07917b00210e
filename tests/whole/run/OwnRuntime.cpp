// A program with the compiler's run-time library as a DLL: exceptions inside kvexa_sim.dll and inside the
// program stay apart.
#include <windows.h>

#include <cstdio>
#include <stdexcept>

#include "kvexa.h"
#include "kvexa_sim.h"

namespace {

template <class Function>
Function* find(HMODULE module, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

bool catchesItsOwn() {
  try {
    throw std::runtime_error("own");
  } catch (const std::exception&) {
    return true;
  }
}

int run() {
  const HMODULE simulation = LoadLibraryA("kvexa_sim.dll");
  const HMODULE library = LoadLibraryA("KVEXA_LIB.dll");
  if (GetModuleHandleA("libgcc_s_dw2-1.dll") == nullptr || simulation == nullptr || library == nullptr)
    return 3;
  const auto stop = find<decltype(kvexaSimStop)>(simulation, "kvexaSimStop");
  const auto start = find<decltype(kvexaSimStartText)>(simulation, "kvexaSimStartText");
  stop();
  for (int i = 0; i < 3; ++i) {
    if (!catchesItsOwn()) return 4;
    if (start("[[board]]\ntype = 3\n") != KVEXA_SIM_BAD_DESCRIPTION) return 5;
  }
  if (start("[[board]]\ntype = \"usb\"\n") != KVEXA_SIM_OK) return 6;
  std::uint32_t usb = 0;
  std::uint32_t pcie = 0;
  find<decltype(kVexaDevNum)>(library, "_kVexaDevNum@8")(&usb, &pcie);
  std::printf("%u %u\n", static_cast<unsigned>(usb), static_cast<unsigned>(pcie));
  return 0;
}

}  // namespace

int main() { return run(); }
