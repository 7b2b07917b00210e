#include "BayerToRgb.h"

#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

namespace kvexa::convert {
namespace {

enum class Colour { blue, green, red };

// Where a pixel stands in the 2x2 cell. Red samples lie where a row that holds red crosses a column that
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

// Site of the top-left pixel: 0 GRBG, 1 RGGB, 2 BGGR, 3 GBRG.
constexpr Site patternOrigin(std::uint32_t pattern) { return {pattern < 2, pattern % 2 == 1}; }

// Which of the rows and columns around a pixel lie inside the image.
struct Reach {
  bool above = true;
  bool below = true;
  bool left = true;
  bool right = true;

  constexpr bool has(int rows, int columns) const {
    return (rows >= 0 || above) && (rows <= 0 || below) && (columns >= 0 || left) && (columns <= 0 || right);
  }
};

struct Rows {
  const std::uint8_t* above;
  const std::uint8_t* own;
  const std::uint8_t* below;

  const std::uint8_t* at(int offset) const { return offset < 0 ? above : offset > 0 ? below : own; }
};

template <Site site, Reach reach, Colour wanted>
constexpr bool contributes(int neighbour) {
  const int rows = neighbour / 3 - 1;
  const int columns = neighbour % 3 - 1;
  return reach.has(rows, columns) && site.neighbour(rows, columns).colour() == wanted;
}

// One colour of one pixel: its own sample, or else the truncated mean of the samples of that colour among
// the neighbours inside the image. Which those are is settled when this is compiled.
template <Site site, Reach reach, Colour wanted>
std::uint8_t channel(const Rows& rows, std::size_t column) {
  if constexpr (site.colour() == wanted) {
    return rows.own[column];
  } else {
    return [&]<int... neighbour>(std::integer_sequence<int, neighbour...>) {
      constexpr unsigned count = (0U + ... + contributes<site, reach, wanted>(neighbour));
      const auto sample = [&]<int n>(std::integral_constant<int, n>) -> unsigned {
        if constexpr (contributes<site, reach, wanted>(n)) {
          return rows.at(n / 3 - 1)[column + static_cast<std::size_t>(n % 3) - 1];
        } else {
          return 0;
        }
      };
      return static_cast<std::uint8_t>((0U + ... + sample(std::integral_constant<int, neighbour>{})) / count);
    }
    (std::make_integer_sequence<int, 9>{});
  }
}

template <Site site, Reach reach>
void writePixel(const Rows& rows, std::uint8_t* output, std::size_t column) {
  std::uint8_t* pixel = output + column * 3;
  pixel[0] = channel<site, reach, Colour::blue>(rows, column);
  pixel[1] = channel<site, reach, Colour::green>(rows, column);
  pixel[2] = channel<site, reach, Colour::red>(rows, column);
}

// One output row; first is the site of its first pixel, reach says which neighbour rows there are.
template <Site first, Reach reach>
void writeRow(const Rows& rows, std::uint8_t* output, std::size_t width) {
  constexpr Site second = first.neighbour(0, 1);
  constexpr Reach leftEnd{reach.above, reach.below, false, true};
  constexpr Reach rightEnd{reach.above, reach.below, true, false};

  writePixel<first, leftEnd>(rows, output, 0);
  std::size_t column = 1;
  for (; column + 2 < width; column += 2) {
    writePixel<second, reach>(rows, output, column);
    writePixel<first, reach>(rows, output, column + 1);
  }
  if (column + 1 < width) {
    writePixel<second, reach>(rows, output, column);
    writePixel<first, rightEnd>(rows, output, column + 1);
  } else {
    writePixel<second, rightEnd>(rows, output, column);
  }
}

// The top row is made from rows 2 and 3, row 3 being its only neighbour row; this is intended. Its corners
// alone use rows 0 and 1.
template <Site origin>
void writeTopRow(const std::uint8_t* source, std::uint8_t* output, std::size_t width) {
  constexpr Reach reach{.above = false};
  constexpr Reach leftEnd{.above = false, .left = false};
  constexpr Reach rightEnd{.above = false, .right = false};
  writeRow<origin, reach>({nullptr, source + 2 * width, source + 3 * width}, output, width);

  const Rows corner{nullptr, source, source + width};
  writePixel<origin, leftEnd>(corner, output, 0);
  if (width % 2 == 0) {
    writePixel<origin.neighbour(0, 1), rightEnd>(corner, output, width - 1);
  } else {
    writePixel<origin, rightEnd>(corner, output, width - 1);
  }
}

template <std::uint32_t pattern>
void convert(const std::uint8_t* source, std::uint8_t* destination, std::size_t width, std::size_t height) {
  constexpr Site even = patternOrigin(pattern);
  constexpr Site odd = even.neighbour(1, 0);
  const auto rowsAround = [&](std::size_t row) {
    const std::uint8_t* own = source + row * width;
    return Rows{own - width, own, own + width};
  };
  const auto outputRow = [&](std::size_t row) { return destination + row * width * 3; };

  writeTopRow<even>(source, destination, width);
  std::size_t row = 1;
  for (; row + 2 < height; row += 2) {
    writeRow<odd, Reach{}>(rowsAround(row), outputRow(row), width);
    writeRow<even, Reach{}>(rowsAround(row + 1), outputRow(row + 1), width);
  }
  if (row + 1 < height) {
    writeRow<odd, Reach{}>(rowsAround(row), outputRow(row), width);
    ++row;
  }
  constexpr Reach bottom{.below = false};
  const std::uint8_t* last = source + row * width;
  if (row % 2 == 0) {
    writeRow<even, bottom>({last - width, last, nullptr}, outputRow(row), width);
  } else {
    writeRow<odd, bottom>({last - width, last, nullptr}, outputRow(row), width);
  }
}

bool isConvertible(const void* source, const void* destination, std::uint32_t width, std::uint32_t height) {
  constexpr std::uint64_t bytesPerPixel = 3;
  return source != nullptr && destination != nullptr && width >= 4 && height >= 4 &&
         std::uint64_t{width} * height <= std::numeric_limits<std::size_t>::max() / bytesPerPixel;
}

}  // namespace

bool raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern) {
  constexpr decltype(&convert<0>) converters[] = {convert<0>, convert<1>, convert<2>, convert<3>};
  if (!isConvertible(source, destination, width, height) || pattern >= std::size(converters)) return false;
  converters[pattern](source, destination, width, height);
  return true;
}

}  // namespace kvexa::convert
