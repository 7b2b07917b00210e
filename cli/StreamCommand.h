// kvexa stream: frame after frame from a USB board, with a line that shows its progress.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

struct StreamOptions {
  std::uint32_t boardIndex = 0;
  std::string registers;   // register-setting file
  std::string parameters;  // capture-parameter file
  std::uint32_t pattern = 0;
  std::uint32_t timeout = 1000;  // milliseconds for a frame
  std::uint32_t count = 0;       // frames, 0 until Ctrl-C
  std::uint32_t buffers = 8;
  std::string pictures;  // name of the pictures, with a '#'; empty for none
  bool frameCounter = false;
};

void stream(const StreamOptions& options);

}  // namespace cli
