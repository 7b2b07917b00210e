// Register tables as the register-setting reader should leave them, byte for byte.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kvexa.h"
#include "tests/files/FilesUnderTest.h"
#include "tests/files/GuardedMemory.h"

namespace kvexa::test {

// One line of a file: its number and its values.
struct SettingLine {
  std::uint32_t number = 0;
  std::vector<std::uint16_t> values;
};

constexpr std::size_t registerTableBytes = sizeof(RegisterTableEntry) * KVEXA_REGISTER_TABLE_ENTRIES;
constexpr std::uint8_t tableFill = 0xA5;

// A table that held tableFill before these lines were read: their fields are set, all else is not.
inline std::vector<std::uint8_t> expectedTable(const std::vector<SettingLine>& lines) {
  std::vector<std::uint8_t> bytes(registerTableBytes, tableFill);
  std::size_t entry = 0;
  for (const auto& line : lines) {
    const auto count = static_cast<std::uint32_t>(line.values.size());
    std::memcpy(&bytes[entry], &line.number, 4);
    if (count > 0) std::memcpy(&bytes[entry + 4], line.values.data(), 2 * count);
    std::memcpy(&bytes[entry + 2052], &count, 4);
    entry += 2056;
  }
  return bytes;
}

// Where two tables differ first, for people.
inline std::string firstDifference(const std::vector<std::uint8_t>& expected,
                                   const std::vector<std::uint8_t>& actual) {
  for (std::size_t i = 0; i < expected.size() && i < actual.size(); ++i) {
    if (expected[i] != actual[i]) {
      return "entry " + std::to_string(i / 2056) + ", byte " + std::to_string(i % 2056) + ": expected " +
             std::to_string(expected[i]) + ", got " + std::to_string(actual[i]);
    }
  }
  return "none";
}

// What the reader made of a text.
struct ReadTable {
  std::int32_t result;
  std::uint32_t lineCount;
  std::vector<std::uint8_t> bytes;
};

constexpr std::uint32_t lineCountFill = 0xA5A5A5A5u;

inline ReadTable readTable(const std::string& content, MemoryEdge edge = MemoryEdge::upper) {
  GuardedMemory table(registerTableBytes, edge, tableFill);
  ReadTable read{0, lineCountFill, {}};
  read.result = undertest::readRegisterTable(content, reinterpret_cast<RegisterTableEntry*>(table.data()),
                                             read.lineCount);
  read.bytes = bytesOf(table);
  return read;
}

}  // namespace kvexa::test
