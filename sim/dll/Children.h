// Gives the boards on to the programs that this one starts.
#pragma once

#include <windows.h>

namespace sim {

// Whether children get boards at all: they do in a program that was started with boards itself.
void followChildren(HMODULE library);

// The module's calls that start a process come here from now on.
void watchChildrenOf(HMODULE module);

}  // namespace sim
