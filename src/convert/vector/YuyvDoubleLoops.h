// The methods in doubles from Y, U, V: estimated in single precision, and where the estimate is too near a
// boundary to decide, computed in doubles. Included after a vocabulary.
#pragma once

#include <type_traits>

#include "convert/vector/YuyvIntegerLoops.h"

namespace kvexa::convert {
namespace {

constexpr std::size_t blockPixels = 2 * floatLanes;

// A block of groups, one a lane: the lumas of their first and of their second pixels, and the chromas.
struct YuyvBlock {
  Floats luma[2], u, v;
};

template <typename Sample, YuyvOrder order>
KVEXA_INLINE YuyvBlock loadBlock(const std::uint8_t* source) {
  constexpr bool chromaFirst = order == YuyvOrder::chromaFirst;
  const auto block = [](Integers even1, Integers odd1, Integers even2, Integers odd2) -> YuyvBlock {
    if constexpr (chromaFirst) {
      return {{toFloats(odd1), toFloats(odd2)}, toFloats(even1), toFloats(even2)};
    } else {
      return {{toFloats(even1), toFloats(even2)}, toFloats(odd1), toFloats(odd2)};
    }
  };
  if constexpr (sizeof(Sample) == 1) {
    const Integers a = load(source), byte = dwords(0xFF);
    return block(bitAnd(a, byte), bitAnd(shiftRight32<8>(a), byte), bitAnd(shiftRight32<16>(a), byte),
                 shiftRight32<24>(a));
  } else {
    Integers a, b;
    loadForPack(source, a, b);
    const Integers first = even32(a, b), second = odd32(a, b), word = dwords(0xFFFF);
    return block(bitAnd(first, word), shiftRight32<16>(first), bitAnd(second, word),
                 shiftRight32<16>(second));
  }
}

// The numbers of an estimate, in vectors.
struct EstimateVectors {
  Floats weights[3][3], constants[3];
  Integers limit;

