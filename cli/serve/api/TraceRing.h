// The last driver requests, as lines.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

#include "cli/serve/http/Problem.h"

namespace cli::serve {

class TraceRing {
 public:
  static constexpr std::size_t mostLines = 2000;

  // Any thread.
  void add(const std::string& line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
    if (line.find(" -> error ") != std::string::npos) ++failures_;
    ++last_;
    if (lines_.size() > mostLines) lines_.pop_front();
  }

  std::uint64_t last() const {
    const std::lock_guard lock(mutex_);
    return last_;
  }

  // Requests that the driver refused.
  std::uint64_t failures() const {
    const std::lock_guard lock(mutex_);
    return failures_;
  }

  // The lines behind that number, as far as they are kept: {"last", "lines": [{"number", "text"}]}.
  Json after(std::uint64_t number) const;

 private:
  mutable std::mutex mutex_;
  std::deque<std::string> lines_;
  std::uint64_t failures_ = 0;
  std::uint64_t last_ = 0;  // the number of the newest line
};

}  // namespace cli::serve
