// Frames one after another from a board of either type.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <mutex>

#include "cli/board/Board.h"
#include "cli/frames/FrameSetup.h"

namespace cli {

struct SourceOptions {
  std::uint32_t timeout = 1000;  // milliseconds for a frame
  std::uint32_t buffers = 8;     // frames in this computer's memory
  std::mutex* turn =
      nullptr;  // taken for calls to the board that next() makes, when other threads call it too
};

class FrameSource {
 public:
  enum class Next { frame, timedOut, interrupted };

  FrameSource() = default;
  virtual ~FrameSource() = default;
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  // Tells the steps. Throws CallFailure.
  virtual void start() = 0;
  virtual void stop() = 0;

  // After a frame that did not come, without telling.
  virtual void startAgain() = 0;

  // Waits for a frame, for one that does not come in time, or for the event. Throws CallFailure when the
  // capture ends with another code.
  virtual Next next(HANDLE interrupt) = 0;

  // The frame that next() told of, and its return.
  virtual const std::uint8_t* frame() const = 0;
  virtual void giveBack() = 0;
};

// A ring of buffers that the library fills while earlier ones are looked at.
std::unique_ptr<FrameSource> makeUsbSource(const Board& board, const FrameLayout& layout,
                                           const SourceOptions& options);

// A PCIe board captures so many frames in a row as there are buffers, then again into a second set of them
// while the first one is looked at. Between two rows frames can be missed.
std::unique_ptr<FrameSource> makePcieSource(const Board& board, const FrameLayout& layout,
                                            const SourceOptions& options);

}  // namespace cli
