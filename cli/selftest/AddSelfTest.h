// The options of kvexa selftest.
#pragma once

#include <cstdint>

namespace CLI {
class App;
}

namespace cli {

// The exit code becomes 1 when a check fails.
void addSelfTest(CLI::App& app, std::uint32_t& exitCode);

}  // namespace cli
