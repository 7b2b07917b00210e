// Filtered Bayer rows in vectors: estimated in single precision, and where the estimate is too near a
// boundary to decide, computed in doubles. Included after a vocabulary.
#pragma once

#include <type_traits>

#include "convert/base/Packing.h"
#include "convert/vector/FilterParameters.h"

namespace kvexa::convert {
namespace {

// Runs step(pixel) over a row, block by block, and once more, overlapping, for the rest, starting at an
// even pixel. Returns the first pixel that is left.
template <std::size_t pixels, typename Step>
KVEXA_INLINE std::size_t forBlocks(std::size_t count, const Step& step) {
  if (count < pixels) return 0;
  std::size_t pixel = 0;
  for (; pixel + pixels <= count; pixel += pixels) step(pixel);
  const std::size_t last = (count - pixels) / 2 * 2;
  if (last + pixels > pixel) {
    step(last);
    pixel = last + pixels;
  }
  return pixel;
}

constexpr std::size_t filterBlock = 2 * floatLanes;

template <typename Number>
KVEXA_INLINE const Number* elementOf(const RowsOf<Number>& rows, std::size_t pixel, std::size_t element) {
  const Number* row = element < 3 ? rows.above : element < 6 ? rows.own : rows.below;
  return row + pixel + element % 3 - 1;
}

// How far a channel is shifted right before it is packed.
template <std::size_t sampleBytes, Packing packing>
KVEXA_INLINE unsigned channelShift(std::size_t channel, unsigned bits) {
  if (sampleBytes == 1) return 0;
  if (packing == Packing::rgb888) return bits - 8;
  return channel == 1 ? bits - 6 : bits - 5;
}

template <std::size_t sampleBytes, Packing packing>
KVEXA_INLINE void storeFiltered(std::uint8_t* pixels, Integers red, Integers green, Integers blue) {
  if constexpr (packing == Packing::rgb888) {
    storeBgr(pixels, bitOr(bitAnd(blue, words(0xFF)), shiftLeft16<8>(green)), red);
  } else if constexpr (sampleBytes == 1) {
    store(pixels,
          bitOr(bitOr(shiftLeft16<8>(bitAnd(red, words(0xF8))), shiftLeft16<3>(bitAnd(green, words(0xFC)))),
                shiftRight16<3>(bitAnd(blue, words(0xFF)))));
  } else {
    store(pixels, add16(add16(shiftLeft16<11>(red), shiftLeft16<5>(green)), blue));
  }
}

// ---- In doubles ----

KVEXA_INLINE Doubles doublesAt(const float* at) { return widen(at); }
KVEXA_INLINE Doubles doublesAt(const double* at) { return loadDoubles(at); }

// The same weights, hidden from the optimizer, which would otherwise copy all of them to the stack; that
// costs more than loading them again.
KVEXA_INLINE const FilterWeights& loadedAnew(const FilterWeights& weights) {
  const FilterWeights* address = &weights;
  asm volatile("" : "+r"(address));
  return *address;
}

// Keeps a sample in its register for all three channels, and so the weights as operands in memory: with
// eight registers the compiler otherwise spills and reloads.
KVEXA_INLINE Doubles held(Doubles sample) {
  asm volatile("" : "+x"(sample));
  return sample;
}

// One vector of floatLanes pixels as truncated integers; the order of the terms is part of the result. Equal
// channels have one sum.
template <std::size_t sums, typename Number>
KVEXA_INLINE void exactSums(const RowsOf<Number>& rows, std::size_t pixel, const FilterWeights& allWeights,
                            std::int32_t (&values)[sums][floatLanes]) {
  constexpr std::size_t order[] = {6, 5, 3, 2, 0, 7, 1, 4};
  const Doubles ceiling = doubles(allWeights.ceiling);
#pragma GCC unroll 1
  for (std::size_t i = 0; i < floatLanes; i += doubleLanes) {
    const FilterWeights& weights = loadedAnew(allWeights);
    const Doubles first = held(doublesAt(elementOf(rows, pixel + i, 8)));
    Doubles sum[sums];
#pragma GCC unroll 3
    for (std::size_t c = 0; c < sums; ++c) sum[c] = mul(loadDoubles(weights.exact[9 * c + 8]), first);
#pragma GCC unroll 8
    for (const std::size_t element : order) {
      const Doubles sample = held(doublesAt(elementOf(rows, pixel + i, element)));
#pragma GCC unroll 3
      for (std::size_t c = 0; c < sums; ++c) {
        sum[c] = add(sum[c], mul(loadDoubles(weights.exact[9 * c + element]), sample));
      }
    }
#pragma GCC unroll 3
    for (std::size_t c = 0; c < sums; ++c) storeTruncated(values[c] + i, atMost(ceiling, sum[c]));
  }
}

template <std::size_t sampleBytes, Packing packing, std::size_t sums>
KVEXA_INLINE void storeExactBlock(const ExactRows& rows, std::size_t pixel, const FilterWeights& weights,
                                  std::uint8_t* output) {
  alignas(64) std::int32_t low[sums][floatLanes], high[sums][floatLanes];
  exactSums<sums>(rows, pixel, weights, low);
  exactSums<sums>(rows, pixel + floatLanes, weights, high);
  const auto channel = [&](std::size_t c) {
    const std::size_t from = sums == 1 ? 0 : c;
    const unsigned shift = channelShift<sampleBytes, packing>(c, weights.bits);
    return lowWords(shiftRightSigned32(loadIntegers(low[from]), shift),
                    shiftRightSigned32(loadIntegers(high[from]), shift));
  };
  storeFiltered<sampleBytes, packing>(output, channel(0), channel(1), channel(2));
}

// ---- Estimated ----

// Equal channels have one sum, but not always one word: the channels of 16 bits a pixel have their own sizes.
struct FilterEstimate {
  Integers channels[3];  // words
  Integers doubts[2];    // of either vector
};

template <std::size_t sampleBytes, Packing packing, std::size_t sums>
KVEXA_INLINE FilterEstimate estimatedBlock(const FilterRows& rows, std::size_t pixel,
                                           const FilterWeights& weights) {
  FilterEstimate estimate;
  estimate.doubts[0] = estimate.doubts[1] = zeroIntegers();
  const Floats ceiling = floats(static_cast<float>(weights.ceiling));
#pragma GCC unroll 3
  for (std::size_t c = 0; c < sums; ++c) {
    Floats sum1 = loadFloats(weights.lowestStart[c]), sum2 = sum1;
#pragma GCC unroll 9
    for (std::size_t element = 0; element < 9; ++element) {
      const Floats weight = loadFloats(weights.single[9 * c + element]);
      const float* samples = elementOf(rows, pixel, element);
      sum1 = multiplyAdd(weight, loadFloats(samples), sum1);
      sum2 = multiplyAdd(weight, loadFloats(samples + floatLanes), sum2);
    }
    const Floats span = loadFloats(weights.span[c]);
#pragma GCC unroll 3
    for (std::size_t to = c; to < (sums == 1 ? 3 : c + 1); ++to) {
      const unsigned shift = channelShift<sampleBytes, packing>(to, weights.bits);
      const auto integer = [&](Floats sum) {
        return sampleBytes == 1 ? truncated(sum) : shiftRightSigned32(truncated(min(sum, ceiling)), shift);
      };
      const Integers low = integer(sum1), high = integer(sum2);
      estimate.doubts[0] = bitOr(estimate.doubts[0], bitXor(low, integer(add(sum1, span))));
      estimate.doubts[1] = bitOr(estimate.doubts[1], bitXor(high, integer(add(sum2, span))));
      estimate.channels[to] =
          sampleBytes == 1 ? min16(smallWords(low, high), words(255)) : lowWords(low, high);
    }
  }
  return estimate;
}

// Replaces the estimated words of one vector (0 or 1) of a block by the exact ones.
template <std::size_t sampleBytes, Packing packing, std::size_t sums>
__attribute__((noinline)) void decide(const FilterRows& rows, std::size_t pixel, const FilterWeights& weights,
                                      FilterEstimate& estimate, std::size_t vector) {
  alignas(64) std::int32_t values[sums][floatLanes];
  alignas(64) std::uint8_t exact[vectorBytes], words[vectorBytes];
  exactSums<sums>(rows, pixel + vector * floatLanes, weights, values);
  for (std::size_t c = 0; c < 3; ++c) {
    const Integers shifted = shiftRightSigned32(loadIntegers(values[sums == 1 ? 0 : c]),
                                                channelShift<sampleBytes, packing>(c, weights.bits));
    store(exact, lowWords(shifted, shifted));
    store(words, estimate.channels[c]);
    __builtin_memcpy(words + vector * vectorBytes / 2, exact, vectorBytes / 2);
    estimate.channels[c] = load(words);
  }
}

// Calls the loop with the number of sums that a pixel needs.
template <typename Loop>
KVEXA_INLINE std::size_t forSums(const FilterWeights& weights, const Loop& loop) {
  return weights.hasEqualChannels ? loop(std::integral_constant<std::size_t, 1>())
                                  : loop(std::integral_constant<std::size_t, 3>());
}

template <std::size_t sampleBytes, Packing packing>
std::size_t filterRowExactly(const ExactRows& rows, std::uint8_t* output, std::size_t count,
                             const FilterWeights& weights) {
  constexpr std::size_t size = pixelBytes(packing);
  return forSums(weights, [&](auto sums) {
    return forBlocks<filterBlock>(count, [&](std::size_t pixel) {
      storeExactBlock<sampleBytes, packing, sums()>(rows, pixel, weights, output + pixel * size);
    });
  });
}

template <std::size_t sampleBytes, Packing packing>
std::size_t filterRow(const FilterRows& rows, std::uint8_t* output, std::size_t count,
                      const FilterWeights& weights, std::size_t& doubts) {
  constexpr std::size_t size = pixelBytes(packing);
  std::size_t doubtful = 0;
  const std::size_t done = forSums(weights, [&](auto sums) {
    return forBlocks<filterBlock>(count, [&](std::size_t pixel) {
      FilterEstimate estimate = estimatedBlock<sampleBytes, packing, sums()>(rows, pixel, weights);
      if (anyBit(bitOr(estimate.doubts[0], estimate.doubts[1])) != 0) {
        for (std::size_t vector = 0; vector < 2; ++vector) {
          if (anyBit(estimate.doubts[vector]) == 0) continue;
          decide<sampleBytes, packing, sums()>(rows, pixel, weights, estimate, vector);
          ++doubtful;
        }
      }
      storeFiltered<sampleBytes, packing>(output + pixel * size, estimate.channels[0], estimate.channels[1],
                                          estimate.channels[2]);
    });
  });
  doubts = doubtful;
  return done;
}

void widenToDoubles(const float* floats, double* output, std::size_t count) {
  std::size_t i = 0;
  for (; i + doubleLanes <= count; i += doubleLanes) storeDoubles(output + i, widen(floats + i));
  for (; i < count; ++i) output[i] = floats[i];
}

// Samples as floats; returns the bits that any of them has.
template <std::size_t sampleBytes>
std::uint32_t widenSamples(const std::uint8_t* samples, float* output, std::size_t count) {
  Integers all = zeroIntegers();
  std::size_t i = 0;
  for (; i + floatLanes <= count; i += floatLanes) {
    const Integers lanes = sampleBytes == 1 ? widen8(samples + i) : widen16(samples + 2 * i);
    all = bitOr(all, lanes);
    storeFloats(output + i, toFloats(lanes));
  }
  alignas(64) std::int32_t parts[floatLanes];
  storeIntegers(parts, all);
  std::uint32_t bits = 0;
  for (const std::int32_t part : parts) bits |= static_cast<std::uint32_t>(part);
  for (; i < count; ++i) {
    std::uint16_t sample = 0;
    __builtin_memcpy(&sample, samples + i * sampleBytes, sampleBytes);
    bits |= sample;
    output[i] = sample;
  }
  return bits;
}

}  // namespace
}  // namespace kvexa::convert
