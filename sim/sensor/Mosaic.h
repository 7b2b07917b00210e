// How a picture becomes the samples that a sensor sends.
#pragma once

#include <cstdint>
#include <vector>

#include "sim/sensor/Sensor.h"

namespace sim {

enum class BayerColour { red, green, blue };

// The colour filter over a pixel; patterns as in KvexaBayerPattern.
BayerColour bayerColour(unsigned pattern, unsigned x, unsigned y);

// Full studio-range YUV of ITU-R BT.601, 8 bits.
struct Yuv {
  int y = 16;
  int u = 128;
  int v = 128;
};
Yuv toYuv(Colour colour);
Colour toColour(Yuv yuv);

// The picture's samples without noise and frame number.
std::vector<std::uint16_t> drawSamples(const SensorPicture& picture);

// What differs from frame to frame.
void addNoise(const SensorPicture& picture, std::uint64_t number, std::vector<std::uint16_t>& samples);
void drawFrameNumber(const SensorPicture& picture, std::uint64_t number, std::vector<std::uint16_t>& samples);

}  // namespace sim
