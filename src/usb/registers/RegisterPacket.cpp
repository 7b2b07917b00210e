#include "usb/registers/RegisterPacket.h"

#include "usb/link/Protocol.h"

namespace kvexa::usb {

namespace {

struct HeaderLayout {
  std::uint8_t readOpcode;
  std::uint8_t slaveBytes;
  std::uint8_t subAddressBytes;
  std::uint8_t spareBytes;  // set aside, but filled with nothing
};

using LayoutTable = std::array<HeaderLayout, 6>;

constexpr LayoutTable prefixedLayouts{
    {{0, 1, 1, 0}, {2, 1, 2, 0}, {4, 1, 0, 0}, {8, 2, 1, 0}, {10, 2, 2, 0}, {12, 2, 0, 0}}};

// Mode 3 leaves one byte of its header area empty. That is intended: the board expects its length.
constexpr LayoutTable sensorBusLayouts{
    {{0, 1, 1, 0}, {2, 1, 2, 0}, {4, 1, 0, 0}, {8, 1, 1, 1}, {10, 2, 2, 0}, {12, 2, 0, 0}}};

constexpr std::uint8_t lowByte(std::uint32_t value) { return static_cast<std::uint8_t>(value); }
constexpr std::uint8_t highByte(std::uint32_t value) { return static_cast<std::uint8_t>(value >> 8); }

constexpr std::size_t bytesPerWord(std::uint32_t slave) { return slave == boardTarget ? 2 : 1; }

}  // namespace

std::optional<PacketHeader> buildHeader(Framing framing, Direction direction, const RegisterAddress& address,
                                        std::uint32_t count) {
  const LayoutTable& layouts = framing == Framing::prefixed ? prefixedLayouts : sensorBusLayouts;
  if (address.mode >= layouts.size()) return std::nullopt;
  const HeaderLayout& layout = layouts[address.mode];

  PacketHeader header;
  const auto put = [&header](std::uint32_t byte) { header.bytes[header.used++] = lowByte(byte); };
  put(direction == Direction::write ? layout.readOpcode | writeBit : layout.readOpcode);
  if (layout.slaveBytes == 1) {
    put(address.slave);
  } else if (framing == Framing::prefixed) {
    put(address.slave);
    put(highByte(address.slave) | tenBitPrefix);
  } else {
    put(highByte(address.slave));
    put(address.slave);
  }
  if (layout.subAddressBytes > 0) put(address.subAddress);
  if (layout.subAddressBytes > 1) put(highByte(address.subAddress));
  put(count);
  put(highByte(count));
  header.total = header.used + layout.spareBytes;
  return header;
}

void packWords(std::uint32_t slave, const std::uint32_t* words, std::span<std::uint8_t> bytes) {
  const std::size_t width = bytesPerWord(slave);
  for (std::size_t i = 0; i + width <= bytes.size(); i += width) {
    const std::uint32_t word = words[i / width];
    bytes[i] = lowByte(word);
    if (width == 2) bytes[i + 1] = highByte(word);
  }
}

void unpackWords(std::uint32_t slave, std::span<const std::uint8_t> bytes, std::uint32_t* words) {
  const std::size_t width = bytesPerWord(slave);
  for (std::size_t i = 0; i + width <= bytes.size(); i += width) {
    std::uint32_t word = bytes[i];
    if (width == 2) word |= static_cast<std::uint32_t>(bytes[i + 1]) << 8;
    words[i / width] = word;
  }
}

}  // namespace kvexa::usb
