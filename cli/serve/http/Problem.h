// What went wrong, as clients are told it: problem details with the members of this interface.
#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>

namespace cli::serve {

using Json = nlohmann::ordered_json;

struct Problem : std::runtime_error {
  Problem(unsigned httpStatus, std::string kind, std::string sentence, std::string wrongField = {});

  unsigned status;
  std::string type;  // one word for programs
  std::string detail;
  std::string field;  // of the request; empty when it is about the whole
  std::string advice;
  std::string call;  // of the library that failed; empty without one
  std::optional<std::int32_t> code;
  std::string name;                                         // of the code, or of the kind of failure
  std::vector<std::pair<std::string, std::string>> fields;  // of the answer's header
};

// The exception in flight as clients are told it.
Problem problemOf(const std::exception_ptr& failure);

Json toJson(const Problem& problem);

// The words for an HTTP status.
const char* reasonOf(unsigned status);

// Compact text; what is not UTF-8 is replaced.
std::string textOf(const Json& json);

}  // namespace cli::serve
