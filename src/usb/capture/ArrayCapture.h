// The capture into an array of buffers that is started and stopped.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

// Frames go round through ringSize buffers; events holds one event more, the end event.
std::int32_t startArray(HANDLE driver, std::uint32_t frameBytes, std::uint32_t ringSize, void* const* buffers,
                        std::uint32_t timeout, const HANDLE* events, std::int32_t* resultWord);

std::int32_t stopArray(HANDLE driver);

}  // namespace kvexa::usb
