// Where the library begins in a process. Nothing is waited for here, and nothing is ever taken down: calls
// come from other threads until the process has ended.
#include <windows.h>

#include <exception>
#include <string>

#include "sim/dll/Children.h"
#include "sim/dll/LastError.h"
#include "sim/dll/Simulation.h"
#include "sim/dll/UnwindTables.h"
#include "sim/program/Injection.h"
#include "sim/program/Variables.h"

namespace sim {

namespace {

// Keeps the library in the process, whoever frees it.
bool pin(HINSTANCE module) {
  HMODULE kept = nullptr;
  return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            reinterpret_cast<LPCWSTR>(module), &kept) != FALSE;
}

// Tells the program that started this one with boards that they are here.
void report() {
  const std::wstring name = variables::readyEvent + std::to_wstring(GetCurrentProcessId());
  const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str());
  if (event == nullptr) return;
  SetEvent(event);
  CloseHandle(event);
}

bool begin(HINSTANCE module) noexcept {
  registerUnwindTables(module);
  try {
    if (!pin(module) || !openLastErrors()) return false;
    restoreImports();
    if (Simulation::isDescribed()) {
      followChildren(module);
      Simulation::instance().startWhenNeeded();
    }
    report();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

}  // namespace sim

// NOLINTNEXTLINE(readability-identifier-naming): Windows' name
BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) return sim::begin(module) ? TRUE : FALSE;
  if (reason == DLL_THREAD_DETACH) {
    sim::forgetLastError();
    sim::Simulation::instance().threadEnds();
  }
  if (reason == DLL_PROCESS_DETACH) sim::Simulation::instance().atExit();
  return TRUE;
}
