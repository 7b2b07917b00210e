#include "cli/base/Failure.h"

#include <kvexa.hpp>

namespace cli {

namespace {

// What to do about a code, where the tool knows more than the library: names of commands instead of
// functions.
std::string adviceOf(std::int32_t result) {
  switch (result) {
    case KVEXA_OPEN_FAILED:
      return "kvexa list shows the boards that are there; a board opens once, so close the other program "
             "that "
             "has it";
    case KVEXA_REQUEST_FAILED: return "check plug and supply of the board, then try again";
    case KVEXA_TIMED_OUT:
      return "check that the sensor streams (kvexa measure) and that --timeout is longer than a frame period";
    case KVEXA_NO_ACKNOWLEDGE:
      return "power the module up (kvexa power on, or --power), then check slave address and address mode";
    default: break;
  }
  const kvexa::ResultText* const found = kvexa::findResult(result);
  return found == nullptr ? "" : found->advice;
}

}  // namespace

CallFailure::CallFailure(std::string name, std::int32_t code, const std::string& subject)
    : Failure((subject.empty() ? "" : subject + ": ") + name + " returned " + kvexa::describe(code),
              exitCodeOf(code), adviceOf(code)),
      call(std::move(name)),
      result(code) {}

const char* nameOf(ExitCode code) {
  switch (code) {
    case ExitCode::ok: return "ok";
    case ExitCode::outOfLimits: return "out-of-limits";
    case ExitCode::usage: return "usage";
    case ExitCode::noBoard: return "no-board";
    case ExitCode::board: return "board";
    case ExitCode::timeLimit: return "time-limit";
    case ExitCode::file: return "file";
    case ExitCode::interrupted: return "interrupted";
  }
  return "";
}

ExitCode exitCodeOf(std::int32_t result) {
  switch (result) {
    case KVEXA_OPEN_FAILED:
    case KVEXA_NO_DEVICE_PATH: return ExitCode::noBoard;
    case KVEXA_TIMED_OUT: return ExitCode::timeLimit;
    case KVEXA_FILE_NOT_OPENED:
    case KVEXA_BAD_FILE: return ExitCode::file;
    default: return ExitCode::board;
  }
}

std::int32_t require(const std::string& call, std::int32_t result, const std::string& subject) {
  if (result < 0) throw CallFailure(call, result, subject);
  return result;
}

}  // namespace cli
