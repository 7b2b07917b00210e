// Programming the board's capture front end.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::usb {

std::int32_t setCapParam(HANDLE driver, const CapParam* param);
std::int32_t setColourMatrix(HANDLE driver, const double* values);

// Always 0.0, whatever the writes did.
double setCaptureArea(HANDLE driver, std::uint32_t horizontalStart, std::uint32_t horizontalEnd,
                      std::uint32_t verticalStart, std::uint32_t verticalEnd);

}  // namespace kvexa::usb
