// Completes the pended requests of a replayed program when they were completed in the recording.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <thread>

#include "sim/base/NativeLock.h"
#include "sim/record/replay/Replay.h"

namespace sim::record {

// A request that a program has pended.
struct OpenRequest {
  std::uint32_t step = 0;  // of its completion
  Microseconds due = 0;    // at the earliest
  OVERLAPPED* overlapped = nullptr;
  std::uint8_t* record = nullptr;
  std::uint32_t bytes = 0;
  HANDLE event = nullptr;
  // Where the capture of its board writes; null beside captures.
  std::uint8_t* buffer = nullptr;
  std::uint32_t bufferBytes = 0;
};

class ReplayedCompletions {
 public:
  // Copies the image of a line to the place.
  using FillImage = std::function<void(const Line& line, std::uint8_t* to, std::uint32_t bytes)>;

  ReplayedCompletions(Replay& replay, FillImage fillImage);
  ~ReplayedCompletions();
  ReplayedCompletions(const ReplayedCompletions&) = delete;
  ReplayedCompletions& operator=(const ReplayedCompletions&) = delete;

  // Keeps the event beyond the program's own handle, as Windows does.
  void add(OpenRequest request);

  // Before the program takes the memory back: the request is never completed then.
  void beforeReuse(const void* memory, std::size_t bytes);

 private:
  void work();
  const OpenRequest* first() const;
  void deliver(const OpenRequest& request);

  Replay& replay_;
  FillImage fillImage_;
  NativeLock lock_;
  NativeCondition changed_;
  std::list<OpenRequest> requests_;
  std::atomic<std::uint32_t> additions_ = 0;
  bool ends_ = false;
  std::thread worker_;
};

}  // namespace sim::record
