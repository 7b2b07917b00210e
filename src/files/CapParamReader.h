// The capture-parameter file: one key, a colon and a value a line, up to "END".
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "kvexa.h"

namespace kvexa::files {

struct CapParamKey {
  std::string_view name;
  std::uint16_t CapParam::*field;
};

// A file has its end key within this many lines.
constexpr unsigned capParamLineLimit = 1000;
constexpr std::string_view capParamEndKey = "END";

// Whether the name is that of a capture-parameter file: it ends in "dat", in lower case only. That is
// intended.
constexpr bool isCapParamName(std::string_view path) { return path.ends_with("dat"); }

// Every key, in the order of the record's fields.
extern const std::array<CapParamKey, 26> capParamKeys;

// The result of kVexaGetCapFileParam for the file's content.
std::int32_t readCapParam(std::FILE* file, CapParam& param);

// The same for a file by its name, which is checked first.
std::int32_t readCapParamFile(const char* path, CapParam* param);

// An unsigned number whose prefix gives its base, as the run-time library's strtoul reads it where a
// long has 32 bits.
std::uint32_t parseUnsigned(const char* text);

}  // namespace kvexa::files
