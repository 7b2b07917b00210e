// One pixel of a Bayer mosaic by bilinear interpolation: the definition of the conversion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "convert/base/Bytes.h"
#include "convert/bayer/BayerSite.h"

namespace kvexa::convert {

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

// A row and its neighbours; those outside of the image are never read.
template <typename Sample>
struct BayerRows {
  SampleRow<Sample> above;
  SampleRow<Sample> own;
  SampleRow<Sample> below;

  const SampleRow<Sample>& at(int offset) const { return offset < 0 ? above : offset > 0 ? below : own; }
};

template <Site site, Reach reach, Colour wanted>
constexpr bool contributes(int neighbour) {
  const int rows = neighbour / 3 - 1;
  const int columns = neighbour % 3 - 1;
  return reach.has(rows, columns) && site.neighbour(rows, columns).colour() == wanted;
}

// One colour of one pixel: its own sample, or else the truncated mean of the samples of that colour among
// the neighbours inside the image. Which those are is decided at compile time.
template <Site site, Reach reach, Colour wanted, typename Sample>
std::uint32_t channel(const BayerRows<Sample>& rows, std::size_t column) {
  if constexpr (site.colour() == wanted) {
    return rows.own[column];
  } else {
    return [&]<int... neighbour>(std::integer_sequence<int, neighbour...>) {
      constexpr unsigned count = (0U + ... + contributes<site, reach, wanted>(neighbour));
      const auto sample = [&]<int n>(std::integral_constant<int, n>) -> std::uint32_t {
        if constexpr (contributes<site, reach, wanted>(n)) {
          return rows.at(n / 3 - 1)[column + static_cast<std::size_t>(n % 3) - 1];
        } else {
          return 0;
        }
      };
      return (0U + ... + sample(std::integral_constant<int, neighbour>{})) / count;
    }
    (std::make_integer_sequence<int, 9>{});
  }
}

}  // namespace kvexa::convert
