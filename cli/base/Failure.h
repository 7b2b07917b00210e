// What went wrong, in a sentence for people, with the code that the process ends with.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace cli {

enum class ExitCode {
  ok = 0,
  outOfLimits = 1,  // measured, and not what was wanted
  usage = 2,
  noBoard = 3,
  board = 4,  // the board, the sensor or a transfer
  timeLimit = 5,
  file = 6,
  interrupted = 130
};

struct Failure : std::runtime_error {
  explicit Failure(const std::string& text, ExitCode code = ExitCode::file, std::string what = {})
      : std::runtime_error(text), exitCode(code), advice(std::move(what)) {}

  ExitCode exitCode;
  std::string advice;  // what to do about it; may be empty
};

// A function of the library that returned a negative code.
struct CallFailure : Failure {
  CallFailure(std::string name, std::int32_t code, const std::string& subject = "");

  std::string call;
  std::int32_t result;
};

// A command line that cannot be understood.
struct UsageFailure : Failure {
  explicit UsageFailure(const std::string& text, std::string what = {})
      : Failure(text, ExitCode::usage, std::move(what)) {}
};

// The kind of a failure in one word, as JSON has it where no code of the library is behind it.
const char* nameOf(ExitCode code);

// The exit code of a library function's negative result.
ExitCode exitCodeOf(std::int32_t result);

// Throws CallFailure for a negative result, and gives any other one back.
std::int32_t require(const std::string& call, std::int32_t result, const std::string& subject = "");

}  // namespace cli
