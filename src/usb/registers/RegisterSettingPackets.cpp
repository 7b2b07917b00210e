#include "usb/registers/RegisterSettingPackets.h"

#include <algorithm>

#include "usb/link/Protocol.h"

namespace kvexa::usb {

TableKind tableKind(const RegisterTableEntry& header) {
  switch (header.number & 0xFFFF) {
    case boardTarget: return TableKind::words;
    case extendedTarget: return TableKind::commands;
    default: return TableKind::bytes;
  }
}

std::optional<SettingPacket> buildSettingPacket(const RegisterTableEntry& header,
                                                const RegisterTableEntry& entry) {
  const std::size_t width = tableKind(header) == TableKind::words ? 2 : 1;
  const RegisterAddress address{header.values[0] & 0xFFU, header.number, entry.number};
  const auto count = static_cast<std::uint32_t>(entry.valueCount * width);
  const auto packetHeader = buildHeader(Framing::prefixed, Direction::write, address, count);
  if (!packetHeader) return std::nullopt;

  SettingPacket packet;
  std::ranges::copy(packetHeader->whole(), packet.bytes.begin());
  packet.length = packetHeader->total;
  for (const std::uint16_t value : std::span(entry.values).first(entry.valueCount)) {
    packet.bytes[packet.length++] = static_cast<std::uint8_t>(value);
    if (width == 2) packet.bytes[packet.length++] = static_cast<std::uint8_t>(value >> 8);
  }
  return packet;
}

void packCommands(std::span<const RegisterTableEntry> entries, std::span<std::uint8_t> bytes) {
  for (const RegisterTableEntry& entry : entries) {
    bytes[0] = extendedOpcode;
    bytes[1] = extendedTarget;
    bytes[2] = static_cast<std::uint8_t>(entry.number);
    bytes = bytes.subspan(commandBytes);
  }
}

}  // namespace kvexa::usb
