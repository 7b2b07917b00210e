// kvexa run: any 32-bit program, with simulated boards.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace cli {

// A failure with an exit code of its own.
struct RunFailure : std::runtime_error {
  RunFailure(int code, const std::string& text) : std::runtime_error(text), exitCode(code) {}
  int exitCode;
};

// Exit codes of kvexa run; every other one is the program's.
constexpr int runDeparted = 124;     // the program departs from the recording
constexpr int runFailed = 125;       // the options or the description
constexpr int runCannotStart = 126;  // the program is there, but cannot be started with boards
constexpr int runProgramMissing = 127;

}  // namespace cli
