// Capturing frames from the PCIe board.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"

namespace kvexa::pcie {

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout);

// Starts a worker; a frame count of 0 captures without end.
std::int32_t startMultiShot(const BoardHandle& board, std::uint32_t frameBytes, std::uint32_t frameCount,
                            void* buffer, std::uint32_t timeout, HANDLE frameEvent, HANDLE endEvent,
                            std::int32_t* resultWord);

// The same with the repetition as an argument of its own.
std::int32_t startMultiShot2(const BoardHandle& board, std::uint32_t frameBytes, std::uint32_t frameCount,
                             std::uint32_t continuous, void* buffer, std::uint32_t timeout, HANDLE frameEvent,
                             HANDLE endEvent, std::int32_t* resultWord);

std::int32_t abortCapture(HANDLE driver);

}  // namespace kvexa::pcie
