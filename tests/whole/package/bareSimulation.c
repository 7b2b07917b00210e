/* The same for Microsoft's linker and C interface, without any run-time library. */
#include "simulationChecks.h"

__declspec(dllimport) void __stdcall ExitProcess(unsigned code);

void entry(void) { ExitProcess((unsigned)failedSimulationCheck()); }
