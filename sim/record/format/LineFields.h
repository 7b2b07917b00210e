// The members of a line and of the header by the names that they have in a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "sim/record/format/Line.h"

namespace sim::record {

struct Field {
  enum class Kind : std::uint8_t { number32, number64, flag, text, hex, hash, board, call, request };
  const char* key;
  Kind kind;
  std::size_t offset;
};

std::span<const Field> lineFields();
std::span<const Field> headerFields();

const char* callName(Call call);
bool findCall(std::string_view name, Call& call);

// "pipe", "readRegister", or the code as "0x80002008". Both boards' codes are told apart by the code alone.
std::size_t requestName(std::uint32_t code, std::span<char, 16> name);
bool findRequest(std::string_view name, std::uint32_t& code);

}  // namespace sim::record
