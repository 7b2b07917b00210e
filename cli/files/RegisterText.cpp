#include <algorithm>
#include <cstdio>

#include "cli/base/Output.h"
#include "cli/files/RegisterFile.h"
#include "files/RegisterSettingReader.h"
#include "usb/registers/RegisterSettingPackets.h"

namespace cli {

namespace {

constexpr std::size_t shownBytes = 24;

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  char two[4];
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), shownBytes))) {
    std::snprintf(two, sizeof two, " %02X", byte);
    text += two;
  }
  return bytes.size() > shownBytes ? text + " ... (" + std::to_string(bytes.size()) + " bytes)" : text;
}

std::string textOf(const RegisterTableEntry& header, const RegisterTableEntry& entry) {
  const auto packet = kvexa::usb::buildSettingPacket(header, entry);
  return format("register 0x%04X, %3u value%s  %s", entry.number, entry.valueCount,
                entry.valueCount == 1 ? " " : "s", packet ? hex(packet->all()).c_str() : " refused");
}

}  // namespace

std::vector<WriteText> describeWrites(const RegisterFile& file) {
  const auto entries = file.entries();
  if (entries.empty()) return {};
  if (kvexa::usb::tableKind(entries[0]) == kvexa::usb::TableKind::commands) {
    std::vector<std::uint8_t> bytes((entries.size() - 1) * kvexa::usb::commandBytes);
    kvexa::usb::packCommands(entries.subspan(1), bytes);
    return {{0, "one packet:" + hex(bytes)}};
  }
  std::vector<WriteText> texts;
  for (std::size_t i = 1; i < entries.size(); ++i) texts.push_back({i + 1, textOf(entries[0], entries[i])});
  return texts;
}

}  // namespace cli
