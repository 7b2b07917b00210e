#include "Trace.h"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

constexpr std::size_t mostBytesIn = 16;
constexpr std::size_t mostBytesOut = 256;
constexpr std::uint32_t imagePipe = 2;

bool isInbound(std::uint32_t pipe) { return pipe == 1 || pipe == 2 || pipe == 4; }

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

void Trace::add(std::string line) {
  const std::lock_guard lock(mutex_);
  const bool yields = line == "sleep 0";
  if (yields && yielding_) return;
  yielding_ = yields;
  if (file_ != nullptr) {
    line += '\n';
    std::fputs(line.c_str(), file_);
    return;
  }
  if (lines_.size() == mostLines) lines_.pop_front();
  lines_.push_back(std::move(line));
}

std::vector<std::string> Trace::take() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> taken(std::make_move_iterator(lines_.begin()),
                                 std::make_move_iterator(lines_.end()));
  lines_.clear();
  yielding_ = false;
  return taken;
}

void Trace::writeTo(std::FILE* file) {
  const std::lock_guard lock(mutex_);
  file_ = file;
  yielding_ = false;
}

std::string pipeLine(const std::string& board, const PipeRequest& request) {
  const bool in = isInbound(request.pipe);
  std::string line = board + " pipe" + std::to_string(request.pipe) + (in ? " in " : " out ") +
                     std::to_string(request.timeout) + "ms ";
  const auto moved = request.data.first(std::min<std::size_t>(request.moved, request.data.size()));
  if (in) {
    line += std::to_string(request.moved) + "/" + std::to_string(request.data.size());
    if (request.pipe != imagePipe) line.append(" ").append(bytesInBrackets(moved, mostBytesIn));
  } else {
    line += bytesInBrackets(request.data, mostBytesOut);
  }
  return line + outcome(request.error, request.statusReported);
}

std::string outcome(std::uint32_t error, bool statusReported) {
  if (error != 0) return " -> error " + std::to_string(error);
  return statusReported ? "" : " -> status kept";
}

}  // namespace sim
