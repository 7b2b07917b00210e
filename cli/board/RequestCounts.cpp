#include "cli/board/RequestCounts.h"

#include <algorithm>

namespace cli {

namespace {

constexpr std::string_view completion = " complete ";
constexpr std::string_view arrow = " -> ";

// The next word, which is taken off the text.
std::string_view takeWord(std::string_view& text) {
  const std::size_t end = text.find(' ');
  const std::string_view word = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return word;
}

bool isZero(std::string_view word) {
  return std::ranges::all_of(word, [](char digit) { return digit == '0'; });
}

}  // namespace

std::string requestKind(std::string_view line) {
  std::string_view rest = line;
  std::string kind(takeWord(rest));
  if (kind == "sleep") return kind;
  const std::string_view request = takeWord(rest);
  kind.append(" ").append(request);
  if (request.starts_with("pipe") || request == "request") kind.append(" ").append(takeWord(rest));
  return kind;
}

bool tellsFailure(std::string_view line) {
  if (const std::size_t place = line.find(completion); place != std::string_view::npos) {
    std::string_view rest = line.substr(place + completion.size());
    return !isZero(takeWord(rest));
  }
  const std::size_t place = line.rfind(arrow);
  if (place == std::string_view::npos) return false;
  std::string_view rest = line.substr(place + arrow.size());
  const std::string_view first = takeWord(rest);
  // The driver answers the end of an interval with something else than a status.
  if (first != "error" && first != "status" && line.find(" cancelInterval ") != std::string_view::npos)
    return false;
  return !isZero(first);
}

void RequestCounts::add(const std::string& line) {
  const bool failed = tellsFailure(line);
  const std::lock_guard lock(mutex_);
  RequestCount& kind = kinds_[requestKind(line)];
  // The end of a request that was pending is no other one.
  if (line.find(completion) == std::string::npos) ++kind.count;
  if (!failed) return;
  ++kind.failed;
  if (failures_.size() < mostFailures) failures_.push_back(line);
}

std::map<std::string, RequestCount> RequestCounts::byKind() const {
  const std::lock_guard lock(mutex_);
  return kinds_;
}

std::vector<std::string> RequestCounts::failures() const {
  const std::lock_guard lock(mutex_);
  return failures_;
}

}  // namespace cli
