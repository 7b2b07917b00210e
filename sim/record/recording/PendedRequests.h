// Requests that a driver completes later, as a recording sees them: when the program looks.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <vector>

#include "sim/base/NativeLock.h"
#include "sim/record/format/Line.h"

namespace sim::record {

struct PendedRequest {
  Line line;  // as it was made
  OVERLAPPED* overlapped = nullptr;
  const std::uint8_t* record = nullptr;
  std::vector<std::uint8_t> before;  // the record as it went in
};

class PendedRequests {
 public:
  // Called for each completed request while its memory is still the program's.
  using Completed = std::function<void(const PendedRequest& request)>;

  explicit PendedRequests(Completed completed) : completed_(std::move(completed)) {}

  bool any() const { return count_.load() != 0; }

  void add(PendedRequest request);

  // Tells of those that the driver has completed.
  void look();

  // Before the program takes the memory back: whatever is not completed then is forgotten.
  void beforeReuse(const void* memory, std::size_t bytes);

 private:
  Completed completed_;
  std::atomic<std::size_t> count_ = 0;
  NativeLock lock_;
  std::list<PendedRequest> requests_;
};

}  // namespace sim::record
