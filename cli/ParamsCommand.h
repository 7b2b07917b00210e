// kvexa params: what the library reads from a capture-parameter file, and what looks wrong in it.
#pragma once

#include <string>

namespace cli {

// Throws Failure when the library refuses the file.
void explainParameters(const std::string& path);

}  // namespace cli
