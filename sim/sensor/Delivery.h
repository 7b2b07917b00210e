// What the board makes of the sensor's samples before they go to the host.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/sensor/Sensor.h"

namespace sim {

// The board's capture registers in words. Columns and lines count from the sensor's top left sample.
// A column is one sample; of a YUV sensor whose samples are packed, or converted on the board, it is one
// pixel, that is two samples.
struct Delivery {
  unsigned left = 0;
  unsigned right = 0;  // the first column that is not captured
  unsigned top = 0;
  unsigned bottom = 0;
  unsigned columnStep = 1;  // one of so many is kept
  unsigned lineStep = 1;
  int shift = 0;        // to the left when positive
  bool narrow = false;  // one byte a sample
  bool packed = false;  // as narrow; a YUV pixel is one column
  bool bayerToRgb = false;
  unsigned bayerPattern = 0;  // of the captured area's top left cell
  bool yuvToRgb = false;

  bool operator==(const Delivery&) const = default;

  // Bytes of one frame.
  std::uint64_t frameBytes(bool yuv) const;

  std::vector<std::uint8_t> bytes(const SensorPicture& picture,
                                  const std::vector<std::uint16_t>& samples) const;
};

}  // namespace sim
