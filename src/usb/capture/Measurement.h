// Measuring the frames that come in.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::usb {

double getFrameRate(HANDLE driver);
std::int32_t autoActual(HANDLE driver, AutoActual* actual);
std::int32_t autoActualWithin(HANDLE driver, AutoActual* actual, std::uint32_t timeout);

// 1 when the board dropped frames, else 0.
std::int32_t hasDroppedFrames(HANDLE driver);

}  // namespace kvexa::usb
