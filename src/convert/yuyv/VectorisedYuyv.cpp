#include "convert/yuyv/VectorisedYuyv.h"

#include <algorithm>

#include "convert/base/FloatingPoint.h"

namespace kvexa::convert {

namespace {

// One channel in the units of the estimate. The loops add the products of V, U and Y, in this order, to the
// constant.
class ChannelEstimate {
 public:
  ChannelEstimate(const double (&weights)[3], double constant, double largestSample, double scale)
      : lowest_(constant * scale), highest_(lowest_), magnitude_(magnitudeOf(lowest_)) {
    for (const std::size_t i : {2, 1, 0}) addProduct(weights[i] * scale, largestSample, weights_[i]);
    constant_ = static_cast<float>(isUsable() ? lowestStart(constant * scale) : 0.0);
  }

  // Sums of integers in 32 bits, with room for the error; false for what is not a number.
  bool isUsable() const { return magnitude_ < 32000.0 * 65536.0; }
  double error() const { return error_ * 1.001 + magnitudeOf(constant_) * unit * 2 + 1e-3; }
  float weight(std::size_t i) const { return weights_[i]; }
  float constant() const { return constant_; }

 private:
  // Twice what an operation in single precision is off at most, relatively: the rest is for products of
  // errors, and for the sums in doubles. docs/conversion-bounds.md has it all.
  static constexpr double unit = 1.0 / (1 << 23);

  void addProduct(double weight, double largestSample, float& single) {
    const double largest = weight * largestSample;
    magnitude_ += magnitudeOf(largest);
    if (!isUsable()) return;
    // Without samples beyond 0 the product is 0, but the weight may be beyond single precision.
    if (largestSample == 0.0) return;
    single = static_cast<float>(weight);
    (largest < 0 ? lowest_ : highest_) += largest;
    // The weight as it was rounded, the product where it is not fused, and the sum so far.
    error_ += magnitudeOf(weight - single) * largestSample + unit * magnitudeOf(largest) +
              unit * std::max(magnitudeOf(lowest_), magnitudeOf(highest_));
  }
  double lowestStart(double constant) const {
    return constant - error_ * 1.001 - magnitudeOf(constant) * unit * 2 - 1e-3;
  }

  double lowest_, highest_, magnitude_;
  double error_ = 0.0;
  float weights_[3] = {};
  float constant_ = 0.0F;
};

}  // namespace

YuyvEstimate estimateOf(const AffineSums& sums, double largestSample, unsigned extraBits) {
  const double scale = 65536.0 / (1U << extraBits);
  YuyvEstimate estimate{};
  double largestError = 0.0;
  for (std::size_t c = 0; c < 3; ++c) {
    const ChannelEstimate channel(sums.weights[c], sums.constants[c], largestSample, scale);
    if (!channel.isUsable()) return {};
    for (std::size_t i = 0; i < 3; ++i) estimate.weights[c][i] = channel.weight(i);
    estimate.constants[c] = channel.constant();
    largestError = std::max(largestError, channel.error());
  }
  // The sum in doubles is above the estimate by up to twice the error, and by 1 for what truncation took.
  estimate.limit = static_cast<int>(65534.0 - 2 * largestError);
  estimate.isUsable = estimate.limit > 0;
  return estimate;
}

VectorisedYuyv vectorisedOf(const RowLoops& loops, const IntegerMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format) {
  const bool isFull = method.weights.luma == integerFullWeights.luma;
  const auto o = static_cast<std::size_t>(order);
  VectorisedYuyv vectorised;
  vectorised.loop = sampleBytes == 1 ? loops.yuyvInteger8[isFull][o][format] : loops.yuyvInteger16[o][format];
  vectorised.parameters.extraBits = method.extraBits;
  vectorised.parameters.integerWeights = isFull ? &integerFullWeights : &integerStudioWeights;
  return vectorised;
}

VectorisedYuyv vectorisedOf(const RowLoops& loops, const DoubleMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format) {
  const DoubleWeights& w = method.weights;
  const double centre = static_cast<double>(128U << method.extraBits);
  const double black = -w.lumaOffset * w.luma;
  VectorisedYuyv vectorised;
  vectorised.loop = loops.yuyvDouble[sampleBytes - 1][static_cast<std::size_t>(order)][format];
  vectorised.parameters.extraBits = method.extraBits;
  vectorised.parameters.doubleWeights = w;
  vectorised.estimates = true;
  vectorised.sums = {
      {{w.luma, 0.0, w.redOfV}, {w.luma, -w.greenOfU, -w.greenOfV}, {w.luma, w.blueOfU, 0.0}},
      {black - w.redOfV * centre, black + (w.greenOfU + w.greenOfV) * centre, black - w.blueOfU * centre}};
  return vectorised;
}

VectorisedYuyv vectorisedOf(const RowLoops& loops, const MatrixMethod& method, std::size_t sampleBytes,
                            YuyvOrder order, std::size_t format) {
  VectorisedYuyv vectorised;
  vectorised.loop = loops.yuyvMatrix[sampleBytes - 1][static_cast<std::size_t>(order)][format];
  vectorised.parameters.extraBits = method.extraBits;
  std::copy(method.weights.begin(), method.weights.end(), vectorised.parameters.matrix);
  vectorised.estimates = true;
  for (std::size_t c = 0; c < 3; ++c) {
    std::copy_n(method.weights.begin() + static_cast<std::ptrdiff_t>(4 * c), 3, vectorised.sums.weights[c]);
    vectorised.sums.constants[c] = method.weights[4 * c + 3];
  }
  return vectorised;
}

std::size_t VectorisedYuyv::run(const RowLoops& loops, const std::uint8_t* source, std::uint8_t* pixels,
                                std::size_t groups, std::size_t sampleBytes, std::size_t pixelBytes) {
  if (loop == nullptr) return 0;
  if (!estimates) return loop(source, pixels, groups, parameters);
  if (sampleBytes == 1) {
    parameters.estimate = estimateOf(sums, 255.0, parameters.extraBits);
    return loop(source, pixels, groups, parameters);
  }
  // The slack depends on the samples at hand: most have fewer bits than their words.
  constexpr std::size_t groupsAtOnce = 1024;
  std::size_t done = 0;
  while (done < groups) {
    const std::size_t count = std::min(groupsAtOnce, groups - done);
    const std::uint8_t* from = source + done * 4 * sampleBytes;
    parameters.estimate = estimateOf(sums, loops.combinedBits16(from, 4 * count), parameters.extraBits);
    const std::size_t converted = loop(from, pixels + done * 2 * pixelBytes, count, parameters);
    done += converted;
    if (converted != count) break;
  }
  return done;
}

}  // namespace kvexa::convert
