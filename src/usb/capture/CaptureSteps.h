// The steps that every way of capturing is made of.
#pragma once

#include <windows.h>

#include <cstdint>

#include "usb/link/Boards.h"
#include "usb/link/Link.h"
#include "win32/AbortSignal.h"

namespace kvexa::usb {

// Holds the capture, or lets it run. The result is the register write's; a register that could not be
// read counts as 0.
std::int32_t hold(Link link);
std::int32_t release(Link link);

// 0 when the read and the write succeeded, else the first result that is not.
std::int32_t holdStrictly(Link link);
std::int32_t releaseStrictly(Link link);

std::int32_t holdAndFlush(Link link);

// Stops the transfer engine, holds the capture and empties the image pipe. The result is that of the
// last register write.
std::int32_t stopBoard(Link link);

// The value of the buffer-size register for captures of that many bytes in sequence.
std::uint32_t sequenceBufferSize(std::uint64_t bytes);

// A frame of image data into the caller's buffer.
std::int32_t readFrame(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout);

// A worker sets its end event before it stops the board. The stop must not end a capture that starts on that
// event, so each start begins by waiting for the capture that is ending on its board.
class EndingCapture {
 public:
  explicit EndingCapture(HANDLE driver) : board_(driver) {}
  ~EndingCapture();
  EndingCapture(const EndingCapture&) = delete;
  EndingCapture& operator=(const EndingCapture&) = delete;

  // From here until the object goes, captures that start on the board wait.
  void begin();

 private:
  BoardUse board_;
  bool hasBegun_ = false;
};

// Waits for the capture that is ending on the board, up to a limit. An abort since the watch was taken ends
// the waiting too.
void awaitEndingCapture(HANDLE driver, const win32::AbortWatch& abort);

// The time that an abort waits for a worker: the time-out of the last one-shot or continuous capture.
void rememberAbortTimeout(std::uint32_t timeout);
std::uint32_t abortTimeout();

}  // namespace kvexa::usb
