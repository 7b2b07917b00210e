// Bayer interpolation one pixel at a time, by the colour of the site and its neighbours: slow, and
// written apart from the library, which is compared with it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kvexa::test::reference {

enum class Colour : unsigned { blue, green, red };

class BayerImage {
 public:
  BayerImage(const std::vector<std::uint8_t>& samples, unsigned width, unsigned height, unsigned pattern)
      : samples_(samples), width_(width), height_(height), pattern_(pattern) {}

  // Blue, green, red of every pixel, top row first.
  std::vector<std::uint8_t> toBgr24() const {
    std::vector<std::uint8_t> pixels;
    pixels.reserve(static_cast<std::size_t>(width_) * height_ * 3);
    for (unsigned row = 0; row < height_; ++row) {
      for (unsigned column = 0; column < width_; ++column) {
        for (const Colour colour : {Colour::blue, Colour::green, Colour::red}) {
          pixels.push_back(static_cast<std::uint8_t>(channel(row, column, colour)));
        }
      }
    }
    return pixels;
  }

 private:
  static constexpr Colour cells_[4][2][2] = {
      {{Colour::green, Colour::red}, {Colour::blue, Colour::green}},
      {{Colour::red, Colour::green}, {Colour::green, Colour::blue}},
      {{Colour::blue, Colour::green}, {Colour::green, Colour::red}},
      {{Colour::green, Colour::blue}, {Colour::red, Colour::green}},
  };

  Colour site(unsigned row, unsigned column) const { return cells_[pattern_][row % 2][column % 2]; }

  unsigned sample(unsigned row, unsigned column) const {
    return samples_[static_cast<std::size_t>(row) * width_ + column];
  }

  unsigned channel(unsigned row, unsigned column, Colour colour) const {
    const bool awayFromSides = column > 0 && column + 1 < width_;
    if (row == 0 && awayFromSides) return topRow(column, colour);
    if (row > 0 && row + 1 < height_ && awayFromSides) return interior(row, column, colour);
    return meanOfNeighbours(row, column, colour, row > 0 ? row - 1 : 0, row + 1);
  }

  // The top row looks like row 2 of which only row 3 is a neighbour: rows 0 and 1 are not read.
  unsigned topRow(unsigned column, Colour colour) const { return meanOfNeighbours(2, column, colour, 2, 3); }

  unsigned interior(unsigned row, unsigned column, Colour colour) const {
    const unsigned up = row - 1, down = row + 1, left = column - 1, right = column + 1;
    if (site(row, column) == colour) return sample(row, column);
    if (site(row, column) == Colour::green) {
      return site(row, left) == colour ? (sample(row, left) + sample(row, right)) / 2
                                       : (sample(up, column) + sample(down, column)) / 2;
    }
    if (colour == Colour::green) {
      return (sample(up, column) + sample(down, column) + sample(row, left) + sample(row, right)) / 4;
    }
    return (sample(up, left) + sample(up, right) + sample(down, left) + sample(down, right)) / 4;
  }

  // The truncated mean of the samples of that colour around the site, in the image and in these rows.
  unsigned meanOfNeighbours(unsigned row, unsigned column, Colour colour, unsigned firstRow,
                            unsigned lastRow) const {
    if (site(row, column) == colour) return sample(row, column);
    unsigned sum = 0, count = 0;
    for (unsigned r = firstRow; r <= lastRow && r < height_; ++r) {
      for (unsigned c = column > 0 ? column - 1 : 0; c <= column + 1 && c < width_; ++c) {
        if (site(r, c) != colour) continue;
        sum += sample(r, c);
        ++count;
      }
    }
    return sum / count;
  }

  const std::vector<std::uint8_t>& samples_;
  unsigned width_, height_, pattern_;
};

}  // namespace kvexa::test::reference
