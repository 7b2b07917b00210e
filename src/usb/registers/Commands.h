// Extended commands. They report nothing: a caller that needs a result reads the status afterwards.
#pragma once

#include <windows.h>

#include <cstdint>

#include "usb/link/Protocol.h"

namespace kvexa::usb {

std::int32_t extendedCommand(HANDLE driver, ExtendedCommand command);
std::int32_t extendedCommandByNumber(HANDLE driver, const std::uint8_t* command);

std::int32_t localReset(HANDLE driver);
std::int32_t flushImagePipe(HANDLE driver);
std::int32_t waitVSync(HANDLE driver, std::uint32_t mode);
std::int32_t clearStatus(HANDLE driver);
std::int32_t readLatchedStatus(HANDLE driver, std::uint32_t* status);
std::int32_t setI2cSpeed(HANDLE driver, std::uint32_t speed);

}  // namespace kvexa::usb
