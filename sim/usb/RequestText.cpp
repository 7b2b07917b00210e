#include "sim/usb/RequestText.h"

#include <algorithm>

#include "sim/base/Trace.h"
#include "sim/usb/Protocol.h"

namespace sim::usb {

namespace {

constexpr std::size_t mostBytesIn = 16;
constexpr std::size_t mostBytesOut = 256;

std::string bytesInBrackets(std::span<const std::uint8_t> bytes, std::size_t most) {
  constexpr char digits[] = "0123456789abcdef";
  std::string text = "[";
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), most))) {
    if (text.size() > 1) text += ' ';
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  if (bytes.size() > most) text += " ..";
  text += ']';
  return text;
}

}  // namespace

std::string requestText(const std::string& board, const PipeRequest& request) {
  const bool in = !Pipe::isOutbound(request.pipe);
  std::string line = board + " pipe" + std::to_string(request.pipe) + (in ? " in " : " out ") +
                     std::to_string(request.timeout) + "ms ";
  const auto moved = request.data.first(std::min<std::size_t>(request.moved, request.data.size()));
  if (in) {
    line += std::to_string(request.moved) + "/" + std::to_string(request.data.size());
    if (request.pipe != Pipe::image) line.append(" ").append(bytesInBrackets(moved, mostBytesIn));
  } else {
    line += bytesInBrackets(request.data, mostBytesOut);
  }
  return line + outcome(request.error, request.statusReported);
}

}  // namespace sim::usb
