// Interior rows of Bayer mosaics in vectors. Included after a vocabulary.
#pragma once

#include "convert/base/Packing.h"
#include "convert/vector/Prefetch.h"
#include "convert/vector/RowLoops.h"

namespace kvexa::convert {
namespace {

// Runs step(column) over the interior columns, vector by vector of the given number of pixels (even), and
// once more, overlapping, for the rest; of an odd number of columns the last is left.
template <std::size_t pixels, typename Step>
KVEXA_INLINE std::size_t forInteriorColumns(std::size_t width, const Step& step) {
  if (width < pixels + 2) return 1;
  std::size_t column = 1;
  for (; column + pixels + 1 <= width; column += pixels) step(column);
  if (column + 1 < width) {
    const std::size_t last = (width - 1 - pixels - 1) / 2 * 2 + 1;
    if (last + pixels > column) step(last);
    column = last + pixels;
  }
  return column;
}

// ---- 8-bit samples: sums in words, pixels of even and of odd places apart ----

struct ByteColumns {
  Integers left, first, second, right;  // columns -1, 0, 1, 2 of every pair, as words

  KVEXA_INLINE static ByteColumns at(const std::uint8_t* row) {
    const Integers low = words(0xFF);
    const Integers before = load(row - 1), after = load(row + 1);
    return {bitAnd(before, low), shiftRight16<8>(before), bitAnd(after, low), shiftRight16<8>(after)};
  }
};

struct WordPixels {
  Integers red, green, blue;
};

// The pixels of even and of odd places of a row. Its own colour is red or blue; the other is from the
// rows around it.
template <bool redRow, bool colourFirst>
KVEXA_INLINE void interpolatePairs(const std::uint8_t* above, const std::uint8_t* own,
                                   const std::uint8_t* below, WordPixels& first, WordPixels& second) {
  const ByteColumns a = ByteColumns::at(above), o = ByteColumns::at(own), b = ByteColumns::at(below);
  const Integers firstColumn = add16(a.first, b.first), secondColumn = add16(a.second, b.second);
  Integers own1, own2, green1, green2, other1, other2;
  if constexpr (colourFirst) {
    own1 = o.first;
    green1 = shiftRight16<2>(add16(firstColumn, add16(o.left, o.second)));
    other1 = shiftRight16<2>(add16(secondColumn, add16(a.left, b.left)));
    own2 = shiftRight16<1>(add16(o.first, o.right));
    green2 = o.second;
    other2 = shiftRight16<1>(secondColumn);
  } else {
    own1 = shiftRight16<1>(add16(o.left, o.second));
    green1 = o.first;
    other1 = shiftRight16<1>(firstColumn);
    own2 = o.second;
    green2 = shiftRight16<2>(add16(secondColumn, add16(o.first, o.right)));
    other2 = shiftRight16<2>(add16(firstColumn, add16(a.right, b.right)));
  }
  first = redRow ? WordPixels{own1, green1, other1} : WordPixels{other1, green1, own1};
  second = redRow ? WordPixels{own2, green2, other2} : WordPixels{other2, green2, own2};
}

KVEXA_INLINE Integers packed565(const WordPixels& pixel) {
  return bitOr(
      bitOr(shiftLeft16<8>(bitAnd(pixel.red, words(0xF8))), shiftLeft16<3>(bitAnd(pixel.green, words(0xFC)))),
      shiftRight16<3>(pixel.blue));
}

template <Packing packing, bool redRow, bool colourFirst>
std::size_t bayer8(const std::uint8_t* above, const std::uint8_t* own, const std::uint8_t* below,
                   std::uint8_t* output, std::size_t width, unsigned) {
  constexpr std::size_t size = pixelBytes(packing);
  return forInteriorColumns<vectorBytes>(width, [=](std::size_t column) {
    std::uint8_t* pixels = output + column * size;
    prefetchForReading(below + column);
    prefetchForWriting(pixels);
    WordPixels first, second;
    interpolatePairs<redRow, colourFirst>(above + column, own + column, below + column, first, second);
    if constexpr (packing == Packing::rgb565) {
      storeInterleaved(pixels, packed565(first), packed565(second));
    } else {
      storeTriples(pixels, {first.blue, first.green, first.red}, {second.blue, second.green, second.red});
    }
  });
}

// ---- 16-bit samples: one word a pixel, both sites computed, the right one selected ----

// Truncated means of words that use all 16 bits. The mean of four is that of two means, one less where
// their halves did not add up to a carry.
KVEXA_INLINE Integers mean2(Integers a, Integers b) {
  return sub16(meanRoundedUp16(a, b), bitAnd(bitXor(a, b), words(1)));
}
KVEXA_INLINE Integers mean4(Integers a, Integers b, Integers c, Integers d) {
  const Integers p = mean2(a, b), q = mean2(c, d);
  const Integers carry = bitAnd(bitXor(a, b), bitXor(c, d));
  return sub16(meanRoundedUp16(p, q), bitAnd(bitAndNot(carry, bitXor(p, q)), words(1)));
}

// Sums of two and of four, and the binary places that they have more than a mean.
struct NarrowMeans {  // samples below 2^14: sums of four fit
  static constexpr unsigned placesOf2 = 1, placesOf4 = 2;
  KVEXA_INLINE static Integers of2(Integers a, Integers b) { return add16(a, b); }
  KVEXA_INLINE static Integers of4(Integers a, Integers b, Integers c, Integers d) {
    return add16(add16(a, b), add16(c, d));
  }
};
struct WideMeans {
  static constexpr unsigned placesOf2 = 0, placesOf4 = 0;
  KVEXA_INLINE static Integers of2(Integers a, Integers b) { return mean2(a, b); }
  KVEXA_INLINE static Integers of4(Integers a, Integers b, Integers c, Integers d) {
    return mean4(a, b, c, d);
  }
};

template <bool colourFirst>
KVEXA_INLINE Integers taken(Integers atColour, Integers atGreen) {
  return colourFirst ? evenOdd16(atColour, atGreen) : evenOdd16(atGreen, atColour);
}

template <typename Means, bool redRow, bool colourFirst>
KVEXA_INLINE WordPixels interpolateWords(const std::uint8_t* above, const std::uint8_t* own,
                                         const std::uint8_t* below) {
  const Integers up = load(above), down = load(below), left = load(own - 2), right = load(own + 2);
  const Integers centre = load(own);
  const Integers cross = Means::of4(up, down, left, right);
  const Integers corners = Means::of4(load(above - 2), load(above + 2), load(below - 2), load(below + 2));
  const Integers row = Means::of2(left, right), column = Means::of2(up, down);
  const Integers ownColour = taken<colourFirst>(centre, row), green = taken<colourFirst>(cross, centre);
  const Integers other = taken<colourFirst>(corners, column);
  return redRow ? WordPixels{ownColour, green, other} : WordPixels{other, green, ownColour};
}

// Shifts by counts that differ from lane to lane are high halves of products: these are the factors that
// bring the words of interpolateWords, with samples of so many bits, to channels of so many.
template <typename Means, bool redRow, bool colourFirst>
KVEXA_INLINE WordPixels factorsTo(unsigned redBlueBits, unsigned greenBits, unsigned sampleBits) {
  const auto factor = [=](unsigned channelBits, unsigned places) {
    return words(1 << (16 + channelBits - sampleBits - places));
  };
  const Integers ownColour =
      taken<colourFirst>(factor(redBlueBits, 0), factor(redBlueBits, Means::placesOf2));
  const Integers green = taken<colourFirst>(factor(greenBits, Means::placesOf4), factor(greenBits, 0));
  const Integers other =
      taken<colourFirst>(factor(redBlueBits, Means::placesOf4), factor(redBlueBits, Means::placesOf2));
  return redRow ? WordPixels{ownColour, green, other} : WordPixels{other, green, ownColour};
}

template <typename Means, Packing packing, bool redRow, bool colourFirst>
std::size_t bayer16(const std::uint8_t* above, const std::uint8_t* own, const std::uint8_t* below,
                    std::uint8_t* output, std::size_t width, unsigned bits) {
  constexpr bool words565 = packing == Packing::rgb565;
  const auto factors = factorsTo<Means, redRow, colourFirst>(words565 ? 5 : 8, words565 ? 6 : 8, bits);
  constexpr std::size_t size = pixelBytes(packing);
  return forInteriorColumns<vectorBytes / 2>(width, [=](std::size_t column) {
    const std::size_t at = 2 * column;
    std::uint8_t* pixels = output + column * size;
    prefetchForWriting(pixels);
    const WordPixels sums = interpolateWords<Means, redRow, colourFirst>(above + at, own + at, below + at);
    const Integers red = mulHigh16(sums.red, factors.red), green = mulHigh16(sums.green, factors.green);
    const Integers blue = mulHigh16(sums.blue, factors.blue);
    if constexpr (words565) {
      store(pixels, add16(add16(shiftLeft16<11>(red), shiftLeft16<5>(green)), blue));
    } else {
      storeBgr(pixels, bitOr(bitAnd(blue, words(0xFF)), shiftLeft16<8>(green)), red);
    }
  });
}

// The bits that any of the samples has.
std::uint32_t combinedBits16(const std::uint8_t* samples, std::size_t count) {
  Integers even = zeroIntegers(), odd = even;
  std::size_t i = 0;
  constexpr std::size_t step = vectorBytes / 2;
  for (; i + 4 * step <= count; i += 4 * step) {
    const std::uint8_t* at = samples + 2 * i;
    even = bitOr(bitOr(even, load(at)), load(at + vectorBytes));
    odd = bitOr(bitOr(odd, load(at + 2 * vectorBytes)), load(at + 3 * vectorBytes));
  }
  for (; i + step <= count; i += step) even = bitOr(even, load(samples + 2 * i));
  std::uint32_t result = combinedWords(bitOr(even, odd));
  for (; i < count; ++i) {
    std::uint16_t sample;
    __builtin_memcpy(&sample, samples + 2 * i, 2);
    result |= sample;
  }
  return result;
}

}  // namespace
}  // namespace kvexa::convert
