// Numbers for monitoring, in OpenMetrics text.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace cli::serve {

class Parts;

// How often something took how long.
class Durations {
 public:
  static constexpr std::array<double, 8> bounds{0.001, 0.003, 0.01, 0.03, 0.1, 0.3, 1, 3};  // seconds

  void add(double seconds);
  void write(std::string& text, std::string_view name) const;

 private:
  std::array<std::uint64_t, bounds.size() + 1> counts_{};
  double sum_ = 0;
};

class Metrics {
 public:
  // Any thread.
  void noteAnswer(const std::string& path, unsigned status, double seconds);
  void noteWait(double seconds);  // of a command of the board, for its turn

  std::string text(Parts& parts) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::pair<std::string, unsigned>, std::uint64_t> answers_;  // by route and status
  std::uint64_t failures_ = 0;
  Durations answering_;
  Durations waiting_;
};

}  // namespace cli::serve
