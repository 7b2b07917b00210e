// The integer methods from Y, U, V in vectors. Included after a vocabulary.
#pragma once

#include "convert/vector/Prefetch.h"
#include "convert/vector/RowLoops.h"
#include "convert/vector/YuyvParameters.h"

namespace kvexa::convert {
namespace {

// Runs step(group) over the groups, vector by vector, and once more, overlapping, for the rest. Returns how
// many groups were done: all, or none when there is no whole vector.
template <std::size_t groupsOfStep, typename Step>
KVEXA_INLINE std::size_t forGroups(std::size_t groups, const Step& step) {
  if (groups < groupsOfStep) return 0;
  std::size_t group = 0;
  for (; group + groupsOfStep <= groups; group += groupsOfStep) step(group);
  if (group < groups) step(groups - groupsOfStep);
  return groups;
}

template <std::uint32_t format>
constexpr std::size_t yuyvPixelBytes = format == yuyvFormatRgb888 ? 3 : 2;

template <std::uint32_t format>
KVEXA_INLINE Integers packedWord(Integers red, Integers green, Integers blue) {
  constexpr bool six = format == yuyvFormatRgb565;
  const Integers greenField =
      six ? shiftLeft16<3>(bitAnd(green, words(0xFC))) : shiftLeft16<2>(bitAnd(green, words(0xF8)));
  return bitOr(bitOr(shiftLeft16<8>(bitAnd(red, words(0xF8))), greenField), shiftRight16<3>(blue));
}

// Words of 0 to 255, a pixel each, in order.
template <std::uint32_t format>
KVEXA_INLINE void storePixels(std::uint8_t* pixels, Integers red, Integers green, Integers blue) {
  if constexpr (format == yuyvFormatRgb888) {
    storeBgr(pixels, bitOr(blue, shiftLeft16<8>(green)), red);
  } else {
    store(pixels, packedWord<format>(red, green, blue));
  }
}

// ---- 8-bit samples: all in words. Lanes are groups, of two vectors in turn, so that chroma terms are
// computed once a group and pixels need not change lanes ----

// Channels of 8 bits with 7 binary places below them, a pixel a word.
struct ChannelWords {
  Integers red, green, blue;
};

template <std::uint32_t format>
KVEXA_INLINE Integers packedFine(const ChannelWords& pixel) {
  constexpr bool six = format == yuyvFormatRgb565;
  const Integers red = bitAnd(add16(pixel.red, pixel.red), words(0xF800));
  const Integers green = six ? bitAnd(shiftRight16<4>(pixel.green), words(0x07E0))
                             : bitAnd(shiftRight16<5>(pixel.green), words(0x03E0));
  return bitOr(bitOr(red, green), shiftRight16<10>(pixel.blue));
}

template <std::uint32_t format>
KVEXA_INLINE void storeGroups(std::uint8_t* pixels, const ChannelWords& first, const ChannelWords& second) {
  if constexpr (format == yuyvFormatRgb888) {
    storeSixes(pixels,
               {shiftRight16<7>(first.blue), shiftRight16<7>(first.green), shiftRight16<7>(first.red)},
               {shiftRight16<7>(second.blue), shiftRight16<7>(second.green), shiftRight16<7>(second.red)});
  } else {
    const Integers early = packedFine<format>(first), late = packedFine<format>(second);
    store(pixels, evenOdd16(early, shiftLeft32<16>(late)));
    store(pixels + vectorBytes, evenOdd16(shiftRight32<16>(early), late));
  }
}

// What the chroma of a group adds to its channels, and 2^15. The sums are divided by 8, which changes
// no result: 149 y + floor((1634 v - 228224) / 8) and so on. Samples are in the high bytes of words, so that
// the high half of a product is the floor of a sample times a weight of eighths. A remainder of the constant
// is a low byte below the sample; a negative weight multiplies 255 less the sample.
struct ChromaTerms {
  Integers red, green, blue, blueTaken;
};

struct Studio8 {
  KVEXA_INLINE static Integers lumaOf(Integers y) { return mulLow16(y, words(149)); }

