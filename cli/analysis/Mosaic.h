// A frame of samples behind a colour mosaic, and the planes of its colours.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace analysis {

// The colours of the top-left 2 x 2 cell; the first four are numbered as in KvexaBayerPattern.
enum class Pattern { grbg, rggb, bggr, gbrg, none };

// Greens are told apart by the other colour of their row.
enum class Channel { red, greenRed, greenBlue, blue, grey };

const char* nameOf(Channel channel);

Channel channelAt(Pattern pattern, std::uint32_t x, std::uint32_t y);

// Samples stay with their owner.
struct Mosaic {
  std::span<const std::uint16_t> samples;  // top row first, rows not padded
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  unsigned bits = 8;
  Pattern pattern = Pattern::grbg;

  std::uint16_t at(std::uint32_t x, std::uint32_t y) const { return samples[std::size_t{y} * width + x]; }
};

// What counts as black and as saturated.
struct Levels {
  std::uint16_t black = 0;
  std::uint16_t white = 255;
};

// The largest sample of a depth, and black at 0.
Levels fullRange(unsigned bits);

// All samples of one channel, without what lies between them.
struct Plane {
  Channel channel = Channel::grey;
  std::uint32_t firstX = 0;  // where its first sample is in the frame
  std::uint32_t firstY = 0;
  std::uint32_t step = 1;  // from one of its samples to the next
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint16_t> samples;

  const std::uint16_t* row(std::uint32_t y) const { return samples.data() + std::size_t{y} * width; }
};

// Red, both greens, blue; or grey alone. Reuses the memory of planes of an earlier frame. A colour of which a
// frame of one row or column has no sample gets a plane without samples.
void splitMosaic(const Mosaic& mosaic, std::vector<Plane>& planes);

}  // namespace analysis
