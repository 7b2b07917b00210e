/* A program for Microsoft's linker and C interface, without any run-time library: entry point and
 * everything else are its own. */
#include "checks.h"

__declspec(dllimport) void __stdcall ExitProcess(unsigned code);

int _fltused; /* the compiler asks for it where doubles are used */

void entry(void) { ExitProcess((unsigned)failedCheck()); }
