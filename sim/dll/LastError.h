// The sentence of each thread's last failure.
#pragma once

#include <string>

namespace sim {

// When the library comes and when a thread ends. False when Windows has no place for it.
bool openLastErrors();
void forgetLastError();

void setLastError(const char* text) noexcept;
std::string lastError();

}  // namespace sim
