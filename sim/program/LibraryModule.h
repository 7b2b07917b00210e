// Looks into the files of modules as they lie in memory, without the loader.
#pragma once

#include <windows.h>

#include <cstdint>

namespace sim {

// Whether the loaded module is a copy of the library, whatever its file is called.
bool isLibrary(HMODULE module);

// Whether the loader has not put the addresses into the module's import table yet.
bool hasUnresolvedImports(HMODULE module);

std::uint8_t* entryPoint(HMODULE module);

}  // namespace sim
