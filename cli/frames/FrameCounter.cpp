#include "cli/frames/FrameCounter.h"

#include <cstddef>

#include "sim/sensor/Sensor.h"

namespace cli {

namespace {

static_assert(counterCells == sim::FrameCounter::cells && counterCellSize == sim::FrameCounter::cellSize);

constexpr std::uint8_t black = 0;
constexpr std::uint8_t white = 255;

// One square is of one colour.
bool isPlain(const std::uint8_t* cell, std::uint32_t width) {
  if (*cell != black && *cell != white) return false;
  for (std::size_t y = 0; y < counterCellSize; ++y) {
    for (std::size_t x = 0; x < counterCellSize; ++x) {
      if (cell[y * width + x] != *cell) return false;
    }
  }
  return true;
}

}  // namespace

std::optional<std::uint32_t> drawnNumber(const std::uint8_t* samples, std::uint32_t width) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < counterCells; ++i) {
    const std::uint8_t* const cell = samples + i * counterCellSize;
    if (!isPlain(cell, width)) return std::nullopt;
    number = number << 1 | (*cell == white ? 1U : 0U);
  }
  return number;
}

}  // namespace cli
