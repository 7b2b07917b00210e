// Load and unload.
#include <windows.h>

#include "pcie/BoardAccess.h"

// The name is Windows' own.
BOOL WINAPI DllMain(  // NOLINT(readability-identifier-naming)
    HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  if (reason == DLL_PROCESS_ATTACH) {
    // The compiler's start-up code may make this fail; then the notifications come and are ignored.
    DisableThreadLibraryCalls(module);
    kvexa::pcie::createBoardAccess();
  } else if (reason == DLL_PROCESS_DETACH) {
    kvexa::pcie::closeBoardAccess();
  }
  return TRUE;
}
