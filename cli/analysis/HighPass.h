// What is left of a plane without its slow course.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "cli/analysis/Mosaic.h"

namespace analysis {

// The variance of each sample against the mean of the 5 x 5 samples of its colour around it, times 25/24: for
// samples that vary independently about a level that changes slowly, their variance. Two samples at each
// border are not judged. Nothing when the plane is smaller than 5 x 5.
std::optional<double> highPassVariance(const Plane& plane);

// The same of sums of several frames.
std::optional<double> highPassVariance(std::span<const std::uint32_t> sums, std::uint32_t width,
                                       std::uint32_t height);

// The standard deviation of the noise as the differences of neighbours tell it, by their median: a few
// samples that are far off do not change it. Nothing when there are no neighbours.
std::optional<double> robustNoise(const Plane& plane);

}  // namespace analysis
