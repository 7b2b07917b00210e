#include "FilterAhead.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace kvexa::convert {
namespace {

// The coarsest power of 2 that every weight is a multiple of, if it is not below 2^-20; else 0.
double gridOf(const double* first, const double* second) {
  for (int exponent = 0; exponent <= 20; ++exponent) {
    const auto isOnGrid = [exponent](double weight) {
      const double scaled = std::ldexp(weight, exponent);
      return std::fabs(scaled) < 1e9 && scaled == std::floor(scaled);
    };
    if (std::all_of(first, first + 27, isOnGrid) && std::all_of(second, second + 27, isOnGrid)) {
      return std::ldexp(1.0, -exponent);
    }
  }
  return 0.0;
}

}  // namespace

FilterRowWeights::FilterRowWeights(const double* firstSite, const double* secondSite, std::size_t sampleBytes,
                                   unsigned bits)
    : grid_(gridOf(firstSite, secondSite)),
      // The integers of the loops: words for 8-bit samples, else 32 bits.
      largestSum_(sampleBytes == 1 ? 32000.0 : 1 << 30) {
  weights_.bits = bits;
  weights_.ceiling = static_cast<double>((1U << bits) - 1);
  const double* const sites[] = {firstSite, secondSite};
  for (std::size_t i = 0; i < 27; ++i) {
    for (std::size_t lane = 0; lane < mostFloatLanes; ++lane) {
      const double weight = sites[lane % 2][i];
      const bool isSmall = std::fabs(weight) < 1e9;  // a larger one is never estimated with
      weights_.single[i][lane] = isSmall ? static_cast<float>(weight) : 0.0F;
      if (lane < mostDoubleLanes) weights_.exact[i][lane] = weight;
    }
  }
  for (std::size_t channel = 0; channel < 3; ++channel) {
    for (std::size_t site = 0; site < 2; ++site) {
      double magnitude = 0.0;
      for (std::size_t i = 0; i < 9; ++i) magnitude += std::fabs(sites[site][9 * channel + i]);
      magnitudes_[channel][site] = magnitude;
    }
  }
}

bool FilterRowWeights::prepare(double largestSample) {
  if (largestSample == preparedFor_) return isEstimable_;
  // In units of 2^-24 times the sum of all magnitudes: rounding the weights takes 1, the products 1, the
  // nine sums 9, adding the slack again 1, and the sum in doubles far less than 1. Weights too small for
  // single precision are off by less than 1e-30.
  constexpr double unitsOfError = 14.0 / (1 << 24);
  preparedFor_ = largestSample;
  isEstimable_ = true;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    for (std::size_t lane = 0; lane < mostFloatLanes; ++lane) {
      const double magnitude = magnitudes_[channel][lane % 2] * largestSample;
      if (!(magnitude < largestSum_)) isEstimable_ = false;
      // Multiples of a power of 2 that stay below 2^24 of it are summed without any error.
      const bool isExact = grid_ > 0.0 && magnitude < grid_ * (1 << 24);
      const double slack = isExact || !isEstimable_ ? 0.0 : magnitude * unitsOfError * 1.0001 + 1e-28;
      weights_.lowestStart[channel][lane] = -static_cast<float>(slack);
      weights_.span[channel][lane] = 2.0F * static_cast<float>(slack);
    }
  }
  return isEstimable_;
}

namespace {

// As many columns as fit the fastest cache with three rows; even, so that sites keep their lanes.
constexpr std::size_t stripeColumns = 512;

// Three rows of a stripe as floats, as doubles too when asked for, and the bits that their samples have.
class StripeRows {
 public:
  StripeRows(const RowKernels& kernels, std::size_t count, std::size_t sampleBytes)
      : kernels_(kernels), count_(count), sampleBytes_(sampleBytes) {}

  // Takes the next row in; the oldest goes.
  void take(const std::uint8_t* samples) {
    std::rotate(rows_, rows_ + 1, rows_ + 3);
    rows_[2]->hasDoubles = false;
    rows_[2]->bits = kernels_.widenSamples[sampleBytes_ - 1](samples, rows_[2]->floats, count_);
  }
  double largestSample() const { return rows_[0]->bits | rows_[1]->bits | rows_[2]->bits; }
  FilterRows aroundPixels() const {
    return {rows_[0]->floats + 1, rows_[1]->floats + 1, rows_[2]->floats + 1};
  }
  ExactRows exactAroundPixels() {
    for (Row* row : rows_) {
      if (!row->hasDoubles) kernels_.widenToDoubles(row->floats, row->doubles, count_);
      row->hasDoubles = true;
    }
    return {rows_[0]->doubles + 1, rows_[1]->doubles + 1, rows_[2]->doubles + 1};
  }

 private:
  struct Row {
    alignas(64) float floats[stripeColumns + 16];
    alignas(64) double doubles[stripeColumns + 8];
    std::uint32_t bits = 0;
    bool hasDoubles = false;
  };

  const RowKernels& kernels_;
  std::size_t count_;
  std::size_t sampleBytes_;
  Row storage_[3];
  Row* rows_[3] = {&storage_[0], &storage_[1], &storage_[2]};
};

// Where estimates leave too much in doubt, the next rows are computed in doubles straight away.
class Confidence {
 public:
  bool mayEstimate() {
    if (rowsToPass_ == 0) return true;
    --rowsToPass_;
    return false;
  }
  void learn(std::size_t doubtfulVectors, std::size_t pixels) {
    constexpr std::size_t pixelsPerDoubt = 24;
    constexpr unsigned rowsWithoutEstimate = 31;
    if (doubtfulVectors * pixelsPerDoubt > pixels) rowsToPass_ = rowsWithoutEstimate;
  }

 private:
  unsigned rowsToPass_ = 0;
};

}  // namespace

std::size_t filterAhead(const FilterFrame& frame, const RowKernels& kernels, FilterRowWeights& oddRows,
                        FilterRowWeights& evenRows) {
  const FilterKernel kernel = kernels.filter[frame.sampleBytes - 1][frame.pixelBytes - 2];
  const ExactFilterKernel exactKernel = kernels.filterExactly[frame.sampleBytes - 1][frame.pixelBytes - 2];
  if (kernel == nullptr) return 0;
  const std::size_t columns = frame.width - 2;
  std::size_t done = 0;
  for (std::size_t first = 0; first < columns; first += stripeColumns) {
    const std::size_t count = std::min(stripeColumns, columns - first);
    const auto samplesOf = [&](std::size_t row) {
      return frame.source + (row * frame.width + first) * frame.sampleBytes;
    };
    StripeRows rows(kernels, count + 2, frame.sampleBytes);
    Confidence confidence[2];
    rows.take(samplesOf(0));
    rows.take(samplesOf(1));
    std::size_t filtered = 0;
    for (std::size_t row = 1; row + 1 < frame.height; ++row) {
      rows.take(samplesOf(row + 1));
      FilterRowWeights& weights = row % 2 != 0 ? oddRows : evenRows;
      Confidence& ofRow = confidence[row % 2];
      std::uint8_t* pixels = frame.pixels + ((row - 1) * frame.pitch + first) * frame.pixelBytes;
      if (weights.prepare(rows.largestSample()) && ofRow.mayEstimate()) {
        std::size_t doubts = 0;
        filtered = kernel(rows.aroundPixels(), pixels, count, weights.weights(), doubts);
        ofRow.learn(doubts, count);
      } else {
        filtered = exactKernel(rows.exactAroundPixels(), pixels, count, weights.weights());
      }
    }
    done += filtered;
    if (filtered != count) break;
  }
  return done;
}

}  // namespace kvexa::convert
