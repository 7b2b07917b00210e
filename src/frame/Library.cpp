// Load and unload.
#include <windows.h>

// The name is Windows' own.
BOOL WINAPI DllMain(  // NOLINT(readability-identifier-naming)
    HINSTANCE module, DWORD reason, LPVOID /*reserved*/) {
  // The compiler's start-up code may make this fail; then the notifications come and are ignored.
  if (reason == DLL_PROCESS_ATTACH) DisableThreadLibraryCalls(module);
  return TRUE;
}
