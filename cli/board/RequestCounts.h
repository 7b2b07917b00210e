// What reached the boards' drivers: requests by kind, and those that failed.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct RequestCount {
  std::uint64_t count = 0;
  std::uint64_t failed = 0;
};

// What a line of the trace is about: "usb0 pipe2 in", "pcie0 readRegister", "sleep".
std::string requestKind(std::string_view line);

// Whether it tells of a failure: an error of Windows, a status that the driver kept, or one that is not 0.
bool tellsFailure(std::string_view line);

class RequestCounts {
 public:
  static constexpr std::size_t mostFailures = 20;

  // A line of the trace. Any thread.
  void add(const std::string& line);

  std::map<std::string, RequestCount> byKind() const;

  // The first lines that tell of a failure.
  std::vector<std::string> failures() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, RequestCount> kinds_;
  std::vector<std::string> failures_;
};

}  // namespace cli
