#include "RegsCommand.h"

#include <kvexa.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

#include "Failure.h"
#include "FileRemarks.h"
#include "files/RegisterSettingReader.h"
#include "usb/registers/RegisterSettingPackets.h"

namespace cli {

namespace {

using kvexa::files::largestValueCount;
using kvexa::usb::TableKind;

constexpr std::size_t shownBytes = 24;

constexpr std::array<const char*, 6> addressModes{
    "7-bit slave, 8-bit register",  "7-bit slave, 16-bit register",  "7-bit slave, no register",
    "10-bit slave, 8-bit register", "10-bit slave, 16-bit register", "10-bit slave, no register"};

bool isBlank(char character) { return character == ' ' || character == '\t'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (isBlank(text.front()))) text.remove_prefix(1);
  while (!text.empty() && (isBlank(text.back()) || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> fieldsOf(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    const std::size_t comma = line.find(',');
    fields.push_back(trimmed(line.substr(0, comma)));
    if (comma == std::string_view::npos) return fields;
    line.remove_prefix(comma + 1);
  }
}

// The hexadecimal digits that a field starts with, and what follows them.
struct Digits {
  std::string_view digits;
  std::string_view rest;
  bool isSeparated = false;  // by a blank
  bool isNegative = false;
};

Digits digitsOf(std::string_view field) {
  Digits found;
  if (!field.empty() && (field.front() == '-' || field.front() == '+')) {
    found.isNegative = field.front() == '-';
    field.remove_prefix(1);
  }
  if (field.starts_with("0x") || field.starts_with("0X")) field.remove_prefix(2);
  const auto* const end =
      std::ranges::find_if_not(field, [](unsigned char c) { return std::isxdigit(c) != 0; });
  const auto count = static_cast<std::size_t>(end - field.begin());
  found.digits = field.substr(0, count);
  found.isSeparated = count < field.size() && isBlank(field[count]);
  found.rest = trimmed(field.substr(count));
  return found;
}

void examineField(Remarks& remarks, const TextLine& line, std::string_view field, std::size_t index,
                  unsigned largestDigits) {
  const std::string subject = index == 0 ? "first number" : "value " + std::to_string(index);
  const Digits number = digitsOf(field);
  const std::string shown = quoted(field);
  if (number.digits.empty()) {
    remarks.add(line.number, subject, (field.empty() ? "is empty" : shown + " is no number") + ": 0");
    return;
  }
  std::string_view significant = number.digits;
  while (significant.size() > 1 && significant.front() == '0') significant.remove_prefix(1);
  if (significant.size() > largestDigits) {
    remarks.add(line.number, subject,
                shown + " is cut to its last " + std::to_string(largestDigits) + " digits");
  }
  if (number.isNegative) remarks.add(line.number, subject, shown + " is negative");
  // A word after a blank is a comment; another number there is a comma that was forgotten.
  const bool isNumber =
      std::ranges::all_of(number.rest, [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (!number.rest.empty() && (!number.isSeparated || isNumber)) {
    remarks.add(line.number, subject, "in " + shown + " only " + std::string(number.digits) + " is read");
  }
}

void examine(Remarks& remarks, const TextLine& line, TableKind kind) {
  const std::vector<std::string_view> fields = fieldsOf(line.text);
  if (fields.size() == 1) {
    const bool isHeader = line.number == 1;
    const std::string what = trimmed(line.text).empty() ? "is empty" : "has no comma";
    remarks.add(line.number, "",
                isHeader ? what + ", but the first line is the header: slave address, comma, address mode"
                         : what + "; it is no comment but a write of nothing to register 0");
    return;
  }
  if (fields.size() - 1 > largestValueCount) {
    remarks.add(line.number, "",
                "has more than " + std::to_string(largestValueCount) + " values, so the file is refused");
    return;
  }
  if (line.number == 1 && fields.size() > 2) {
    remarks.add(line.number, "", "further values of the header are ignored");
  }
  const unsigned valueDigits = kind == TableKind::words ? 4 : 2;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const bool isHeader = line.number == 1;
    examineField(remarks, line, fields[i], i, i == 0 || isHeader ? 4 : valueDigits);
  }
}

std::string hex(std::span<const std::uint8_t> bytes) {
  std::string text;
  char two[4];
  for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), shownBytes))) {
    std::snprintf(two, sizeof two, " %02X", byte);
    text += two;
  }
  return bytes.size() > shownBytes ? text + " ... (" + std::to_string(bytes.size()) + " bytes)" : text;
}

void printHeader(const RegisterTableEntry& header, std::size_t lines) {
  const TableKind kind = kvexa::usb::tableKind(header);
  const unsigned mode = header.values[0] & 0xFFU;
  std::printf("slave 0x%02X, address mode %u (%s), %s, %zu write%s\n", header.number, mode,
              mode < addressModes.size() ? addressModes[mode] : "unknown",
              kind == TableKind::words      ? "two bytes a value"
              : kind == TableKind::commands ? "extended commands"
                                            : "one byte a value",
              lines - 1, lines == 2 ? "" : "s");
}

void printPackets(std::span<const RegisterTableEntry> entries) {
  if (kvexa::usb::tableKind(entries[0]) == TableKind::commands) {
    std::vector<std::uint8_t> bytes((entries.size() - 1) * kvexa::usb::commandBytes);
    kvexa::usb::packCommands(entries.subspan(1), bytes);
    std::printf("  one packet:%s\n", hex(bytes).c_str());
    return;
  }
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const auto packet = kvexa::usb::buildSettingPacket(entries[0], entries[i]);
    std::printf("  line %4zu  register 0x%04X, %3u value%s  %s\n", i + 1, entries[i].number,
                entries[i].valueCount, entries[i].valueCount == 1 ? " " : "s",
                packet ? hex(packet->all()).c_str() : " refused");
  }
}

}  // namespace

void explainRegisters(const std::string& path) {
  std::string content = readTextFile(path);
  std::vector<RegisterTableEntry> table(KVEXA_REGISTER_TABLE_ENTRIES);
  std::uint32_t lines = 0;
  const std::int32_t result = kUsbIniFileToBuf(path.c_str(), table.data(), &lines);
  const std::span<const RegisterTableEntry> entries(table.data(), lines);
  Remarks remarks;
  if (const std::size_t end = content.find(kvexa::files::textEndMark); end != std::string::npos) {
    const auto line = static_cast<unsigned>(std::count(content.begin(), content.begin() + end, '\n') + 1);
    remarks.add(line, "", "the file ends here, at a byte 1A (Ctrl-Z); what follows is not read");
    content.resize(end);
  }
  // The reader fills the table as far as it comes, so the header is there also when it refuses the file.
  const std::vector<TextLine> text = linesOf(content);
  const TableKind kind = kvexa::usb::tableKind(table[0]);
  for (const TextLine& line : text) examine(remarks, line, kind);
  if (text.empty()) remarks.add(0, "", "is empty: nothing is sent");
  if (text.size() > KVEXA_REGISTER_TABLE_ENTRIES)
    remarks.add(0, "",
                "has more than " + std::to_string(KVEXA_REGISTER_TABLE_ENTRIES) + " lines, so it is refused");
  if (!text.empty() && (table[0].values[0] & 0xFFU) >= addressModes.size()) {
    remarks.add(1, "address mode", "is none of 0 to 5, so the first write is refused");
  }
  if (result == KVEXA_OK && !entries.empty()) {
    printHeader(entries[0], entries.size());
    printPackets(entries);
  }
  remarks.print();
  if (result != KVEXA_OK) {
    throw Failure(path + ": is refused: " + kvexa::describe(result));
  }
}

}  // namespace cli
