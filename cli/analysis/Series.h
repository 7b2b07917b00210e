// Statistics of one frame or of several of the same scene, channel by channel.
#pragma once

#include <optional>
#include <vector>

#include "cli/analysis/Defects.h"
#include "cli/analysis/Histogram.h"
#include "cli/analysis/Mosaic.h"
#include "cli/analysis/Shading.h"

namespace analysis {

// Standard deviations, in units of samples; without a value is what the frames cannot tell.
struct Noise {
  std::optional<double> upperBound;    // of one frame: noise and fixed pattern together
  std::optional<double> temporal;      // from two frames on
  std::optional<double> fixedPattern;  // from two frames on, without its slow course
};

struct ChannelStatistics {
  Channel channel = Channel::grey;
  Values values;  // of all frames together
  std::vector<std::uint64_t> histogram;
  Noise noise;
  Outliers outliers;  // of the mean of the frames
  std::optional<Shading> shading;
};

struct Statistics {
  std::uint32_t frames = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  unsigned bits = 0;
  Levels levels;
  std::vector<ChannelStatistics> channels;
};

// Takes any number of frames, up to 65536, in memory for three.
class Series {
 public:
  static constexpr std::uint32_t mostFrames = 65536;  // sums of so many samples fit into 32 bits

  // `defectShare` of the range is the least difference of a defect.
  Series(Levels levels, double defectShare) : levels_(levels), defectShare_(defectShare) {}

  // All frames have the size, depth and pattern of the first one. False, and nothing is added, when this one
  // has not, or is one too many.
  bool add(const Mosaic& mosaic);

  Statistics finish();

 private:
  // What more than one frame needs of a channel.
  struct Sums {
    Histogram histogram;
    std::vector<std::uint32_t> samples;  // empty as long as there is one frame
    double squares = 0;                  // of differences to the first frame
    double frameSquares = 0;             // of the sums of these differences of each frame
    double differences = 0;
  };

  void addTo(Sums& sums, const Plane& first, const Plane& plane) const;
  Noise noiseOf(const Sums& sums, const Plane& first) const;

  Levels levels_;
  double defectShare_;
  Mosaic shape_;
  std::uint32_t frames_ = 0;
  std::vector<Plane> first_;
  std::vector<Plane> latest_;
  std::vector<Sums> sums_;
};

}  // namespace analysis
