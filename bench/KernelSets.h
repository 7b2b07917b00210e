// Kernels and a matrix of the kinds that people use.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace bench {

struct KernelSet {
  std::string name;
  std::array<double, 108> weights;
};

// Bilinear demosaicing: red, green, blue at blue, green beside blue, green beside red, red sites.
inline std::array<double, 108> bilinearKernels() {
  using Kernel = std::array<double, 9>;
  constexpr Kernel centre{0, 0, 0, 0, 1, 0, 0, 0, 0};
  constexpr Kernel cross{0, 0.25, 0, 0.25, 0, 0.25, 0, 0.25, 0};
  constexpr Kernel corners{0.25, 0, 0.25, 0, 0, 0, 0.25, 0, 0.25};
  constexpr Kernel row{0, 0, 0, 0.5, 0, 0.5, 0, 0, 0};
  constexpr Kernel column{0, 0.5, 0, 0, 0, 0, 0, 0.5, 0};
  const Kernel order[12] = {corners, cross,  centre, column, centre, row,
                            row,     centre, column, centre, cross,  corners};
  std::array<double, 108> weights{};
  for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = order[i / 9][i % 9];
  return weights;
}

// Each site's three channels mixed by a colour matrix.
inline std::array<double, 108> correctedKernels() {
  constexpr double mix[3][3] = {{1.612, -0.487, -0.125}, {-0.241, 1.453, -0.212}, {-0.018, -0.529, 1.547}};
  const auto plain = bilinearKernels();
  std::array<double, 108> weights{};
  for (std::size_t i = 0; i < weights.size(); ++i) {
    const std::size_t site = i / 27, channel = i / 9 % 3, tap = i % 9;
    for (std::size_t from = 0; from < 3; ++from) {
      weights[i] += mix[channel][from] * plain[(site * 3 + from) * 9 + tap];
    }
  }
  return weights;
}

inline std::array<double, 108> ninths() {
  std::array<double, 108> weights{};
  weights.fill(1.0 / 9);
  return weights;
}

inline std::array<double, 108> arbitraryKernels() {
  std::array<double, 108> weights{};
  unsigned state = 7;
  for (double& weight : weights) {
    state = state * 1664525U + 1013904223U;
    weight = static_cast<double>(state >> 8) / (1U << 24) * 0.9 - 0.3;
  }
  return weights;
}

inline const std::vector<KernelSet>& kernelSets() {
  static const std::vector<KernelSet> sets = {{"bilinear", bilinearKernels()},
                                              {"colour correction", correctedKernels()},
                                              {"arbitrary", arbitraryKernels()},
                                              {"ninths", ninths()}};
  return sets;
}

constexpr double matrix[13] = {1.164, 0.0,   1.596, -222.9, 1.164,  -0.392, -0.813,
                               135.6, 1.164, 2.017, 0.0,    -276.8, 1.0};

}  // namespace bench
