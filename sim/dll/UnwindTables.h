// What exceptions need inside this library, whatever run-time libraries the program brings.
#pragma once

#include <windows.h>

namespace sim {

void registerUnwindTables(HMODULE module);

}  // namespace sim
