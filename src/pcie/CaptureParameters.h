// Programming the PCIe board's capture front end.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::pcie {

std::int32_t setCapParam(HANDLE driver, const CapParam* param);
std::int32_t setColourMatrix(HANDLE driver, const double* values);

}  // namespace kvexa::pcie
