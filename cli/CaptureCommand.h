// kvexa capture: one frame from the sensor to a picture on disk; prints every step.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

struct CaptureOptions {
  std::uint32_t boardType = 0;
  std::uint32_t boardIndex = 0;
  std::string registers;   // register-setting file
  std::string parameters;  // capture-parameter file
  std::uint32_t pattern = 0;
  std::uint32_t timeout = 1000;  // milliseconds
  std::string folder = ".";
};

void capture(const CaptureOptions& options);

}  // namespace cli
