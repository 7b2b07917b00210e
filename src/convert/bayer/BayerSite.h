// The colours of a Bayer mosaic.
#pragma once

#include <cstdint>

namespace kvexa::convert {

enum class Colour { blue, green, red };

// Where a pixel is in the 2x2 cell. Red samples are where a row that holds red crosses a column that
// holds red, blue ones where neither does.
struct Site {
  bool redRow;
  bool redColumn;

  constexpr Colour colour() const {
    if (redRow != redColumn) return Colour::green;
    return redRow ? Colour::red : Colour::blue;
  }
  constexpr Site neighbour(int rows, int columns) const {
    return {redRow != (rows % 2 != 0), redColumn != (columns % 2 != 0)};
  }
};

constexpr std::uint32_t patternCount = 4;

// Site of the top-left pixel: 0 GRBG, 1 RGGB, 2 BGGR, 3 GBRG.
constexpr Site patternOrigin(std::uint32_t pattern) { return {pattern < 2, pattern % 2 == 1}; }

}  // namespace kvexa::convert
