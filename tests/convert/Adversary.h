// Weights, samples and states of the floating-point unit that conversions are likely to go wrong with. Shared
// by the tests and the fuzzers; Random has below(limit), a number from 0 to limit - 1 for limits up to 65536.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

#include "HostState.h"

namespace kvexa::test {

// The samples that sums are aimed with: most of a frame's, and the largest.
struct Aim {
  double sample = 1.0;
  double largest = 1.0;
  double mostSum = 1.0;  // of magnitudes, where the library may stop to estimate
  double step = 1.0;     // channels change where sums are multiples of it
};

// The three kernels of some sites become one, so that one sum serves all channels there.
template <typename Random>
void equaliseChannels(Random& random, double* kernels) {
  constexpr std::size_t sites = 4, kernel = 9;
  if (random.below(3) != 0) return;
  for (std::size_t site = 0; site < sites; ++site, kernels += 3 * kernel) {
    if (random.below(4) == 0) continue;
    std::copy_n(kernels, kernel, kernels + kernel);
    std::copy_n(kernels, kernel, kernels + 2 * kernel);
  }
}

template <typename Random>
class Adversary {
 public:
  explicit Adversary(Random& random) : random_(random) {}

  HostState hostState() {
    HostState state;
    if (random_.below(3) == 0) return state;
    const std::uint32_t rounding = random_.below(4), flags = random_.below(64);
    const std::uint32_t flushing = random_.below(4) == 0 ? 0x8040 : random_.below(4) == 0 ? 0x0040 : 0;
    state.mxcsr = masks(7) | rounding << 13 | flushing | flags;
    static constexpr std::uint32_t precisions[] = {0x0000, 0x0200, 0x0300};
    const std::uint32_t words = precisions[random_.below(3)] | random_.below(4) << 10 | masks(0);
    state.x87Control = static_cast<std::uint16_t>(words | 0x40);
    return state;
  }

  // Fills put(index, value) for so many samples and returns what sums over them are aimed with.
  template <typename Put>
  Aim samples(std::size_t count, std::size_t sampleBytes, std::uint32_t bits, const Put& put) {
    const std::uint32_t any = sampleBytes == 1 ? 0xFF : 0xFFFF, depth = (1U << bits) - 1;
    const std::uint32_t level = this->level(depth, any), other = this->level(depth, any);
    const std::uint32_t kind = random_.below(6), seldom = 1 + random_.below(40);
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < count; ++i) {
      std::uint32_t value = level;
      if (kind == 1) value = random_.below(2) != 0 ? other : level;
      if (kind == 2) value = random_.below(seldom) == 0 ? other : level;
      if (kind == 3) value = random_.below(65536) & depth;
      if (kind == 4) value = random_.below(65536) & any;
      if (kind == 5) value = i == count / 2 ? other : 0;
      all |= value;
      put(i, value);
    }
    Aim aim;
    aim.sample = kind == 5 ? other : level;
    aim.largest = all;
    return aim;
  }

  // Groups of terms, each of so many weights whose products are summed; a constant, if any, comes last.
  void weights(double* weights, std::size_t groups, std::size_t terms, const Aim& aim) {
    const std::uint32_t ofAll = random_.below(2 * kinds);
    grid_ = powerOf2(-exponent(0, 22));
    for (std::size_t group = 0; group < groups; ++group) {
      // Kinds that differ make most rows impossible to estimate, so they are the exception.
      const std::uint32_t kind = ofAll < kinds ? ofAll : ofAll < kinds + 6 ? random_.below(7) : beside;
      fill(weights + group * terms, terms, kind, aim);
    }
    if (ofAll == 2 * kinds - 1) weights[random_.below(static_cast<std::uint32_t>(groups * terms))] = number();
  }

  // Any double at all.
  double number() {
    switch (random_.below(4)) {
      case 0: return anyBits();
      case 1: return special();
      case 2: return anyMagnitude();
      default: return plain();
    }
  }

