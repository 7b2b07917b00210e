// The one request that everything on a USB board is made of: moving bytes through one of its pipes.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "usb/link/Protocol.h"

namespace kvexa::usb {

struct Moved {
  std::int32_t result = 0;
  std::uint32_t bytes = 0;
};

// Receives into, or sends, at most data.size() bytes.
Moved transfer(HANDLE driver, Pipe pipe, std::uint32_t timeout, std::span<std::uint8_t> data);

// Sends all of data with the time-out of commands.
std::int32_t send(HANDLE driver, Pipe pipe, std::span<const std::uint8_t> data);

// Receives into data with the time-out of commands.
std::int32_t receive(HANDLE driver, Pipe pipe, std::span<std::uint8_t> data);

// Reads image data, split into reads of 1 MiB when there is more.
std::int32_t getData(HANDLE driver, std::uint32_t length, std::uint32_t* received, void* buffer,
                     std::uint32_t timeout);

constexpr std::size_t deviceDescriptorBytes = 18;

// The board's USB device descriptor, whole or not at all.
std::int32_t readDeviceDescriptor(HANDLE driver, std::span<std::uint8_t, deviceDescriptorBytes> descriptor);

}  // namespace kvexa::usb
