// Reads one line of a recording: an object of JSON without objects in it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sim/record/format/Line.h"

namespace sim::record {

// Why a line cannot be read.
struct LineError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Where the bytes of a line stay, until the next line is read into it.
using LineMemory = std::vector<std::uint8_t>;

// Both throw LineError.
Line readLine(std::string_view text, LineMemory& memory);
Header readHeader(std::string_view text, LineMemory& memory);

}  // namespace sim::record
