// Captures that run on a worker until their frames are there or an abort comes.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

std::int32_t startMultiShot(HANDLE driver, std::uint32_t frameBytes, std::uint32_t frameCount, void* buffer,
                            std::uint32_t timeout, HANDLE frameEvent, HANDLE endEvent,
                            std::int32_t* resultWord);

// Frames go round through ringSize buffers; events holds one event more, the end event.
std::int32_t startRing(HANDLE driver, std::uint32_t frameBytes, std::uint32_t ringSize, void* const* buffers,
                       std::uint32_t timeout, const HANDLE* events, std::int32_t* resultWord);

// Ends whichever capture runs.
std::int32_t abortCapture(HANDLE driver);

}  // namespace kvexa::usb
