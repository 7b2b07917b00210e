#include "cli/files/RegisterFile.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <string_view>

#include "cli/base/Failure.h"
#include "files/RegisterSettingReader.h"
#include "usb/registers/RegisterSettingPackets.h"

namespace cli {

namespace {

using kvexa::files::largestValueCount;
using kvexa::usb::TableKind;

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
    const std::string reason = (field.empty() ? "is empty" : shown + " is no number") + ": 0";
    // Without a slave address, or with another address mode than the one that is meant, nothing is right.
    line.number == 1 ? remarks.addFault(line.number, subject, reason)
                     : remarks.add(line.number, subject, reason);
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
    if (isHeader) {
      remarks.addFault(line.number, "",
                       what + ", but the first line is the header: slave address, comma, address mode");
    } else {
      remarks.add(line.number, "", what + "; it is no comment but a write of nothing to register 0");
    }
    return;
  }
  if (fields.size() - 1 > largestValueCount) {
    remarks.addFault(
        line.number, "",
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

void examineText(RegisterFile& file, std::string content) {
  Remarks& remarks = file.remarks;
  if (content.starts_with(byteOrderMark)) {
    remarks.addFault(
        1, "",
        "begins with a byte-order mark, so the slave address is read as 0: save the file without "
        "one");
    content.erase(0, byteOrderMark.size());
  }
  if (const std::size_t end = content.find(kvexa::files::textEndMark); end != std::string::npos) {
    const auto line = static_cast<unsigned>(
        std::count(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(end), '\n') + 1);
    remarks.add(line, "", "the file ends here, at a byte 1A (Ctrl-Z); what follows is not read");
    content.resize(end);
  }
  // The reader fills the table as far as it comes, so the header is there also when it refuses the file.
  const std::vector<TextLine> text = linesOf(content);
  const TableKind kind = kvexa::usb::tableKind(file.table[0]);
  for (const TextLine& line : text) examine(remarks, line, kind);
  if (text.empty()) remarks.addFault(0, "", "is empty: nothing is sent");
  if (text.size() > KVEXA_REGISTER_TABLE_ENTRIES) {
    remarks.addFault(
        0, "", "has more than " + std::to_string(KVEXA_REGISTER_TABLE_ENTRIES) + " lines, so it is refused");
  }
  if (!text.empty() && (file.table[0].values[0] & 0xFFU) >= addressModes.size()) {
    remarks.addFault(1, "address mode", "is none of 0 to 5, so the first write is refused");
  }
}

}  // namespace

RegisterFile readRegisterFile(const std::string& path) {
  RegisterFile file;
  std::string content = readTextFile(path);
  file.table.resize(KVEXA_REGISTER_TABLE_ENTRIES);
  file.result = kUsbIniFileToBuf(path.c_str(), file.table.data(), &file.lines);
  examineText(file, std::move(content));
  return file;
}

std::string causeOfMisplay(const std::string& path) { return readRegisterFile(path).remarks.fault(); }

}  // namespace cli
