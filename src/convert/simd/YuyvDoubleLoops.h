// The methods in doubles from Y, U, V: estimated in single precision, and where the estimate is too near a
// boundary to decide, computed in doubles. A unit includes this after its vocabulary.
#pragma once

#include "YuyvIntegerLoops.h"

namespace kvexa::convert {
namespace {

constexpr std::size_t blockPixels = 2 * floatLanes;

// A block of samples, in lanes of 32 bits: lumas in two halves whose 128-bit parts alternate, so that
// joining them gives the order of the pixels; chromas a lane a group.
struct YuyvBlock {
  Floats lumaLow, lumaHigh, u, v;

  KVEXA_INLINE YuyvBlock(Integers luma, Integers chroma)
      : lumaLow(toFloats(mixLow16(luma, zeroIntegers()))),
        lumaHigh(toFloats(mixHigh16(luma, zeroIntegers()))),
        u(toFloats(both(chroma, dwords(0xFFFF)))),
        v(toFloats(down32<16>(chroma))) {}
};

template <typename Sample, YuyvOrder order>
KVEXA_INLINE YuyvBlock loadBlock(const std::uint8_t* source) {
  Integers luma, chroma;
  if constexpr (sizeof(Sample) == 1) {
    const Integers a = load(source), low = words(0xFF);
    constexpr bool chromaFirst = order == YuyvOrder::chromaFirst;
    luma = chromaFirst ? down16<8>(a) : both(a, low);
    chroma = chromaFirst ? both(a, low) : down16<8>(a);
  } else {
    loadGroups16<order>(source, luma, chroma);
  }
  return YuyvBlock(luma, chroma);
}

// The channels of a block as truncated integers, not yet clamped, and where two estimates disagree.
struct BlockEstimate {
  Integers low, high, doubt;
};

template <bool deep>
KVEXA_INLINE BlockEstimate estimated(const YuyvBlock& block, const YuyvEstimate& estimate, std::size_t c,
                                     unsigned extraBits) {
  const float(&w)[3] = estimate.weights[c];
  const Floats span = floats(2 * estimate.slacks[c]);
  const Floats term =
      multiplyAdd(floats(w[1]), block.u,
                  multiplyAdd(floats(w[2]), block.v, floats(estimate.constants[c] - estimate.slacks[c])));
  const auto integer = [&](Floats sum) {
    const Integers value = truncated(sum);
    return deep ? downSigned32By(value, extraBits) : value;
  };
  const Floats least1 = multiplyAdd(floats(w[0]), block.lumaLow, mixLow(term, term));
  const Floats least2 = multiplyAdd(floats(w[0]), block.lumaHigh, mixHigh(term, term));
  const Integers low = integer(least1), high = integer(least2);
  return {low, high,
          either(differing(low, integer(add(least1, span))), differing(high, integer(add(least2, span))))};
}

KVEXA_INLINE Integers clampedWords(Integers low, Integers high) {
  return max16(min16(joinSigned32(low, high), words(255)), zeroIntegers());
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

template <typename Equation, std::size_t c>
KVEXA_INLINE Integers exactChannel(const float* y, const float* u, const float* v, const YuyvParameters& p) {
  const Doubles ceiling = doubles(static_cast<double>((256U << p.extraBits) - 1));
  alignas(64) std::int32_t values[blockPixels];
  for (std::size_t i = 0; i < blockPixels; i += doubleLanes) {
    const Doubles sum = Equation::template channel<c>(p, widen(y + i), widen(u + i), widen(v + i));
    storeTruncated(values + i, atMost(ceiling, atLeast(doubles(0.0), sum)));
  }
  // What is not a number has become 0x80000000, of which no bit reaches the low byte.
  const Integers byte = dwords(0xFF);
  return joinSigned32(both(downSigned32By(loadIntegers(values), p.extraBits), byte),
                      both(downSigned32By(loadIntegers(values + floatLanes), p.extraBits), byte));
}

// All of a block in doubles. Lanes stay where they are; only what is joined at the end must be in order.
template <typename Equation, std::uint32_t format>
__attribute__((noinline)) void storeExactBlock(std::uint8_t* pixels, const YuyvBlock& block,
                                               const YuyvParameters& parameters) {
  alignas(64) float y[blockPixels], u[blockPixels], v[blockPixels];
  storeFloats(y, block.lumaLow);
  storeFloats(y + floatLanes, block.lumaHigh);
  storeFloats(u, mixLow(block.u, block.u));
  storeFloats(u + floatLanes, mixHigh(block.u, block.u));
  storeFloats(v, mixLow(block.v, block.v));
  storeFloats(v + floatLanes, mixHigh(block.v, block.v));
  storePixels<format>(pixels, exactChannel<Equation, 0>(y, u, v, parameters),
                      exactChannel<Equation, 1>(y, u, v, parameters),
                      exactChannel<Equation, 2>(y, u, v, parameters));
}

template <typename Equation, typename Sample, YuyvOrder order, std::uint32_t format>
std::size_t yuyvDouble(const std::uint8_t* source, std::uint8_t* output, std::size_t groups,
                       const YuyvParameters& parameters) {
  constexpr bool deep = sizeof(Sample) == 2;
  const YuyvEstimate estimate = parameters.estimate;
  const unsigned extraBits = parameters.extraBits;
  return forGroups<blockPixels / 2>(groups, [&](std::size_t group) {
    const YuyvBlock block = loadBlock<Sample, order>(source + 4 * group * sizeof(Sample));
    std::uint8_t* pixels = output + 2 * group * yuyvPixelBytes<format>;
    if (estimate.isUsable) {
      const BlockEstimate red = estimated<deep>(block, estimate, 0, extraBits);
      const BlockEstimate green = estimated<deep>(block, estimate, 1, extraBits);
      const BlockEstimate blue = estimated<deep>(block, estimate, 2, extraBits);
      if (anyBit(either(either(red.doubt, green.doubt), blue.doubt)) == 0) {
        storePixels<format>(pixels, clampedWords(red.low, red.high), clampedWords(green.low, green.high),
                            clampedWords(blue.low, blue.high));
        return;
      }
    }
    storeExactBlock<Equation, format>(pixels, block, parameters);
  });
}

}  // namespace
}  // namespace kvexa::convert
