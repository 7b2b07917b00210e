#include "cli/analysis/Series.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "cli/analysis/HighPass.h"

namespace analysis {

namespace {

// A difference of variances may come out below zero: then the pattern or the noise is too small to be seen.
std::optional<double> rootOf(double variance) {
  return variance < 0 ? std::nullopt : std::optional(std::sqrt(variance));
}

}  // namespace

bool Series::add(const Mosaic& mosaic) {
  if (frames_ == 0) {
    shape_ = mosaic;
    shape_.samples = {};
    splitMosaic(mosaic, first_);
    sums_.resize(first_.size());
    for (std::size_t i = 0; i < first_.size(); ++i) sums_[i].histogram.add(first_[i]);
    frames_ = 1;
    return true;
  }
  if (frames_ == mostFrames || mosaic.width != shape_.width || mosaic.height != shape_.height ||
      mosaic.bits != shape_.bits || mosaic.pattern != shape_.pattern) {
    return false;
  }
  splitMosaic(mosaic, latest_);
  for (std::size_t i = 0; i < latest_.size(); ++i) addTo(sums_[i], first_[i], latest_[i]);
  ++frames_;
  return true;
}

void Series::addTo(Sums& sums, const Plane& first, const Plane& plane) const {
  sums.histogram.add(plane);
  if (sums.samples.empty()) sums.samples.assign(first.samples.begin(), first.samples.end());
  std::uint64_t squares = 0;
  std::int64_t differences = 0;
  for (std::size_t i = 0; i < plane.samples.size(); ++i) {
    const std::int64_t difference = plane.samples[i] - first.samples[i];
    differences += difference;
    squares += static_cast<std::uint64_t>(difference * difference);
    sums.samples[i] += plane.samples[i];
  }
  const auto difference = static_cast<double>(differences);
  sums.squares += static_cast<double>(squares);
  sums.frameSquares += difference * difference;
  sums.differences += difference;
}

// What remains of the squares when each sample's own level and each frame's own brightness are taken out: a
// light that flickers is no noise of the sensor. The first frame is subtracted before, so that the large
// numbers that cancel out are those of the noise, not of the picture.
Noise Series::noiseOf(const Sums& sums, const Plane& first) const {
  Noise noise;
  if (frames_ == 1) {
    const auto variance = highPassVariance(first);
    if (variance) noise.upperBound = rootOf(*variance);
    return noise;
  }
  if (first.samples.size() < 2) return noise;
  const double frames = frames_;
  const auto count = static_cast<double>(first.samples.size());
  double sampleSquares = 0;
  for (std::size_t i = 0; i < first.samples.size(); ++i) {
    const double own = static_cast<double>(sums.samples[i]) - frames * first.samples[i];
    sampleSquares += own * own;
  }
  const double rest = sums.squares - sampleSquares / frames - sums.frameSquares / count +
                      sums.differences * sums.differences / (frames * count);
  const double temporal = std::max(rest, 0.0) / ((frames - 1) * (count - 1));
  noise.temporal = std::sqrt(temporal);
  const auto spatial = highPassVariance(sums.samples, first.width, first.height);
  if (spatial) noise.fixedPattern = rootOf(*spatial / (frames * frames) - temporal / frames);
  return noise;
}

Statistics Series::finish() {
  Statistics result{frames_, shape_.width, shape_.height, shape_.bits, levels_, {}};
  for (std::size_t i = 0; i < first_.size(); ++i) {
    ChannelStatistics channel;
    channel.channel = first_[i].channel;
    channel.values = sums_[i].histogram.describe(levels_, shape_.bits);
    channel.histogram = sums_[i].histogram.bins(shape_.bits);
    channel.noise = noiseOf(sums_[i], first_[i]);
    Plane& mean = first_[i];  // its samples are not needed any more
    for (std::size_t k = 0; k < sums_[i].samples.size(); ++k) {
      mean.samples[k] =
          static_cast<std::uint16_t>((sums_[i].samples[k] + std::uint64_t{frames_} / 2) / frames_);
    }
    channel.outliers = findOutliers(mean, levels_, defectShare_);
    channel.shading = shadingOf(mean, levels_);
    result.channels.push_back(std::move(channel));
  }
  return result;
}

}  // namespace analysis
