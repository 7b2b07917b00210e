// What the parts of the program share that kvexa run starts in tests.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "kvexa.h"

namespace client {

// Ends the program with a sentence and 1, unless it holds.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "not so: %s\n", what);
  std::fflush(stderr);
  std::_Exit(1);
}

// A library that is loaded by its path and freed only by hand.
struct Library {
  explicit Library(const std::wstring& path) : module(LoadLibraryW(path.c_str())) {
    require(module != nullptr, "the library loads");
  }

  template <class Function>
  Function* function(const char* name) const {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }

  // "2 1": USB and PCIe boards.
  std::string boards() const {
    std::uint32_t usb = 0;
    std::uint32_t pcie = 0;
    function<decltype(kVexaDevNum)>("_kVexaDevNum@8")(&usb, &pcie);
    return std::to_string(usb) + " " + std::to_string(pcie);
  }

  HMODULE module;
};

// KVEXA_LIB.dll in the folder of this program.
std::wstring libraryBeside();

using Arguments = std::vector<std::wstring>;

// Each is one thing that the program does; its result is the exit code.
int endInACapture(const Arguments& arguments);
int startChild(const Arguments& arguments);
int tellExitCode(const Arguments& arguments);

}  // namespace client
