// The integer methods from Y, U, V in vectors. A unit includes this after its vocabulary.
#pragma once

#include "../RowKernels.h"
#include "../YuyvParameters.h"

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
  const Integers greenField = six ? up16<3>(both(green, words(0xFC))) : up16<2>(both(green, words(0xF8)));
  return either(either(up16<8>(both(red, words(0xF8))), greenField), down16<3>(blue));
}

// Words of 0 to 255, a pixel each, in order.
template <std::uint32_t format>
KVEXA_INLINE void storePixels(std::uint8_t* pixels, Integers red, Integers green, Integers blue) {
  if constexpr (format == yuyvFormatRgb888) {
    storeBgr(pixels, either(blue, up16<8>(green)), red);
  } else {
    store(pixels, packedWord<format>(red, green, blue));
  }
}

// Words of 0 to 255 of the first pixels of groups, and of the second ones.
struct ChannelWords {
  Integers red, green, blue;
};

template <std::uint32_t format>
KVEXA_INLINE void storePairs(std::uint8_t* pixels, const ChannelWords& first, const ChannelWords& second) {
  if constexpr (format == yuyvFormatRgb888) {
    storeInThrees(pixels, either(first.blue, up16<8>(first.green)), either(first.red, up16<8>(second.blue)),
                  either(second.green, up16<8>(second.red)));
  } else {
    storeInTurn(pixels, packedWord<format>(first.red, first.green, first.blue),
                packedWord<format>(second.red, second.green, second.blue));
  }
}

// ---- 8-bit samples: all in words. Lanes are groups, so that chroma terms are formed once a group ----

// The sums divided by 8, which changes no result: 149 y + floor(1634 v / 8) - 28528 and so on. They are
// unsigned and saturate at either end only where the channel is 0 or 255 anyway.
struct Studio8 {
  Integers redAdded, greenTaken, blueAdded, blueTaken;

  KVEXA_INLINE static Studio8 of(Integers u, Integers v) {
    Studio8 terms;
    terms.redAdded = add16(mulLow16(v, words(204)), down16<2>(v));
    terms.greenTaken =
        add16(add16(mulLow16(v, words(104)), mulLow16(u, words(50))), down16<3>(add16(u, words(7))));
    // 258 u + floor(u / 8) exceeds a word for the largest u, so 1000 of the offset is taken off first.
    const Integers high = up16<8>(u), low = add16(add16(u, u), down16<3>(u));
    terms.blueAdded = subSaturated16(add16(subSaturated16(high, words(1000)), low), words(35424 - 1000));
    terms.blueTaken = subSaturated16(words(35424), addSaturated16(high, low));
    return terms;
  }
  KVEXA_INLINE ChannelWords pixels(Integers y) const {
    const Integers luma = mulLow16(y, words(149));
    const auto channel = [](Integers sum) { return min16(down16<7>(sum), words(255)); };
    return {channel(subSaturated16(addSaturated16(luma, redAdded), words(28528))),
            channel(subSaturated16(add16(luma, words(17344)), greenTaken)),
            channel(subSaturated16(addSaturated16(luma, blueAdded), blueTaken))};
  }
};

// 1024 y / 1024 is whole, so a channel is y plus the floor of the rest, which is split to fit words:
// floor((1436 v - 183763) / 1024) and so on.
struct Full8 {
  Integers red, green, blue;

  KVEXA_INLINE static Full8 of(Integers u, Integers v) {
    Full8 terms;
    terms.red = add16(sub16(v, words(180)), down16<8>(add16(mulLow16(v, words(103)), words(139))));
    terms.blue =
        sub16(sub16(add16(u, u), words(226)), down16<10>(add16(mulLow16(u, words(233)), words(1858))));
    const Integers fine = sub16(sub16(words(589), mulLow16(v, words(37))), up16<5>(u));
    const Integers coarse = mulLow16(add16(add16(v, v), u), words(3));
    terms.green = sub16(words(135), downSigned16<3>(add16(coarse, downSigned16<7>(fine))));
    return terms;
  }
  KVEXA_INLINE ChannelWords pixels(Integers y) const {
    const auto channel = [y](Integers term) {
      return max16(min16(add16(y, term), words(255)), zeroIntegers());
    };
    return {channel(red), channel(green), channel(blue)};
  }
};

template <typename Terms, YuyvOrder order, std::uint32_t format>
std::size_t yuyvInteger8(const std::uint8_t* source, std::uint8_t* output, std::size_t groups,
                         const YuyvParameters&) {
  constexpr std::size_t groupsOfStep = vectorBytes / 2;
  return forGroups<groupsOfStep>(groups, [=](std::size_t group) {
    Integers a, b;
    loadForJoin(source + 4 * group, a, b);
    const Integers low = words(0xFF);
    const Integers even = joinUnsigned16(both(a, low), both(b, low));
    const Integers odd = joinUnsigned16(down16<8>(a), down16<8>(b));
    const Integers luma = order == YuyvOrder::chromaFirst ? odd : even;
    const Integers chroma = order == YuyvOrder::chromaFirst ? even : odd;
    const Terms terms = Terms::of(both(chroma, low), down16<8>(chroma));
    storePairs<format>(output + 2 * group * yuyvPixelBytes<format>, terms.pixels(both(luma, low)),
                       terms.pixels(down16<8>(luma)));
  });
}

// ---- 16-bit samples: sums of 32 bits. Samples are taken less 2^15, so that they are signed words ----

struct ChannelOf16 {
  Integers chromaWeights;  // of U in the low word, of V in the high one
  Integers constant;       // with what the shift of the samples took away

  ChannelOf16(std::uint32_t luma, int ofU, int ofV, std::int64_t offset)
      : chromaWeights(dwords(static_cast<int>(static_cast<std::uint32_t>(ofV) << 16 |
                                              (static_cast<std::uint32_t>(ofU) & 0xFFFF)))),
        constant(dwords(static_cast<int>((std::int64_t{luma} + ofU + ofV) * std::int64_t{32768} + offset))) {}

  // Eight or more words of 0 to 255 from the luma products of both halves.
  KVEXA_INLINE Integers apply(Integers chroma, Integers lumaLow, Integers lumaHigh, unsigned shift) const {
    const Integers term = add32(multiplyPairs(chroma, chromaWeights), constant);
    const Integers low = downSigned32By(add32(lumaLow, mixLow32(term, term)), shift);
    const Integers high = downSigned32By(add32(lumaHigh, mixHigh32(term, term)), shift);
    return max16(min16(joinSigned32(low, high), words(255)), zeroIntegers());
  }
};

// A vector of lumas in the order of the pixels, and of chroma pairs (U, V) in that of the groups.
template <YuyvOrder order>
KVEXA_INLINE void loadGroups16(const std::uint8_t* source, Integers& luma, Integers& chroma) {
  Integers a, b;
  loadForJoin(source, a, b);
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
    Integers luma, chroma;
    loadGroups16<order>(source + 8 * group, luma, chroma);
    luma = differing(luma, words(-32768));
    chroma = differing(chroma, words(-32768));
    const Integers low = multiplyPairs(mixLow16(luma, zeroIntegers()), lumaWeight);
    const Integers high = multiplyPairs(mixHigh16(luma, zeroIntegers()), lumaWeight);
    storePixels<format>(output + 2 * group * yuyvPixelBytes<format>, red.apply(chroma, low, high, shift),
                        green.apply(chroma, low, high, shift), blue.apply(chroma, low, high, shift));
  });
}

}  // namespace
}  // namespace kvexa::convert
