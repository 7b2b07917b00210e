// The packets that carry register transfers to the board. Pure: it knows bytes, not drivers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kvexa::usb {

// How a header writes the slave address. The board understands both.
enum class Framing {
  prefixed,   // low byte first; 10-bit addresses carry the 10-bit prefix in their high byte
  sensorBus,  // high byte first, no prefix; in mode 3 the low byte alone
};

enum class Direction { read, write };

struct RegisterAddress {
  std::uint32_t mode = 0;  // KvexaAddressMode
  std::uint32_t slave = 0;
  std::uint32_t subAddress = 0;
};

constexpr std::uint32_t largestRegisterCount = 0xFFFF;
constexpr std::size_t largestHeader = 7;

struct PacketHeader {
  std::array<std::uint8_t, largestHeader> bytes{};
  std::size_t used = 0;   // bytes that carry something; data of a write follow here
  std::size_t total = 0;  // bytes that a transfer sets aside for the header: a read sends all of them

  std::span<const std::uint8_t> whole() const { return {bytes.data(), total}; }
};

// Nothing for a mode above 5.
std::optional<PacketHeader> buildHeader(Framing framing, Direction direction, const RegisterAddress& address,
                                        std::uint32_t count);

// Words to bytes and back. The board's own registers have two bytes a word, every other device one.
// `bytes` holds count bytes.
void packWords(std::uint32_t slave, const std::uint32_t* words, std::span<std::uint8_t> bytes);
void unpackWords(std::uint32_t slave, std::span<const std::uint8_t> bytes, std::uint32_t* words);

}  // namespace kvexa::usb
