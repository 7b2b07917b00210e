// The register-setting file: comma-separated hexadecimal numbers, a header line and then one register
// write a line.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>

#include "kvexa.h"

namespace kvexa::files {

constexpr std::uint32_t largestValueCount = 256;

// The text ends before this byte (Ctrl-Z).
constexpr char textEndMark = 0x1A;

struct RegisterSettingLine {
  std::uint32_t number = 0;  // slave address in the first line, register address after
  std::array<std::uint32_t, largestValueCount> values{};
  std::uint32_t valueCount = 0;
};

// Reads a file line by line, as a text, whose bytes it takes as they are. Every line counts, empty ones and
// comments too.
class RegisterSettingReader {
 public:
  enum class Outcome { line, endOfFile, tooManyValues };

  // The file stays the caller's.
  explicit RegisterSettingReader(std::FILE* file) : file_(file) {}

  Outcome next(RegisterSettingLine& line);

 private:
  int nextByte();

  std::FILE* file_;
  bool isEnded_ = false;
};

// Reads the file to its end and calls `store` with each line and its index, which is below
// KVEXA_REGISTER_TABLE_ENTRIES. The number of lines, or KVEXA_BAD_ARGUMENT when there are more lines or
// values than a table holds.
template <class Store>
std::int32_t readRegisterSettings(std::FILE* file, Store store) {
  RegisterSettingReader reader(file);
  RegisterSettingLine line;
  for (std::uint32_t index = 0;; ++index) {
    switch (reader.next(line)) {
      case RegisterSettingReader::Outcome::endOfFile: return static_cast<std::int32_t>(index);
      case RegisterSettingReader::Outcome::tooManyValues: return KVEXA_BAD_ARGUMENT;
      case RegisterSettingReader::Outcome::line: break;
    }
    if (index == KVEXA_REGISTER_TABLE_ENTRIES) return KVEXA_BAD_ARGUMENT;
    store(line, index);
  }
}

// What kUsbIniFileToBuf returns for the file's content. The table has KVEXA_REGISTER_TABLE_ENTRIES.
std::int32_t readRegisterTable(std::FILE* file, RegisterTableEntry* table, std::uint32_t& lineCount);

// The same for a file by its name.
std::int32_t readRegisterTableFile(const char* path, RegisterTableEntry* table, std::uint32_t* lineCount);

}  // namespace kvexa::files
