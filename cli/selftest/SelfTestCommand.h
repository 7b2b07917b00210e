// kvexa selftest: what a board does, checked against what it should do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

struct SelfTestOptions {
  bool simulate = false;  // the usual boards, as many as the index needs
  std::string boards;     // a file that describes simulated boards; empty for none
  std::uint32_t boardType = 0;
  std::uint32_t boardIndex = 0;
  bool readOnly = false;
  std::string registers;
  std::string parameters;
  std::optional<std::uint32_t> scratch;
  bool frameCounter = false;
  bool json = false;
  std::string junit;  // a file; empty for none
};

// Whether every check that was made is good. Throws Failure, or another exception with a sentence for people,
// when nothing can be checked.
bool selfTest(const SelfTestOptions& options);

}  // namespace cli
