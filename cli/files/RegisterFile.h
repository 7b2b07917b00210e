// A register-setting file as the library reads it, and what is wrong or suspicious in it.
#pragma once

#include <kvexa.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "cli/files/FileRemarks.h"

namespace cli {

inline constexpr std::array<const char*, 6> addressModes{
    "7-bit slave, 8-bit register",  "7-bit slave, 16-bit register",  "7-bit slave, no register",
    "10-bit slave, 8-bit register", "10-bit slave, 16-bit register", "10-bit slave, no register"};

struct RegisterFile {
  std::int32_t result = KVEXA_OK;         // of kUsbIniFileToBuf
  std::vector<RegisterTableEntry> table;  // the first entry is the header
  std::uint32_t lines = 0;                // entries that were read
  Remarks remarks;

  std::span<const RegisterTableEntry> entries() const { return {table.data(), lines}; }
};

// What the library sends for a line of the file, for people; line 0 for all lines together.
struct WriteText {
  std::size_t line;
  std::string text;
};
std::vector<WriteText> describeWrites(const RegisterFile& file);

// Throws Failure when the file cannot be read.
RegisterFile readRegisterFile(const std::string& path);

// Why playing the file cannot do what it is meant to do, with its line; empty when nothing is found.
std::string causeOfMisplay(const std::string& path);

}  // namespace cli
