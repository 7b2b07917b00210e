// Playing a register-setting table into the sensor.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::usb {

std::int32_t playRegisterTable(HANDLE driver, const RegisterTableEntry* table, std::uint32_t lineCount);
std::int32_t playRegisterFile(HANDLE driver, const char* path);

}  // namespace kvexa::usb
