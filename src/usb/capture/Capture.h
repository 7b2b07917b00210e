// Captures that the caller waits for, and the small things around captures.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout);

// The board stores all frames first and transfers them then. An abort from another thread ends the
// waiting with KVEXA_ABORTED.
std::int32_t storageCapture(HANDLE driver, std::uint32_t frameBytes, std::uint32_t frameCount, void* buffer,
                            std::uint32_t timeout);

std::int32_t setBufferSize(HANDLE driver, double mebibytes);

// Always KVEXA_OK; a mode other than 0 and 1 does nothing.
std::int32_t setFrameDrop(HANDLE driver, std::uint32_t mode);

}  // namespace kvexa::usb
