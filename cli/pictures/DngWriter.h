// DNG with the mosaic as it is.
#pragma once

#include <array>

#include "cli/pictures/Picture.h"

namespace pictures {

struct Mosaic {
  Picture picture;            // one channel
  std::uint32_t pattern = 0;  // KvexaBayerPattern
  std::uint32_t white = 255;
  // In the order of the cell, row by row.
  std::array<std::uint16_t, 4> black{};
  // What part of the picture programs show; a width of 0 is all of it.
  std::uint32_t cropX = 0;
  std::uint32_t cropY = 0;
  std::uint32_t cropWidth = 0;
  std::uint32_t cropHeight = 0;
  // By so much red, green and blue must be multiplied for grey to be grey.
  std::array<double, 3> gains{1, 1, 1};
};

// Throws PictureError as check does, and when the levels, the crop or the gains make no sense.
Bytes dngOf(const Mosaic& mosaic);

}  // namespace pictures
