// The boards that a command works with: the real ones, or simulated ones.
#pragma once

#include <cstdint>
#include <string>

#include "sim/attach/Bench.h"

namespace cli {

struct SessionOptions {
  bool simulate = false;
  std::uint32_t boardType = 0;
  std::uint32_t boardCount = 1;  // simulated boards
  std::string scene;             // a picture in front of the simulated camera; empty for the chart
  std::string trace;             // a file for every driver request; empty for none
};

// While it lives, the library's calls to Windows go to the simulated boards, or into the trace.
class Session {
 public:
  // Throws Failure, or another exception with a sentence for people, when a file does not serve.
  explicit Session(const SessionOptions& options);

 private:
  sim::Bench bench_;
};

}  // namespace cli
