// The board's status block, and the way back after an error on the sensor bus.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>

#include "usb/link/Protocol.h"

namespace kvexa::usb {

struct StatusBlock {
  std::array<std::uint8_t, statusBlockBytes> bytes{};

  std::uint8_t code() const { return bytes[statusCodeOffset]; }

  // What a register transfer returns when code() is statusBusError.
  std::int32_t busErrorResult() const;
};

// The status code, or KVEXA_REQUEST_FAILED with the block as it was.
std::int32_t readStatus(HANDLE driver, StatusBlock& block);

// Takes no turn, so that it serves while another thread's request hangs in the driver.
// Reads the status until the board is idle or reports a bus error, at most ten times more, and resets
// the command pipes after a bus error. 0 when idle, else the status, the first byte of the answer to
// the reset, or KVEXA_REQUEST_FAILED.
std::int32_t checkStatus(HANDLE driver);

// The result of a transfer that is followed by a status check.
std::int32_t checkedResult(HANDLE driver, std::int32_t transferResult);

// The exported reading of the whole block.
std::int32_t getUsbStatus(HANDLE driver, std::uint8_t* block);

}  // namespace kvexa::usb
