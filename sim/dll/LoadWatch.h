// Sees every copy of the library that is loaded, before its first function runs, and attaches it.
#pragma once

#include <windows.h>

namespace sim {

// From now on, and those that are loaded already. A second call changes nothing.
void watchLoads();

// For a library whose imports the loader fills in only after it has told of the load: attaches it when its
// entry point is called.
void attachAtEntry(HMODULE module);

}  // namespace sim
