// What ends a command: one sentence for people.
#pragma once

#include <stdexcept>

namespace cli {

struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace cli
