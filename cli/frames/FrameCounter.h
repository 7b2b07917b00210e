// The number that a sensor draws into its frames: a row of squares, white for 1 and black for 0, most
// significant bit first.
#pragma once

#include <cstdint>
#include <optional>

namespace cli {

constexpr std::uint32_t counterCells = 32;
constexpr std::uint32_t counterCellSize = 4;

// Of a frame of 8-bit samples with rows of so many; nothing when no number is drawn there.
std::optional<std::uint32_t> drawnNumber(const std::uint8_t* samples, std::uint32_t width);

}  // namespace cli