  KVEXA_INLINE static ChromaTerms termsOf(Integers u, Integers v) {
    ChromaTerms terms;
    terms.red = add16(mulHigh16(v, words(52288)), words(32768 - 28528));
    // 17344 - 104 v + floor(-50.125 u), where the last is floor(50.125 (255 - u) + 0.125) - 12782.
    terms.green = sub16(add16(mulHigh16(bitXor(u, words(0xFF01)), words(12832)), words(37330)),
                        mulHigh16(v, words(26624)));
    // 258.125 u - 2656, as 254.125 u - (2656 - 4 u). It is negative for the smallest u; its magnitude is then
    // subtracted from the sum.
    const Integers most = mulHigh16(u, words(65056)), lacking = sub16(words(2656), shiftRight16<6>(u));
    terms.blue = subSaturated16(most, lacking);
    terms.blueTaken = add16(subSaturated16(lacking, most), words(32768));
    return terms;
  }
};

struct Full8 {
  KVEXA_INLINE static Integers lumaOf(Integers y) { return shiftLeft16<7>(y); }

  KVEXA_INLINE static ChromaTerms termsOf(Integers u, Integers v) {
    ChromaTerms terms;
    // floor(179.5 v + 0.625) - 22971: anything from 0.5 to below 1 does for 0.625, and 45952 / 65536 is 0.70.
    terms.red = add16(mulHigh16(bitOr(v, words(1)), words(45952)), words(32768 - 22971));
    // floor(91.375 (255 - v) + 0.625) - 5967 - 44 u, with 0.71 for 0.625.
    terms.green = sub16(add16(mulHigh16(bitXor(v, words(0xFF02)), words(23392)), words(32768 - 5967)),
                        mulHigh16(u, words(11264)));
    // floor(226.875 u + 0.625) - 29033, with 2.66 for 0.625 and 2 less at the end.
    terms.blue = add16(mulHigh16(bitOr(u, words(3)), words(58080)), words(32768 - 29033 - 2));
    terms.blueTaken = words(32768);
    return terms;
  }
};

// The sums saturate at either end only where the channel is 0 or 255 anyway.
KVEXA_INLINE ChannelWords pixelsOf(Integers luma, const ChromaTerms& terms) {
  const Integers half = words(32768);
  return {subSaturated16(addSaturated16(luma, terms.red), half),
          subSaturated16(addSaturated16(luma, terms.green), half),
          subSaturated16(addSaturated16(luma, terms.blue), terms.blueTaken)};
}

template <typename Method, YuyvOrder order, std::uint32_t format>
std::size_t yuyvInteger8(const std::uint8_t* source, std::uint8_t* output, std::size_t groups,
                         const YuyvParameters&) {
  constexpr std::size_t groupsOfStep = vectorBytes / 2;
  return forGroups<groupsOfStep>(groups, [=](std::size_t group) {
    prefetchForReading(source + 4 * group);
    prefetchForWriting(output + 2 * group * yuyvPixelBytes<format>);
    Integers a, b;
    if constexpr (format == yuyvFormatRgb888) {
      loadForPack(source + 4 * group, a, b);
    } else {
      a = load(source + 4 * group);
      b = load(source + 4 * group + vectorBytes);
    }
    // First halves of groups, then second halves: words of a luma and a chroma.
    const Integers first = evenOdd16(a, shiftLeft32<16>(b)), second = evenOdd16(shiftRight32<16>(a), b);
    const auto luma = [](Integers half) {
      return Method::lumaOf(order == YuyvOrder::chromaFirst ? shiftRight16<8>(half)
                                                            : bitAnd(half, words(0xFF)));
    };
    const auto chroma = [](Integers half) {
      return order == YuyvOrder::chromaFirst ? shiftLeft16<8>(half) : bitAnd(half, words(0xFF00));
    };
    const ChromaTerms terms = Method::termsOf(chroma(first), chroma(second));
    storeGroups<format>(output + 2 * group * yuyvPixelBytes<format>, pixelsOf(luma(first), terms),
                        pixelsOf(luma(second), terms));
  });
}

// ---- 16-bit samples: sums of 32 bits. 2^15 is subtracted from samples, so that they are signed words ----

struct ChannelOf16 {
  Integers chromaWeights;  // of U in the low word, of V in the high one
  Integers constant;       // with what the subtraction from the samples changed

