// Capturing frames from the USB board.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout);

}  // namespace kvexa::usb
