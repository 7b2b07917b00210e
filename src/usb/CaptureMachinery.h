// The board's capture machinery: the steps that every way of capturing is made of.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

// Holds the capture, or lets it run. The result is the register write's; a register that could not be
// read counts as 0.
std::int32_t hold(HANDLE driver);
std::int32_t release(HANDLE driver);

// 0 when the read and the write succeeded, else the first result that is not.
std::int32_t holdStrictly(HANDLE driver);
std::int32_t releaseStrictly(HANDLE driver);

std::int32_t holdAndFlush(HANDLE driver);

// Stops the transfer engine, holds the capture and empties the image pipe. The result is that of the
// last register write.
std::int32_t stopBoard(HANDLE driver);

// The value of the buffer-size register for captures of that many bytes in sequence.
std::uint32_t sequenceBufferSize(std::uint64_t bytes);

// A frame of image data into the caller's buffer.
std::int32_t readFrame(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout);

// A worker tells its end before it stops the board. A capture that starts on that event must not be hit by
// the stop, so each begins by waiting for the one that is ending.
class EndingCapture {
 public:
  EndingCapture() = default;
  ~EndingCapture();
  EndingCapture(const EndingCapture&) = delete;
  EndingCapture& operator=(const EndingCapture&) = delete;

  // From here until the object goes, captures that start wait.
  void begin();

 private:
  bool hasBegun_ = false;
};
void awaitEndingCapture();

// The time that an abort waits for a worker: the time-out of the last one-shot or continuous capture.
void rememberAbortTimeout(std::uint32_t timeout);
std::uint32_t abortTimeout();

}  // namespace kvexa::usb