 private:
  enum Kind : std::uint32_t {
    moderate,     // within a few powers of two of 1
    cancelling,   // pairs of opposite sign, alike or nearly
    beside,       // the sum is next to a number where a channel changes
    onGrid,       // multiples of a power of two, as coarse as single precision can sum, and coarser
    fractions,    // n/9, n/4
    tiny,         // where single precision has denormals
    belowOnGrid,  // a little less than multiples of a power of two
    atTheLimit,   // sums of magnitudes next to the largest that is estimated
    sameSize,     // all of one magnitude, from denormals to 1e300
    bitPatterns,
    oneSpecial,
    kinds
  };

  std::uint32_t masks(std::uint32_t shift) {
    const std::uint32_t chosen = random_.below(3) == 0 ? random_.below(64) : random_.below(2) != 0 ? 63 : 0;
    return chosen << shift;
  }

  std::uint32_t level(std::uint32_t depth, std::uint32_t any) {
    const std::uint32_t levels[] = {0, 1, 2, depth, depth - 1, (depth + 1) & any, any};
    const std::uint32_t which = random_.below(10);
    return which < std::size(levels) ? levels[which] : random_.below(65536) & (which == 9 ? any : depth);
  }

  double unit() { return random_.below(65536) / 65536.0 + random_.below(65536) / 4294967296.0; }  // 0 to 1
  double sign() { return random_.below(2) != 0 ? -1.0 : 1.0; }
  double powerOf2(int exponent) { return std::ldexp(1.0, exponent); }
  int exponent(std::uint32_t low, std::uint32_t high) {
    return static_cast<int>(low + random_.below(high - low));
  }

  double plain() { return sign() * unit() * powerOf2(exponent(0, 9) - 4); }
  double anyBits() {
    std::uint64_t bits = 0;
    for (int i = 0; i < 4; ++i) bits = bits << 16 | random_.below(65536);
    return std::bit_cast<double>(bits);
  }
  double anyMagnitude() { return sign() * (1.0 + unit()) * powerOf2(exponent(0, 2072) - 1074); }
  double special() {
    using Double = std::numeric_limits<double>;
    using Single = std::numeric_limits<float>;
    static constexpr double values[] = {Double::quiet_NaN(),
                                        Double::infinity(),
                                        Double::max(),
                                        1e300,
                                        1e40,
                                        Single::max(),
                                        4294967296.0,
                                        2147483648.0,
                                        1e9,
                                        1073741824.0,
                                        16777216.0,
                                        65536.0,
                                        32000.0,
                                        255.0,
                                        1.0,
                                        0.0,
                                        Single::min(),
                                        1.5e-45,
                                        1e-28,
                                        Double::min(),
                                        Double::denorm_min()};
    const double value = sign() * values[random_.below(std::size(values))];
    if (random_.below(3) != 0) return value;
    return std::nextafter(value, random_.below(2) != 0 ? Double::infinity() : -Double::infinity());
  }

  void fill(double* w, std::size_t terms, std::uint32_t kind, const Aim& aim) {
    switch (kind) {
      case cancelling: return fillCancelling(w, terms);
      case beside: return fillBeside(w, terms, aim);
      case onGrid: return fillOnGrid(w, terms, aim, 0.0);
      case belowOnGrid: return fillOnGrid(w, terms, aim, powerOf2(-exponent(20, 60)));
      case atTheLimit: return fillToLimit(w, terms, aim);
      case fractions: {
        const double divisor = random_.below(2) != 0 ? 9.0 : 4.0, numerator = 1.0 + random_.below(3);
        std::fill_n(w, terms, numerator / divisor);
        return;
      }
      case tiny:
        std::generate_n(w, terms, [&] { return plain() * powerOf2(-exponent(100, 160)); });
        if (random_.below(2) != 0) w[random_.below(static_cast<std::uint32_t>(terms))] = plain();
        return;
      case sameSize: {
        const double size = powerOf2(exponent(0, 2072) - 1074);
        std::generate_n(w, terms, [&] { return sign() * (1.0 + unit()) * size; });
        return;
      }
      case bitPatterns: std::generate_n(w, terms, [&] { return anyBits(); }); return;
      default:
        std::generate_n(w, terms, [&] { return plain(); });
        if (kind == oneSpecial) w[random_.below(static_cast<std::uint32_t>(terms))] = special();
    }
  }

