// What the host puts into a packet of the USB board's command pipe.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sim/usb/Protocol.h"

namespace sim::usb {

struct PacketItem {
  enum class Kind { command, write, read, malformed };
  Kind kind = Kind::malformed;
  std::uint8_t command = 0;
  std::uint16_t slave = 0;
  std::uint16_t subAddress = 0;
  std::uint16_t count = 0;
  std::span<const std::uint8_t> header;  // of a read: what its answer repeats
  std::span<const std::uint8_t> data;    // of a write
};

// Takes a packet apart. The items refer to the packet's bytes. A packet that makes no sense from some
// byte on ends with one malformed item.
std::vector<PacketItem> parsePacket(std::span<const std::uint8_t> packet);

}  // namespace sim::usb
