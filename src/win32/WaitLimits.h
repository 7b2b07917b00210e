// How long the library waits for another thread or for a driver, in milliseconds.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>

namespace kvexa::win32 {

// An abort and a capture that it ends, for each other's requests.
constexpr DWORD handOverLimit = 500;

// A capture that starts, for the one that is ending on its board.
constexpr DWORD endingCaptureLimit = 5000;

// A PCIe worker that was aborted, until the driver is done with the caller's buffer.
constexpr DWORD completionLimit = 1000;

// An abort and the stop of an array capture, for the worker, beyond the capture's own time-out.
constexpr DWORD abortGrace = 500;
constexpr DWORD stopGrace = 2000;

// A capture's time-out and a grace beyond it. The sum of two limits is a limit too, never INFINITE.
constexpr DWORD withGrace(std::uint32_t timeout, DWORD grace) {
  return static_cast<DWORD>(std::min<std::uint64_t>(std::uint64_t{timeout} + grace, INFINITE - 1));
}

}  // namespace kvexa::win32
