// What a file handle of a board leads to: the kernel driver.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace sim {

// One DeviceIoControl.
struct ControlRequest {
  std::uint32_t code = 0;
  void* in = nullptr;
  std::uint32_t inLength = 0;
  void* out = nullptr;
  std::uint32_t outLength = 0;
  OVERLAPPED* overlapped = nullptr;
};

// How a driver request ended.
struct Answer {
  std::uint32_t error = 0;     // Windows error; ERROR_IO_PENDING when the overlapped record reports it later
  std::uint32_t bytes = 0;     // bytes moved
  bool statusReported = true;  // USB: whether the driver wrote 0 to the status word that the request names
};

class Driver {
 public:
  virtual ~Driver() = default;

  // The board's name in the trace.
  virtual const std::string& name() const = 0;

  // Listed among the present devices.
  virtual bool isPresent() const = 0;

  // False when the board is open already; it is not shared.
  virtual bool open() = 0;
  virtual void close() = 0;
  virtual Answer control(const ControlRequest& request) = 0;
};

}  // namespace sim
