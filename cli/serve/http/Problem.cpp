#include "cli/serve/http/Problem.h"

#include <kvexa.hpp>

#include <array>
#include <new>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

namespace cli::serve {

namespace {

struct Reason {
  unsigned status;
  const char* text;
};

constexpr std::array<Reason, 25> reasons{{{100, "Continue"},
                                          {101, "Switching Protocols"},
                                          {200, "OK"},
                                          {201, "Created"},
                                          {204, "No Content"},
                                          {400, "Bad Request"},
                                          {401, "Unauthorized"},
                                          {403, "Forbidden"},
                                          {404, "Not Found"},
                                          {405, "Method Not Allowed"},
                                          {408, "Request Timeout"},
                                          {409, "Conflict"},
                                          {411, "Length Required"},
                                          {413, "Content Too Large"},
                                          {415, "Unsupported Media Type"},
                                          {417, "Expectation Failed"},
                                          {421, "Misdirected Request"},
                                          {422, "Unprocessable Content"},
                                          {426, "Upgrade Required"},
                                          {431, "Request Header Fields Too Large"},
                                          {500, "Internal Server Error"},
                                          {502, "Bad Gateway"},
                                          {503, "Service Unavailable"},
                                          {504, "Gateway Timeout"},
                                          {507, "Insufficient Storage"}}};

unsigned statusOfResult(std::int32_t result) {
  switch (result) {
    case KVEXA_BAD_ARGUMENT:
    case KVEXA_NOT_ON_PCIE:
    case KVEXA_NOT_ON_USB: return 422;
    case KVEXA_NO_ACKNOWLEDGE: return 409;
    case KVEXA_TIMED_OUT: return 504;
    case KVEXA_OPEN_FAILED:
    case KVEXA_NO_DEVICE_PATH: return 503;
    default: return 502;
  }
}

unsigned statusOf(ExitCode code) {
  switch (code) {
    case ExitCode::usage:
    case ExitCode::file: return 422;
    case ExitCode::noBoard: return 503;
    case ExitCode::timeLimit: return 504;
    default: return 502;
  }
}

const char* typeOf(ExitCode code) {
  switch (code) {
    case ExitCode::usage: return "bad-value";
    case ExitCode::file: return "bad-file";
    case ExitCode::noBoard: return "no-board";
    case ExitCode::timeLimit: return "time-limit";
    default: return "board-refused";
  }
}

Problem ofCall(const CallFailure& failure) {
  const bool isMissing = failure.exitCode == ExitCode::noBoard;
  Problem problem(statusOfResult(failure.result), isMissing ? "no-board" : "board-refused",
                  toUtf8(failure.what()));
  problem.call = failure.call;
  problem.code = failure.result;
  const kvexa::ResultText* const known = kvexa::findResult(failure.result);
  problem.name = known == nullptr ? nameOf(failure.exitCode) : known->name;
  problem.advice = toUtf8(failure.advice);
  return problem;
}

Problem ofFailure(const Failure& failure) {
  Problem problem(statusOf(failure.exitCode), typeOf(failure.exitCode), toUtf8(failure.what()));
  problem.name = nameOf(failure.exitCode);
  problem.advice = toUtf8(failure.advice);
  return problem;
}

}  // namespace

Problem::Problem(unsigned httpStatus, std::string kind, std::string sentence, std::string wrongField)
    : std::runtime_error(sentence),
      status(httpStatus),
      type(std::move(kind)),
      detail(std::move(sentence)),
      field(std::move(wrongField)) {}

Problem problemOf(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const Problem& problem) {
    return problem;
  } catch (const CallFailure& call) {
    return ofCall(call);
  } catch (const Failure& other) {
    return ofFailure(other);
  } catch (const std::bad_alloc&) {
    return {507, "no-memory", "there is not enough memory"};
  } catch (const std::exception& error) {
    return {500, "failure", toUtf8(error.what())};
  }
}

Json toJson(const Problem& problem) {
  Json json{{"type", problem.type},
            {"title", reasonOf(problem.status)},
            {"status", problem.status},
            {"detail", problem.detail}};
  if (!problem.field.empty()) json["field"] = problem.field;
  if (!problem.call.empty()) json["call"] = problem.call;
  if (problem.code) json["code"] = *problem.code;
  if (!problem.name.empty()) json["name"] = problem.name;
  if (!problem.advice.empty()) json["advice"] = problem.advice;
  return json;
}

const char* reasonOf(unsigned status) {
  for (const Reason& each : reasons) {
    if (each.status == status) return each.text;
  }
  return "Unknown";
}

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace cli::serve
