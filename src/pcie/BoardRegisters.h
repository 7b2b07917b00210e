// Registers of the PCIe board itself, and its memory requests.
#pragma once

#include <windows.h>

#include <cstdint>

#include "pcie/Protocol.h"

namespace kvexa::pcie {

// One register of 32 bits; count is not looked at. A read stores the value whenever the driver accepted
// the request, also when its status is an error.
std::int32_t fpgaRead(HANDLE driver, std::uint32_t address, std::uint32_t count, std::uint32_t* value);
std::int32_t fpgaWrite(HANDLE driver, std::uint32_t address, std::uint32_t count, const std::uint32_t* value);

std::int32_t readRegister(HANDLE driver, Register address, std::uint32_t& value);
std::int32_t writeRegister(HANDLE driver, Register address, std::uint32_t value);

std::int32_t lockMemory(HANDLE driver, std::uint32_t start, std::uint32_t length);

// The driver's status word itself, or KVEXA_REQUEST_FAILED.
std::int32_t unlockMemory(HANDLE driver, std::uint32_t start, std::uint32_t length);

}  // namespace kvexa::pcie
