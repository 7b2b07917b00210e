// kvexa run: any 32-bit program, with simulated boards.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace cli {

struct RunOptions {
  std::string description;  // a file; empty for the boards below
  std::uint32_t usbBoards = 0;
  std::uint32_t pcieBoards = 0;
  std::string scene;
  std::string trace;
  bool simulatedTime = false;
  bool realBoards = false;
  std::string record;
  bool frames = false;
  std::string replay;
  bool lenient = false;
  bool fast = false;
};

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

// Starts the program of this process' own command line after "--", and gives back its exit code when it has
// ended. Throws RunFailure.
std::uint32_t run(const RunOptions& options);

}  // namespace cli
