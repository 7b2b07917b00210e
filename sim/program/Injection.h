// Brings kvexa_sim.dll into a process that was created suspended and has not run yet.
#pragma once

#include <windows.h>

#include <string>

namespace sim {

enum class Injected {
  done,
  notThirtyTwoBits,  // the process is a 64-bit one: it cannot load the library either
  failed             // GetLastError says why
};

// `library` is the path of kvexa_sim.dll.
Injected inject(HANDLE process, const std::wstring& library);

// For kvexa_sim.dll when it is in: puts the program's own import directory back, so that a program that looks
// at itself finds what its file has.
void restoreImports();

}  // namespace sim
