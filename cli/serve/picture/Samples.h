// The samples of a frame as numbers, whatever its format.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/analysis/EdgeGrid.h"
#include "cli/analysis/Mosaic.h"
#include "cli/serve/board/Frames.h"

namespace cli::serve {

using analysis::Region;

class Samples {
 public:
  // Throws Problem when the samples do not lie side by side in the frame. The frame outlives it.
  explicit Samples(const LiveFrame& frame);

  std::uint32_t width() const { return shape_.maker.width(); }
  std::uint32_t height() const { return shape_.layout.height; }
  std::uint32_t perPixel() const { return perPixel_; }
  unsigned bits() const { return bits_; }

  // What they are, from the frame's top left corner on: "GRBG" (a cell of 2 x 2), "UYVY" and "YUYV" (two
  // pixels), "RGB", "BGR" or "Y" (one pixel).
  std::string colours() const;

  // Of a row, pixel by pixel.
  void row(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint16_t* samples) const;

  struct NamedPlane {
    const char* name;
    analysis::Plane plane;
  };
  // The region by colours.
  std::vector<NamedPlane> planes(const Region& region) const;

 private:
  std::vector<NamedPlane> mosaicPlanes(const Region& region) const;
  std::vector<NamedPlane> componentPlanes(const Region& region) const;

  const LiveFrame& frame_;
  const FrameShape& shape_;
  SampleKind kind_;
  bool isWide_;
  std::uint32_t perPixel_ = 1;
  unsigned bits_ = 8;
};

// The region that is asked for; the whole frame without one. Throws Problem when it is not inside the frame.
Region regionIn(const Samples& samples, bool isGiven, const Region& region);

}  // namespace cli::serve