  explicit EstimateVectors(const YuyvEstimate& estimate) : limit(words(estimate.limit)) {
    for (std::size_t c = 0; c < 3; ++c) {
      constants[c] = floats(estimate.constants[c]);
      for (std::size_t i = 0; i < 3; ++i) weights[c][i] = floats(estimate.weights[c][i]);
    }
  }
};

// A channel of a block, a pixel a word: the whole numbers, not yet clamped, and the binary places.
struct BlockEstimate {
  Integers whole, places;
};

KVEXA_INLINE BlockEstimate estimated(const YuyvBlock& block, const EstimateVectors& estimate, std::size_t c) {
  const Floats(&w)[3] = estimate.weights[c];
  const Floats term = multiplyAdd(w[1], block.u, multiplyAdd(w[2], block.v, estimate.constants[c]));
  const Integers first = truncated(multiplyAdd(w[0], block.luma[0], term));
  const Integers second = truncated(multiplyAdd(w[0], block.luma[1], term));
  return {evenOdd16(nextWords(first), second), evenOdd16(first, previousWords(second))};
}

// The equations in doubles, in the order of their terms.
struct MatrixEquation {
  template <std::size_t c>
  KVEXA_INLINE static Doubles channel(const YuyvParameters& p, Doubles y, Doubles u, Doubles v) {
    const double* m = p.matrix + 4 * c;
    return add(add(add(mul(doubles(m[0]), y), mul(doubles(m[1]), u)), mul(doubles(m[2]), v)), doubles(m[3]));
  }
};

struct RangeEquation {
  template <std::size_t c>
  KVEXA_INLINE static Doubles channel(const YuyvParameters& p, Doubles y, Doubles u, Doubles v) {
    const DoubleWeights& w = p.doubleWeights;
    const Doubles centre = doubles(static_cast<double>(128U << p.extraBits));
    const Doubles luma = mul(sub(y, doubles(w.lumaOffset)), doubles(w.luma));
    const Doubles du = sub(u, centre), dv = sub(v, centre);
    if constexpr (c == 0) return add(luma, mul(doubles(w.redOfV), dv));
    if constexpr (c == 1) {
      return sub(sub(luma, mul(doubles(w.greenOfU), du)), mul(doubles(w.greenOfV), dv));
    }
    return add(luma, mul(doubles(w.blueOfU), du));
  }
};

// A channel of a block in doubles: words of 0 to 255, a pixel each.
template <typename Equation, std::size_t c, typename Sample, YuyvOrder order>
__attribute__((noinline)) Integers exactChannel(const std::uint8_t* source, const YuyvParameters& p) {
  const YuyvBlock block = loadBlock<Sample, order>(source);
  alignas(64) float luma[2][floatLanes], u[floatLanes], v[floatLanes];
  storeFloats(luma[0], block.luma[0]);
  storeFloats(luma[1], block.luma[1]);
  storeFloats(u, block.u);
  storeFloats(v, block.v);
  const Doubles ceiling = doubles(static_cast<double>((256U << p.extraBits) - 1));
  alignas(64) std::int32_t values[2][floatLanes];
  for (std::size_t pixel = 0; pixel < 2; ++pixel) {
    for (std::size_t i = 0; i < floatLanes; i += doubleLanes) {
      const Doubles sum =
          Equation::template channel<c>(p, widen(luma[pixel] + i), widen(u + i), widen(v + i));
      storeTruncated(values[pixel] + i, atMost(ceiling, atLeast(doubles(0.0), sum)));
    }
  }
  // What is not a number has become 0x80000000, of which no bit reaches the low byte.
  const Integers byte = dwords(0xFF);
  return bitOr(bitAnd(shiftRightSigned32(loadIntegers(values[0]), p.extraBits), byte),
               shiftLeft32<16>(bitAnd(shiftRightSigned32(loadIntegers(values[1]), p.extraBits), byte)));
}

// Signed words, a pixel each, in order.
template <std::uint32_t format>
KVEXA_INLINE void storeClamped(std::uint8_t* pixels, Integers red, Integers green, Integers blue) {
  if constexpr (format == yuyvFormatRgb888) {
    storeSaturated(pixels, red, green, blue);
  } else {
    const auto clamped = [](Integers a) { return max16(min16(a, words(255)), zeroIntegers()); };
    storePixels<format>(pixels, clamped(red), clamped(green), clamped(blue));
  }
}

template <typename Equation, typename Sample, YuyvOrder order, std::uint32_t format>
std::size_t yuyvDouble(const std::uint8_t* source, std::uint8_t* output, std::size_t groups,
                       const YuyvParameters& parameters) {
  constexpr std::size_t groupBytes = 4 * sizeof(Sample), pairBytes = 2 * yuyvPixelBytes<format>;
  const auto exact = [&]<std::size_t c>(std::size_t group, std::integral_constant<std::size_t, c>) {
    return exactChannel<Equation, c, Sample, order>(source + group * groupBytes, parameters);
  };
  constexpr std::integral_constant<std::size_t, 0> red;
  constexpr std::integral_constant<std::size_t, 1> green;
  constexpr std::integral_constant<std::size_t, 2> blue;
  if (!parameters.estimate.isUsable) {
    return forGroups<floatLanes>(groups, [&](std::size_t group) {
      storeClamped<format>(output + group * pairBytes, exact(group, red), exact(group, green),
                           exact(group, blue));
    });
  }
  const EstimateVectors estimate(parameters.estimate);
  // Inlined whatever else the unit holds: as a function of its own it would keep its numbers in memory.
  return forGroups<floatLanes>(
      groups, [&](std::size_t group) __attribute__((always_inline)) {
        const YuyvBlock block = loadBlock<Sample, order>(source + group * groupBytes);
        BlockEstimate r = estimated(block, estimate, 0);
        BlockEstimate g = estimated(block, estimate, 1);
        BlockEstimate b = estimated(block, estimate, 2);
        const auto doubts = [&](Integers places) { return subSaturated16(places, estimate.limit); };
        if (anyBit(doubts(maxUnsigned16(maxUnsigned16(r.places, g.places), b.places))) != 0) {
          // Outside of 0 to 255 either whole number gives the same channel, so it is not doubtful there.
          const auto isDoubtful = [&](const BlockEstimate& channel) {
            const Integers outside = mulLow16(shiftRight16<8>(channel.whole), words(255));
            return anyBit(subSaturated16(doubts(channel.places), outside)) != 0;
          };
          if (isDoubtful(r)) r.whole = exact(group, red);
          if (isDoubtful(g)) g.whole = exact(group, green);
          if (isDoubtful(b)) b.whole = exact(group, blue);
        }
        storeClamped<format>(output + group * pairBytes, r.whole, g.whole, b.whole);
      });
}

}  // namespace
}  // namespace kvexa::convert
