#include "convert/filter/VectorisedFilter.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>

#include "convert/base/FloatingPoint.h"

namespace kvexa::convert {
namespace {

// Sums of magnitudes stay below this where sums are estimated: the integers of the loops are words for 8-bit
// samples and else have 32 bits.
constexpr double mostSum8 = 32000.0;
constexpr double mostSum16 = 1 << 30;

// The coarsest power of 2 that every weight is a multiple of, if it is not below 2^-20; else 0. No function
// of the C library: some compute in the x87 unit, which the caller may have set to anything.
double gridOf(const double* first, const double* second) {
  for (unsigned exponent = 0; exponent <= 20; ++exponent) {
    const double unitsOfOne = 1U << exponent;
    const auto isOnGrid = [unitsOfOne](double weight) {
      const double scaled = weight * unitsOfOne;
      return magnitudeOf(scaled) < mostSum16 && scaled == static_cast<std::int32_t>(scaled);
    };
    if (std::all_of(first, first + 27, isOnGrid) && std::all_of(second, second + 27, isOnGrid)) {
      return 1.0 / unitsOfOne;
    }
  }
  return 0.0;
}

// Bit by bit, so that neither signs of zero nor what is not a number are taken for each other.
bool hasEqualChannels(const double* site) {
  const auto isSame = [](double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
  };
  return std::equal(site, site + 9, site + 9, isSame) && std::equal(site, site + 9, site + 18, isSame);
}

}  // namespace

FilterRowWeights::FilterRowWeights(const double* firstSite, const double* secondSite, std::size_t sampleBytes,
                                   unsigned bits)
    : grid_(gridOf(firstSite, secondSite)), largestSum_(sampleBytes == 1 ? mostSum8 : mostSum16) {
  weights_.bits = bits;
  weights_.ceiling = static_cast<double>((1U << bits) - 1);
  weights_.hasEqualChannels = hasEqualChannels(firstSite) && hasEqualChannels(secondSite);
  const double* const sites[] = {firstSite, secondSite};
  for (std::size_t i = 0; i < 27; ++i) {
    for (std::size_t lane = 0; lane < mostFloatLanes; ++lane) {
      const double weight = sites[lane % 2][i];
      // A larger one is only estimated with when all samples are 0.
      const bool isSmall = magnitudeOf(weight) < largestSum_;
      weights_.single[i][lane] = isSmall ? static_cast<float>(weight) : 0.0F;
      if (lane < mostDoubleLanes) weights_.exact[i][lane] = weight;
    }
  }
  for (std::size_t channel = 0; channel < 3; ++channel) {
    for (std::size_t site = 0; site < 2; ++site) {
      double magnitude = 0.0;
      for (std::size_t i = 0; i < 9; ++i) magnitude += magnitudeOf(sites[site][9 * channel + i]);
      magnitudes_[channel][site] = magnitude;
    }
  }
}

bool FilterRowWeights::prepare(double largestSample) {
  if (largestSample == preparedFor_) return isEstimable_;
  // In units of 2^-24 times the sum of all magnitudes: rounding the weights takes 1, the products 1, the
  // nine sums 9, adding the slack again 1; 2 are left for products of errors and for the sum in doubles.
  // Weights too small for single precision are off by less than 1e-30. docs/conversion-bounds.md has it all.
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
  StripeRows(const RowLoops& loops, std::size_t count, std::size_t sampleBytes)
      : loops_(loops), count_(count), sampleBytes_(sampleBytes) {}

  // Adds the next row and drops the oldest.
  void take(const std::uint8_t* samples) {
    std::rotate(rows_, rows_ + 1, rows_ + 3);
    rows_[2]->hasDoubles = false;
    rows_[2]->bits = loops_.widenSamples[sampleBytes_ - 1](samples, rows_[2]->floats, count_);
  }
  double largestSample() const { return rows_[0]->bits | rows_[1]->bits | rows_[2]->bits; }
  FilterRows aroundPixels() const {
    return {rows_[0]->floats + 1, rows_[1]->floats + 1, rows_[2]->floats + 1};
  }
  ExactRows exactAroundPixels() {
    for (Row* row : rows_) {
      if (!row->hasDoubles) loops_.widenToDoubles(row->floats, row->doubles, count_);
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

  const RowLoops& loops_;
  std::size_t count_;
  std::size_t sampleBytes_;
  Row storage_[3];
  Row* rows_[3] = {&storage_[0], &storage_[1], &storage_[2]};
};

// Where too many estimates are doubtful, the next rows are computed in doubles at once.
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

std::size_t filterVectorised(const FilterFrame& frame, const RowLoops& loops, FilterRowWeights& oddRows,
                             FilterRowWeights& evenRows) {
  const FilterLoop loop = loops.filter[frame.sampleBytes - 1][frame.pixelBytes - 2];
  const ExactFilterLoop exactLoop = loops.filterExactly[frame.sampleBytes - 1][frame.pixelBytes - 2];
  if (loop == nullptr) return 0;
  const std::size_t columns = frame.width - 2;
  std::size_t done = 0;
  for (std::size_t first = 0; first < columns; first += stripeColumns) {
    const std::size_t count = std::min(stripeColumns, columns - first);
    const auto samplesOf = [&](std::size_t row) {
      return frame.source + (row * frame.width + first) * frame.sampleBytes;
    };
    StripeRows rows(loops, count + 2, frame.sampleBytes);
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
        filtered = loop(rows.aroundPixels(), pixels, count, weights.weights(), doubts);
        ofRow.learn(doubts, count);
      } else {
        filtered = exactLoop(rows.exactAroundPixels(), pixels, count, weights.weights());
      }
    }
    done += filtered;
    if (filtered != count) break;
  }
  return done;
}

}  // namespace kvexa::convert
