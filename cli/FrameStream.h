// Frames one after another from a USB board, into buffers that the library fills while earlier ones are
// looked at.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "Board.h"
#include "FrameSetup.h"

namespace cli {

class FrameStream {
 public:
  enum class Next { frame, timedOut, interrupted };

  FrameStream(const Board& board, const FrameLayout& frame, std::uint32_t buffers, std::uint32_t timeout);

  // Ends a capture that runs.
  ~FrameStream();
  FrameStream(const FrameStream&) = delete;
  FrameStream& operator=(const FrameStream&) = delete;

  // The library's results.
  std::int32_t start();
  std::int32_t stop();

  // Waits for a frame, for the capture's end because none came in time, or for the event. A frame stays
  // until giveBack().
  Next next(HANDLE interrupt);
  const std::uint8_t* frame() const;
  void giveBack();

 private:
  struct Buffers;

  const Board& board_;
  std::uint32_t frameBytes_;
  std::uint32_t timeout_;
  std::unique_ptr<Buffers> buffers_;
  std::size_t current_ = 0;
  bool running_ = false;
};

}  // namespace cli
