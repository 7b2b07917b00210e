// The USB requests as the trace shows them; the format is described in Trace.h.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace sim::usb {

// One pipe request, as the trace shows it.
struct PipeRequest {
  std::uint32_t pipe = 0;
  std::uint32_t timeout = 0;
  std::span<const std::uint8_t> data;  // the host's buffer, after the request
  std::uint32_t moved = 0;             // bytes
  std::uint32_t error = 0;             // Windows error, 0 when accepted
  bool statusReported = true;
};

std::string requestText(const std::string& board, const PipeRequest& request);

}  // namespace sim::usb
