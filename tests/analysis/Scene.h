// Frames whose statistics are known by calculation.
#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <random>
#include <vector>

#include "cli/analysis/Mosaic.h"

namespace scene {

struct Frame {
  std::vector<std::uint16_t> samples;
  analysis::Mosaic mosaic;

  Frame(std::uint32_t width, std::uint32_t height, unsigned bits, analysis::Pattern pattern)
      : samples(std::size_t{width} * height), mosaic{samples, width, height, bits, pattern} {}
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  std::uint16_t& at(std::uint32_t x, std::uint32_t y) { return samples[std::size_t{y} * mosaic.width + x]; }

  // Rounds; no value may leave the depth.
  void fill(const std::function<double(std::uint32_t, std::uint32_t)>& value) {
    const double most = analysis::fullRange(mosaic.bits).white;
    for (std::uint32_t y = 0; y < mosaic.height; ++y) {
      for (std::uint32_t x = 0; x < mosaic.width; ++x) {
        at(x, y) = static_cast<std::uint16_t>(std::lround(std::fmin(std::fmax(value(x, y), 0), most)));
      }
    }
  }
};

// The same numbers on every machine: the normal distribution of the standard library may differ.
class Normal {
 public:
  explicit Normal(std::uint32_t seed) : source_(seed) {}

  double operator()() {
    // By Box and Muller, in double precision, never the logarithm of 0.
    const double first = (static_cast<double>(source_()) + 1) / 4294967297.0;
    const double second = static_cast<double>(source_()) / 4294967296.0;
    return std::sqrt(-2 * std::log(first)) * std::cos(2 * std::numbers::pi * second);
  }

 private:
  std::mt19937 source_;
};

// A step blurred by a Gaussian, seen by points (no aperture): dark to the left.
struct Edge {
  double sigma = 1;
  double degrees = 5;  // from the vertical
  double middleX = 0;
  double middleY = 0;
  double dark = 6000;
  double bright = 54000;

  double operator()(double x, double y) const {
    const double angle = degrees * std::numbers::pi / 180;
    const double distance = (x - middleX) * std::cos(angle) + (y - middleY) * std::sin(angle);
    return dark + (bright - dark) * 0.5 * std::erfc(-distance / (sigma * std::numbers::sqrt2));
  }

  // exp(-2 pi^2 sigma^2 f^2) = 1/2
  double sfr50() const { return std::sqrt(std::log(2.0) / 2) / (std::numbers::pi * sigma); }
};

}  // namespace scene