  void fillCancelling(double* w, std::size_t terms) {
    static constexpr double offsets[] = {0.0, 0x1p-52, -0x1p-53, 0x1p-24, -0x1p-24, 0x1p-23, 0x1p-12};
    const double scale = powerOf2(exponent(0, 40) - 12);
    std::generate_n(w, terms, [&] { return plain(); });
    for (std::size_t i = 0; i + 1 < terms; i += 2) {
      w[i] *= scale;
      w[i + 1] = -w[i] * (1.0 + offsets[random_.below(std::size(offsets))]);
    }
    for (std::size_t i = terms; i > 1; --i) {
      std::swap(w[i - 1], w[random_.below(static_cast<std::uint32_t>(i))]);
    }
  }

  // All but one at random; that one makes the sum a boundary and a bit.
  void fillBeside(double* w, std::size_t terms, const Aim& aim) {
    const double sample = aim.sample != 0.0 ? aim.sample : 1.0;
    const double size = powerOf2(exponent(0, 24) - 20);
    double others = 0.0;
    for (std::size_t i = 0; i < terms; ++i) {
      w[i] = plain() * size;
      others += w[i];
    }
    const std::size_t last = random_.below(static_cast<std::uint32_t>(terms));
    others -= w[last];
    const double boundary = (random_.below(2) != 0 ? aim.step : 1.0) * (random_.below(270) - 8.0);
    w[last] = (boundary + sign() * random_.below(3) * powerOf2(-exponent(5, 50))) / sample - others;
  }

  void fillOnGrid(double* w, std::size_t terms, const Aim& aim, double lacking) {
    const double finest = 0x1p24 / std::max(aim.largest, 1.0) / static_cast<double>(terms);
    const double most = std::max(1.0, std::floor(finest * powerOf2(exponent(0, 3))));
    const double range = random_.below(2) != 0 ? most : std::min(most, 4.0 / grid_);
    double sum = 0.0;
    for (std::size_t i = 0; i < terms; ++i) {
      w[i] = sign() * std::floor(unit() * (range + 1.0)) * grid_;
      sum += w[i];
    }
    // Or the sum, where samples are 1, is a step of the grid beside a whole number.
    if (random_.below(2) != 0) w[0] += std::floor(unit() * range * grid_) - sum - random_.below(3) * grid_;
    if (lacking == 0.0) return;
    for (std::size_t i = 0; i < terms; ++i) {
      if (random_.below(4) != 0) w[i] -= grid_ * lacking;
    }
  }

  void fillToLimit(double* w, std::size_t terms, const Aim& aim) {
    const bool alike = random_.below(3) == 0;
    const double signOfAll = sign();
    double sum = 0.0;
    for (std::size_t i = 0; i < terms; ++i) {
      w[i] = alike ? signOfAll * unit() : plain();
      sum += std::fabs(w[i]);
    }
    // Seldom above it: then the whole row is not estimated.
    const double side = random_.below(40) == 0 ? 1.0 : -1.0;
    const double excess = side * (1.0 + random_.below(3)) * powerOf2(-exponent(2, 48));
    const double scale = aim.mostSum * (1.0 + excess) / std::max(aim.largest, 1.0) / std::max(sum, 1e-30);
    for (std::size_t i = 0; i < terms; ++i) w[i] *= scale;
    // Or one weight is nearly all of it, and the next one has the opposite sign.
    if (random_.below(3) != 0) return;
    std::fill_n(w, terms, 0.0);
    const std::size_t first = random_.below(static_cast<std::uint32_t>(terms));
    w[first] = -aim.mostSum * (0.8 + 0.149 * unit()) / std::max(aim.largest, 1.0);
    w[(first + 1) % terms] = aim.mostSum / 20 / std::max(aim.largest, 1.0);
  }

  Random& random_;
  double grid_ = 1.0;
};

}  // namespace kvexa::test
