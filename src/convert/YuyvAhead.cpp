#include "YuyvAhead.h"

#include <algorithm>
#include <cmath>

namespace kvexa::convert {

YuyvEstimate estimateOf(const AffineSums& sums, double largestSample) {
  // In units of u = 2^-24 times the sum of all magnitudes: rounding the three weights takes 1, the constant
  // and taking the slack off it 2, three products and three sums 6, adding the slack again 1, and the sum
  // in doubles far less than 1. Weights too small for single precision are off by less than 1e-30.
  constexpr double unitsOfError = 12.0 / (1 << 24);
  constexpr double largestSum = 1 << 30;
  YuyvEstimate estimate;
  estimate.isUsable = true;
  for (std::size_t c = 0; c < 3; ++c) {
    double magnitude = std::fabs(sums.constants[c]);
    for (std::size_t i = 0; i < 3; ++i) {
      magnitude += std::fabs(sums.weights[c][i]) * largestSample;
      estimate.weights[c][i] =
          std::fabs(sums.weights[c][i]) < largestSum ? static_cast<float>(sums.weights[c][i]) : 0.0F;
    }
    if (!(magnitude < largestSum)) estimate.isUsable = false;
    estimate.constants[c] = estimate.isUsable ? static_cast<float>(sums.constants[c]) : 0.0F;
    estimate.slacks[c] =
        estimate.isUsable ? static_cast<float>(magnitude * unitsOfError * 1.0001 + 1e-28) : 0.0F;
  }
  return estimate;
}

YuyvAhead aheadOf(const RowKernels& kernels, const IntegerMethod& method, std::size_t sampleBytes,
                  YuyvOrder order, std::size_t format) {
  const bool isFull = method.weights.luma == integerFullWeights.luma;
  const auto o = static_cast<std::size_t>(order);
  YuyvAhead ahead;
  ahead.kernel =
      sampleBytes == 1 ? kernels.yuyvInteger8[isFull][o][format] : kernels.yuyvInteger16[o][format];
  ahead.parameters.extraBits = method.extraBits;
  ahead.parameters.integerWeights = isFull ? &integerFullWeights : &integerStudioWeights;
  return ahead;
}

YuyvAhead aheadOf(const RowKernels& kernels, const DoubleMethod& method, std::size_t sampleBytes,
                  YuyvOrder order, std::size_t format) {
  const DoubleWeights& w = method.weights;
  const double centre = static_cast<double>(128U << method.extraBits);
  const double black = -w.lumaOffset * w.luma;
  YuyvAhead ahead;
  ahead.kernel = kernels.yuyvDouble[sampleBytes - 1][static_cast<std::size_t>(order)][format];
  ahead.parameters.extraBits = method.extraBits;
  ahead.parameters.doubleWeights = w;
  ahead.estimates = true;
  ahead.sums = {
      {{w.luma, 0.0, w.redOfV}, {w.luma, -w.greenOfU, -w.greenOfV}, {w.luma, w.blueOfU, 0.0}},
      {black - w.redOfV * centre, black + (w.greenOfU + w.greenOfV) * centre, black - w.blueOfU * centre}};
  return ahead;
}

YuyvAhead aheadOf(const RowKernels& kernels, const MatrixMethod& method, std::size_t sampleBytes,
                  YuyvOrder order, std::size_t format) {
  YuyvAhead ahead;
  ahead.kernel = kernels.yuyvMatrix[sampleBytes - 1][static_cast<std::size_t>(order)][format];
  ahead.parameters.extraBits = method.extraBits;
  std::copy(method.weights.begin(), method.weights.end(), ahead.parameters.matrix);
  ahead.estimates = true;
  for (std::size_t c = 0; c < 3; ++c) {
    std::copy_n(method.weights.begin() + static_cast<std::ptrdiff_t>(4 * c), 3, ahead.sums.weights[c]);
    ahead.sums.constants[c] = method.weights[4 * c + 3];
  }
  return ahead;
}

std::size_t YuyvAhead::run(const RowKernels& kernels, const std::uint8_t* source, std::uint8_t* pixels,
                           std::size_t groups, std::size_t sampleBytes, std::size_t pixelBytes) {
  if (kernel == nullptr) return 0;
  if (!estimates) return kernel(source, pixels, groups, parameters);
  if (sampleBytes == 1) {
    parameters.estimate = estimateOf(sums, 255.0);
    return kernel(source, pixels, groups, parameters);
  }
  // The slack follows the samples that there are: most have fewer bits than their words.
  constexpr std::size_t groupsAtOnce = 1024;
  std::size_t done = 0;
  while (done < groups) {
    const std::size_t count = std::min(groupsAtOnce, groups - done);
    const std::uint8_t* from = source + done * 4 * sampleBytes;
    parameters.estimate = estimateOf(sums, kernels.combinedBits16(from, 4 * count));
    const std::size_t converted = kernel(from, pixels + done * 2 * pixelBytes, count, parameters);
    done += converted;
    if (converted != count) break;
  }
  return done;
}

}  // namespace kvexa::convert
