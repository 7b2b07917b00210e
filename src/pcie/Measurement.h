// Measuring the frames that come in, and the notification of frame starts.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::pcie {

double getFrameRate(HANDLE driver);
std::int32_t autoActual(HANDLE driver, AutoActual* actual);
std::int32_t autoActualWithin(HANDLE driver, AutoActual* actual, std::uint32_t timeout);

std::int32_t setInterval(HANDLE driver, std::uint32_t bytes);
std::int32_t waitInterval(HANDLE driver, void* overlapped);
std::int32_t cancelInterval(HANDLE driver);

}  // namespace kvexa::pcie
