// The packets that a register-setting table becomes. Pure: it knows bytes, not drivers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "kvexa.h"
#include "usb/registers/RegisterPacket.h"

namespace kvexa::usb {

enum class TableKind {
  bytes,    // one byte a value
  words,    // two bytes a value, for the board's own registers
  commands  // every line is an extended command
};

TableKind tableKind(const RegisterTableEntry& header);

struct SettingPacket {
  std::array<std::uint8_t, largestHeader + 2 * std::size(RegisterTableEntry{}.values)> bytes{};
  std::size_t length = 0;

  std::span<const std::uint8_t> all() const { return {bytes.data(), length}; }
};

// Nothing for an address mode above 5. The entry has at most 256 values.
std::optional<SettingPacket> buildSettingPacket(const RegisterTableEntry& header,
                                                const RegisterTableEntry& entry);

constexpr std::size_t commandBytes = 3;

// The commands of the entries after the header, commandBytes each, into `bytes`.
void packCommands(std::span<const RegisterTableEntry> entries, std::span<std::uint8_t> bytes);

}  // namespace kvexa::usb
