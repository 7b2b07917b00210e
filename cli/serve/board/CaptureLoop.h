// The thread that takes frames from the board. It copies each into the slot and waits for nobody.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "cli/board/Board.h"
#include "cli/frames/FrameSource.h"
#include "cli/serve/board/Frames.h"

namespace cli::serve {

struct CaptureCounts {
  std::uint64_t frames = 0;
  std::uint64_t lost = 0;    // that the sensor sent and nobody got
  std::uint64_t failed = 0;  // that did not come in time
  double rate = 0;           // frames a second, of the last ones
};

class CaptureLoop {
 public:
  // `ended` is called on the capture's thread when it ends by itself.
  CaptureLoop(FrameSlot& slot, std::function<void(std::exception_ptr)> ended);
  ~CaptureLoop();
  CaptureLoop(const CaptureLoop&) = delete;
  CaptureLoop& operator=(const CaptureLoop&) = delete;

  // Starts the board's capture; the board outlives it. Throws CallFailure. The caller does not hold the turn.
  void start(const Board& board, const std::shared_ptr<const FrameShape>& shape);

  // Returns when the board captures no more. Throws nothing: what fails is told by `ended`.
  void stop();

  bool isStarted() const { return thread_.joinable(); }  // for the thread that starts and stops

  // Whoever calls the board takes the turn for it: the library wants one call on a board at a time.
  std::unique_lock<std::mutex> turn() { return std::unique_lock(turn_); }

  // A frame that was taken otherwise.
  void put(const std::uint8_t* bytes, const std::shared_ptr<const FrameShape>& shape);

  CaptureCounts counts() const;
  // The board says that it dropped frames of this capture; how many it does not say.
  void noteDrop();

  double seconds() const;  // since the server started

 private:
  void run(const std::shared_ptr<const FrameShape>& shape);
  void takeFrames(const std::shared_ptr<const FrameShape>& shape);
  void takeFrame(const std::shared_ptr<const FrameShape>& shape);
  void lookAtNumber(const std::uint8_t* frame, const FrameShape& shape);

  FrameSlot& slot_;
  std::function<void(std::exception_ptr)> ended_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex turn_;
  std::unique_ptr<FrameSource> source_;
  kvexa::Event interrupt_;
  std::thread thread_;
  mutable std::mutex mutex_;
  CaptureCounts counts_;
  std::deque<double> times_;  // of the last frames
  std::optional<std::uint32_t> drawn_;
  bool isDropTold_ = false;
  unsigned inOrder_ = 0;  // drawn numbers that followed one another
};

}  // namespace cli::serve