  ChannelOf16(std::uint32_t luma, int ofU, int ofV, std::int64_t offset)
      : chromaWeights(dwords(static_cast<int>(static_cast<std::uint32_t>(ofV) << 16 |
                                              (static_cast<std::uint32_t>(ofU) & 0xFFFF)))),
        constant(dwords(static_cast<int>((std::int64_t{luma} + ofU + ofV) * std::int64_t{32768} + offset))) {}

  // Eight or more words of 0 to 255 from the luma products of both halves.
  KVEXA_INLINE Integers apply(Integers chroma, Integers lumaLow, Integers lumaHigh, unsigned shift) const {
    const Integers term = add32(multiplyPairs(chroma, chromaWeights), constant);
    const Integers low = shiftRightSigned32(add32(lumaLow, interleaveLow32(term, term)), shift);
    const Integers high = shiftRightSigned32(add32(lumaHigh, interleaveHigh32(term, term)), shift);
    return max16(min16(packSigned32(low, high), words(255)), zeroIntegers());
  }
};

// A vector of lumas in the order of the pixels, and of chroma pairs (U, V) in that of the groups.
template <YuyvOrder order>
KVEXA_INLINE void loadGroups16(const std::uint8_t* source, Integers& luma, Integers& chroma) {
  Integers a, b;
  loadForPack(source, a, b);
  a = swapMiddle16(a);
  b = swapMiddle16(b);
  constexpr bool chromaFirst = order == YuyvOrder::chromaFirst;
  luma = chromaFirst ? odd32(a, b) : even32(a, b);
  chroma = chromaFirst ? even32(a, b) : odd32(a, b);
}

template <YuyvOrder order, std::uint32_t format>
std::size_t yuyvInteger16(const std::uint8_t* source, std::uint8_t* output, std::size_t groups,
                          const YuyvParameters& parameters) {
  const IntegerWeights& w = *parameters.integerWeights;
  const auto offset = [&](std::uint32_t value) { return std::int64_t{value} << parameters.extraBits; };
  const ChannelOf16 red(w.luma, 0, static_cast<int>(w.redOfV), -offset(w.redOffset));
  const ChannelOf16 green(w.luma, -static_cast<int>(w.greenOfU), -static_cast<int>(w.greenOfV),
                          offset(w.greenOffset));
  const ChannelOf16 blue(w.luma, static_cast<int>(w.blueOfU), 0, -offset(w.blueOffset));
  const Integers lumaWeight = dwords(static_cast<int>(w.luma));
  const unsigned shift = parameters.extraBits + 10;
  return forGroups<vectorBytes / 4>(groups, [&](std::size_t group) {
    prefetchForReading(source + 8 * group);
    prefetchForWriting(output + 2 * group * yuyvPixelBytes<format>);
    Integers luma, chroma;
    loadGroups16<order>(source + 8 * group, luma, chroma);
    luma = bitXor(luma, words(-32768));
    chroma = bitXor(chroma, words(-32768));
    const Integers low = multiplyPairs(interleaveLow16(luma, zeroIntegers()), lumaWeight);
    const Integers high = multiplyPairs(interleaveHigh16(luma, zeroIntegers()), lumaWeight);
    storePixels<format>(output + 2 * group * yuyvPixelBytes<format>, red.apply(chroma, low, high, shift),
                        green.apply(chroma, low, high, shift), blue.apply(chroma, low, high, shift));
  });
}

}  // namespace
}  // namespace kvexa::convert
