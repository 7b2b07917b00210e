// The versions of a USB board's parts and of its driver.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

std::int32_t readVersions(HANDLE driver, std::uint32_t* fpga, std::uint32_t* firmware,
                          std::uint32_t* driverFile);

}  // namespace kvexa::usb
