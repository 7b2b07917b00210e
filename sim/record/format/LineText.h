// Writes lines. Nothing is allocated: the last lines are written while the process ends.
#pragma once

#include <cstddef>
#include <span>

#include "sim/record/format/Line.h"

namespace sim::record {

// The line with its line feed; the bytes that it takes. The buffer holds longestLine bytes.
std::size_t writeLine(const Line& line, std::span<char> buffer);
std::size_t writeHeader(const Header& header, std::span<char> buffer);

// The bytes of text that a line can hold; longer ones are cut.
constexpr std::uint32_t mostText = 4096;

}  // namespace sim::record
