// kvexa regs: what a register-setting file sends to a USB board, and what looks wrong in it.
#pragma once

#include <string>

namespace cli {

// Throws Failure when the library refuses the file.
void explainRegisters(const std::string& path);

}  // namespace cli
