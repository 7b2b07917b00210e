#include "sim/usb/CommandPacket.h"

#include <array>
#include <optional>

namespace sim::usb {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t commandOpcode = 0x01;
constexpr std::uint8_t commandTarget = 0x81;
constexpr std::size_t commandLength = 3;

// By address mode: where the sub-address is and how many bytes it has.
struct Layout {
  std::uint8_t readOpcode;
  std::uint8_t slaveBytes;
  std::uint8_t subAddressBytes;

  std::size_t headerLength() const { return 1U + slaveBytes + subAddressBytes + 2U; }
};

constexpr std::array<Layout, 6> layouts = {{
    {0, 1, 1},
    {2, 1, 2},
    {4, 1, 0},
    {8, 2, 1},
    {10, 2, 2},
    {12, 2, 0},
}};

// The layout that mode 3 has as well: one slave byte, and a zero byte at the end.
constexpr Layout shortSlave{8, 1, 1};
constexpr std::uint8_t shortSlaveOpcode = 8;

const Layout* findLayout(std::uint8_t opcode) {
  for (const Layout& layout : layouts) {
    if (layout.readOpcode == (opcode & ~1)) return &layout;
  }
  return nullptr;
}

std::uint16_t lowFirst(Bytes bytes) {
  std::uint16_t value = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) value = static_cast<std::uint16_t>(value << 8 | bytes[i]);
  return value;
}

// The five upper bits of the first byte of a 10-bit address on the bus; the address' own two follow.
bool hasPrefix(std::uint8_t byte) { return (byte & 0xFC) == 0x78; }

// Two slave bytes come low byte first with the prefix in the second, or high byte first. A low byte of
// 0x78 to 0x7B in the latter cannot be distinguished from the prefix.
std::uint16_t wideSlave(Bytes bytes) {
  const std::uint8_t low = hasPrefix(bytes[1]) ? bytes[0] : bytes[1];
  const std::uint8_t high = hasPrefix(bytes[1]) ? bytes[1] : bytes[0];
  const std::uint8_t upper = hasPrefix(high) ? high & 0x03 : high;
  return static_cast<std::uint16_t>(upper << 8 | low);
}

// Reads a header; nothing when the packet is too short for it.
std::optional<PacketItem> parseHeader(Bytes rest, const Layout& layout) {
  if (rest.size() < layout.headerLength()) return std::nullopt;
  PacketItem item;
  item.kind = (rest[0] & 1) != 0 ? PacketItem::Kind::write : PacketItem::Kind::read;
  const Bytes slave = rest.subspan(1, layout.slaveBytes);
  item.slave = layout.slaveBytes == 1 ? slave[0] : wideSlave(slave);
  item.subAddress = lowFirst(rest.subspan(1U + layout.slaveBytes, layout.subAddressBytes));
  item.count = lowFirst(rest.subspan(layout.headerLength() - 2, 2));
  return item;
}

// Mode 3 exists in two layouts. They differ in the length of a write; a read is the long one when the
// byte after the slave's low byte carries the 10-bit prefix and the count would not be 0.
bool isShortSlave(Bytes rest, const Layout& layout) {
  if ((rest[0] & ~1) != shortSlaveOpcode || rest.size() < layout.headerLength()) return false;
  if (!hasPrefix(rest[2])) return true;
  const std::size_t count = lowFirst(rest.subspan(4, 2));
  return (rest[0] & 1) != 0 ? rest.size() != layout.headerLength() + count : count == 0;
}

// Takes one register transfer and returns the bytes that it uses, 0 when it is cut short.
std::size_t takeTransfer(Bytes rest, const Layout& fullLayout, PacketItem& item) {
  const bool isShort = isShortSlave(rest, fullLayout);
  const Layout& layout = isShort ? shortSlave : fullLayout;
  const std::optional<PacketItem> header = parseHeader(rest, layout);
  if (!header) return 0;
  item = *header;
  const std::size_t trailing = isShort ? 1 : 0;
  const std::size_t dataLength = item.kind == PacketItem::Kind::write ? item.count : 0;
  const std::size_t length = layout.headerLength() + dataLength + trailing;
  if (length > rest.size()) return 0;
  item.header = rest.first(layout.headerLength() + trailing);
  item.data = rest.subspan(layout.headerLength(), dataLength);
  return length;
}

std::size_t takeItem(Bytes rest, PacketItem& item) {
  if (rest.size() >= commandLength && rest[0] == commandOpcode && rest[1] == commandTarget) {
    item.kind = PacketItem::Kind::command;
    item.command = rest[2];
    return commandLength;
  }
  const Layout* layout = findLayout(rest[0]);
  return layout == nullptr ? 0 : takeTransfer(rest, *layout, item);
}

}  // namespace

std::vector<PacketItem> parsePacket(std::span<const std::uint8_t> packet) {
  std::vector<PacketItem> items;
  while (!packet.empty()) {
    PacketItem item;
    const std::size_t length = takeItem(packet, item);
    items.push_back(length == 0 ? PacketItem{} : item);
    if (length == 0) break;
    packet = packet.subspan(length);
  }
  return items;
}

}  // namespace sim::usb
