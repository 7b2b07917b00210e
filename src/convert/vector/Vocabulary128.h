// The vector vocabulary in registers of 128 bits: SSE2, and SSE4.1 where the unit is compiled for it.
// Everything has internal linkage: code compiled for one set must never be linked in place of another's.
#pragma once

#include <emmintrin.h>
#ifdef __SSE4_1__
#include <smmintrin.h>
#endif

#include <cstddef>
#include <cstdint>

#include "convert/vector/Inline.h"

namespace kvexa::convert {
namespace {

using Integers = __m128i;
using Floats = __m128;
using Doubles = __m128d;
constexpr std::size_t vectorBytes = 16;

KVEXA_INLINE Integers load(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
KVEXA_INLINE void store(std::uint8_t* bytes, Integers a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), a);
}
KVEXA_INLINE void loadForPack(const std::uint8_t* bytes, Integers& first, Integers& second) {
  first = load(bytes);
  second = load(bytes + vectorBytes);
}

KVEXA_INLINE Integers words(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
KVEXA_INLINE Integers dwords(int value) { return _mm_set1_epi32(value); }
KVEXA_INLINE Integers zeroIntegers() { return _mm_setzero_si128(); }
KVEXA_INLINE Integers bitAnd(Integers a, Integers b) { return _mm_and_si128(a, b); }
KVEXA_INLINE Integers bitOr(Integers a, Integers b) { return _mm_or_si128(a, b); }
KVEXA_INLINE Integers bitXor(Integers a, Integers b) { return _mm_xor_si128(a, b); }
KVEXA_INLINE Integers bitAndNot(Integers a, Integers b) { return _mm_andnot_si128(a, b); }

KVEXA_INLINE Integers add16(Integers a, Integers b) { return _mm_add_epi16(a, b); }
KVEXA_INLINE Integers sub16(Integers a, Integers b) { return _mm_sub_epi16(a, b); }
KVEXA_INLINE Integers addSaturated16(Integers a, Integers b) { return _mm_adds_epu16(a, b); }
KVEXA_INLINE Integers subSaturated16(Integers a, Integers b) { return _mm_subs_epu16(a, b); }
KVEXA_INLINE Integers mulLow16(Integers a, Integers b) { return _mm_mullo_epi16(a, b); }
KVEXA_INLINE Integers mulHigh16(Integers a, Integers b) { return _mm_mulhi_epu16(a, b); }
KVEXA_INLINE Integers meanRoundedUp16(Integers a, Integers b) { return _mm_avg_epu16(a, b); }
KVEXA_INLINE Integers min16(Integers a, Integers b) { return _mm_min_epi16(a, b); }
KVEXA_INLINE Integers max16(Integers a, Integers b) { return _mm_max_epi16(a, b); }
KVEXA_INLINE Integers maxUnsigned16(Integers a, Integers b) {
#ifdef __SSE4_1__
  return _mm_max_epu16(a, b);
#else
  return _mm_add_epi16(_mm_subs_epu16(a, b), b);
#endif
}
template <int count>
KVEXA_INLINE Integers shiftLeft16(Integers a) {
  return _mm_slli_epi16(a, count);
}
template <int count>
KVEXA_INLINE Integers shiftRight16(Integers a) {
  return _mm_srli_epi16(a, count);
}

KVEXA_INLINE Integers add32(Integers a, Integers b) { return _mm_add_epi32(a, b); }
KVEXA_INLINE Integers multiplyPairs(Integers a, Integers b) { return _mm_madd_epi16(a, b); }
template <int count>
KVEXA_INLINE Integers shiftLeft32(Integers a) {
  return _mm_slli_epi32(a, count);
}
template <int count>
KVEXA_INLINE Integers shiftRight32(Integers a) {
  return _mm_srli_epi32(a, count);
}
KVEXA_INLINE Integers shiftRightSigned32(Integers a, unsigned count) {
  return _mm_sra_epi32(a, _mm_cvtsi32_si128(static_cast<int>(count)));
}

// Packing and interleaving within each 128 bits.
KVEXA_INLINE Integers packSigned32(Integers a, Integers b) { return _mm_packs_epi32(a, b); }
KVEXA_INLINE Integers packUnsigned16(Integers a, Integers b) { return _mm_packus_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow16(Integers a, Integers b) { return _mm_unpacklo_epi16(a, b); }
KVEXA_INLINE Integers interleaveHigh16(Integers a, Integers b) { return _mm_unpackhi_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow32(Integers a, Integers b) { return _mm_unpacklo_epi32(a, b); }
KVEXA_INLINE Integers interleaveHigh32(Integers a, Integers b) { return _mm_unpackhi_epi32(a, b); }
// Even 32-bit lanes of a, then of b; odd ones likewise.
KVEXA_INLINE Integers even32(Integers a, Integers b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}
KVEXA_INLINE Integers odd32(Integers a, Integers b) {
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xDD));
}
// Swaps the middle two of every four words.
KVEXA_INLINE Integers swapMiddle16(Integers a) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(a, 0xD8), 0xD8);
}

// Every word moved to the place before it, or after it.
KVEXA_INLINE Integers nextWords(Integers a) { return _mm_srli_si128(a, 2); }
KVEXA_INLINE Integers previousWords(Integers a) { return _mm_slli_si128(a, 2); }

// Words of a in the even places, of b in the odd ones.
KVEXA_INLINE Integers evenOdd16(Integers a, Integers b) {
#ifdef __SSE4_1__
  return _mm_blend_epi16(a, b, 0xAA);
#else
  const Integers low = dwords(0xFFFF);
  return bitOr(bitAnd(a, low), bitAndNot(low, b));
#endif
}

KVEXA_INLINE unsigned anyBit(Integers a) {
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(a, zeroIntegers()))) ^ 0xFFFFU;
}

// The bits that any of the words has.
KVEXA_INLINE std::uint32_t combinedWords(Integers a) {
  a = bitOr(a, _mm_srli_si128(a, 8));
  a = bitOr(a, _mm_srli_si128(a, 4));
  const auto pair = static_cast<std::uint32_t>(_mm_cvtsi128_si32(a));
  return (pair | pair >> 16) & 0xFFFF;
}

// ---- Pixels ----

// Words of the pixels of even places and of odd places, to memory in turn.
KVEXA_INLINE void storeInterleaved(std::uint8_t* output, Integers even, Integers odd) {
  store(output, interleaveLow16(even, odd));
  store(output + 16, interleaveHigh16(even, odd));
}

// Four times B, G, R and a byte that is dropped become the first 12 bytes.
KVEXA_INLINE Integers dropFourthBytes(Integers a) {
#ifdef __SSE4_1__
  return _mm_shuffle_epi8(a, _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
#else
  const Integers first = _mm_set1_epi64x(0xFFFFFF);
  const Integers second = _mm_set1_epi64x(0xFFFFFF000000);
  const Integers sixes = bitOr(bitAnd(a, first), bitAnd(_mm_srli_epi64(a, 8), second));
  const Integers low = _mm_setr_epi32(-1, 0xFFFF, 0, 0);
  return bitOr(bitAnd(sixes, low), bitAndNot(low, _mm_srli_si128(sixes, 2)));
#endif
}

KVEXA_INLINE void storeTwelveBytes(std::uint8_t* output, Integers a) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(output), a);
  const int last = _mm_cvtsi128_si32(_mm_srli_si128(a, 8));
  __builtin_memcpy(output + 8, &last, 4);
}

// Pixels from words of blue with green above, and words whose low byte is red. Nothing is written beyond
// the pixels.
KVEXA_INLINE void storeBgr(std::uint8_t* output, Integers blueGreen, Integers red) {
  store(output, dropFourthBytes(interleaveLow16(blueGreen, red)));
  storeTwelveBytes(output + 12, dropFourthBytes(interleaveHigh16(blueGreen, red)));
}

// Pixels from signed words in order, which become 0 below it and 255 above it.
KVEXA_INLINE void storeSaturated(std::uint8_t* output, Integers red, Integers green, Integers blue) {
  const Integers blueGreen = packUnsigned16(blue, green), justRed = packUnsigned16(red, red);
#ifdef __SSE4_1__
  const Integers front = bitOr(
      _mm_shuffle_epi8(blueGreen, _mm_setr_epi8(0, 8, -1, 1, 9, -1, 2, 10, -1, 3, 11, -1, 4, 12, -1, 5)),
      _mm_shuffle_epi8(justRed, _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1)));
  const Integers back = bitOr(
      _mm_shuffle_epi8(blueGreen,
                       _mm_setr_epi8(13, -1, 6, 14, -1, 7, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1)),
      _mm_shuffle_epi8(justRed, _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1)));
  store(output, front);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(output + 16), back);
#else
  storeBgr(output, _mm_unpacklo_epi8(blueGreen, _mm_srli_si128(blueGreen, 8)),
           _mm_unpacklo_epi8(justRed, zeroIntegers()));
#endif
}

#ifdef __SSE4_1__
// Three vectors whose words are in their places within 24 words, to memory.
KVEXA_INLINE void storeThirds(std::uint8_t* output, Integers a, Integers b, Integers c) {
  store(output, _mm_blend_epi16(_mm_blend_epi16(a, b, 0x92), c, 0x24));
  store(output + 16, _mm_blend_epi16(_mm_blend_epi16(a, b, 0x24), c, 0x49));
  store(output + 32, _mm_blend_epi16(_mm_blend_epi16(a, b, 0x49), c, 0x92));
}
#else
// Groups of three words, the first two a lane of low or high, the last alone in its lane, to memory.
KVEXA_INLINE void storeThirds(std::uint8_t* output, Integers low, Integers high, Integers lastLow,
                              Integers lastHigh) {
  const auto sixes = [](Integers pairs) {  // two groups of three words and one that is dropped
    const Integers mask = _mm_setr_epi32(-1, 0xFFFF, 0, 0);
    return bitOr(bitAnd(pairs, mask), bitAndNot(mask, _mm_srli_si128(pairs, 2)));
  };
  const Integers p0 = sixes(interleaveLow32(low, lastLow)), p1 = sixes(interleaveHigh32(low, lastLow));
  const Integers p2 = sixes(interleaveLow32(high, lastHigh)), p3 = sixes(interleaveHigh32(high, lastHigh));
  store(output, bitOr(p0, _mm_slli_si128(p1, 12)));
  store(output + 16, bitOr(_mm_srli_si128(p1, 4), _mm_slli_si128(p2, 8)));
  store(output + 32, bitOr(_mm_srli_si128(p2, 8), _mm_slli_si128(p3, 4)));
}
#endif

struct BytesOfPixels {  // words of 0 to 255
  Integers blue, green, red;
};

// Pixels of even and of odd places to memory in turn.
KVEXA_INLINE void storeTriples(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
#ifdef __SSE4_1__
  storeThirds(output,
              _mm_shuffle_epi8(packUnsigned16(even.blue, even.green),
                               _mm_setr_epi8(0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10, 5, 13)),
              _mm_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                               _mm_setr_epi8(5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10)),
              _mm_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                               _mm_setr_epi8(2, 10, 5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15)));
#else
  const Integers first = bitOr(even.blue, shiftLeft16<8>(even.green)),
                 second = bitOr(even.red, shiftLeft16<8>(odd.blue));
  const Integers third = bitOr(odd.green, shiftLeft16<8>(odd.red));
  storeThirds(output, interleaveLow16(first, second), interleaveHigh16(first, second),
              interleaveLow16(third, zeroIntegers()), interleaveHigh16(third, zeroIntegers()));
#endif
}

// The same where words are pairs of pixels of two vectors in turn.
KVEXA_INLINE void storeSixes(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
#ifdef __SSE4_1__
  storeThirds(output,
              _mm_shuffle_epi8(packUnsigned16(even.blue, even.green),
                               _mm_setr_epi8(0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12, 3, 11)),
              _mm_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                               _mm_setr_epi8(3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12)),
              _mm_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                               _mm_setr_epi8(4, 12, 3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15)));
#else
  const Integers first = bitOr(even.blue, shiftLeft16<8>(even.green)),
                 second = bitOr(even.red, shiftLeft16<8>(odd.blue));
  const Integers third = bitOr(odd.green, shiftLeft16<8>(odd.red));
  storeThirds(output, evenOdd16(first, shiftLeft32<16>(second)), evenOdd16(shiftRight32<16>(first), second),
              bitAnd(third, dwords(0xFFFF)), shiftRight32<16>(third));
#endif
}

// ---- Single precision ----

constexpr std::size_t floatLanes = 4;

KVEXA_INLINE Floats loadFloats(const float* at) { return _mm_loadu_ps(at); }
KVEXA_INLINE void storeFloats(float* at, Floats a) { _mm_storeu_ps(at, a); }
KVEXA_INLINE Floats floats(float value) { return _mm_set1_ps(value); }
KVEXA_INLINE Floats toFloats(Integers a) { return _mm_cvtepi32_ps(a); }
KVEXA_INLINE Integers truncated(Floats a) { return _mm_cvttps_epi32(a); }
KVEXA_INLINE Floats add(Floats a, Floats b) { return _mm_add_ps(a, b); }
KVEXA_INLINE Floats min(Floats a, Floats b) { return _mm_min_ps(a, b); }
// a * b + c; fused where the set can, which the bound of the error allows for.
KVEXA_INLINE Floats multiplyAdd(Floats a, Floats b, Floats c) { return _mm_add_ps(_mm_mul_ps(a, b), c); }

// A vector of bytes or words as lanes of 32 bits.
KVEXA_INLINE Integers widen8(const std::uint8_t* at) {
  int four;
  __builtin_memcpy(&four, at, 4);
#ifdef __SSE4_1__
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(four));
#else
  const Integers zero = zeroIntegers();
  return _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(four), zero), zero);
#endif
}
KVEXA_INLINE Integers widen16(const std::uint8_t* at) {
  const Integers eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(at));
  return _mm_unpacklo_epi16(eight, zeroIntegers());
}

// Two vectors of 32-bit lanes to one of their low words, in order.
KVEXA_INLINE Integers lowWords(Integers a, Integers b) {
  return _mm_packs_epi32(_mm_srai_epi32(_mm_slli_epi32(a, 16), 16),
                         _mm_srai_epi32(_mm_slli_epi32(b, 16), 16));
}
// The same of values that fit 16 bits.
KVEXA_INLINE Integers smallWords(Integers a, Integers b) { return _mm_packs_epi32(a, b); }

KVEXA_INLINE void storeIntegers(std::int32_t* at, Integers a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), a);
}
KVEXA_INLINE Integers loadIntegers(const std::int32_t* at) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// ---- Double precision: never fused, terms in the order written ----

constexpr std::size_t doubleLanes = 2;

KVEXA_INLINE Doubles loadDoubles(const double* at) { return _mm_loadu_pd(at); }
KVEXA_INLINE void storeDoubles(double* at, Doubles a) { _mm_storeu_pd(at, a); }
KVEXA_INLINE Doubles doubles(double value) { return _mm_set1_pd(value); }
KVEXA_INLINE Doubles widen(const float* at) {
  return _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at))));
}
KVEXA_INLINE Doubles add(Doubles a, Doubles b) { return _mm_add_pd(a, b); }
KVEXA_INLINE Doubles sub(Doubles a, Doubles b) { return _mm_sub_pd(a, b); }
KVEXA_INLINE Doubles mul(Doubles a, Doubles b) { return _mm_mul_pd(a, b); }
// limit when value is beyond it, else value, also when that is not a number.
KVEXA_INLINE Doubles atMost(Doubles limit, Doubles value) { return _mm_min_pd(limit, value); }
KVEXA_INLINE Doubles atLeast(Doubles limit, Doubles value) { return _mm_max_pd(limit, value); }
KVEXA_INLINE void storeTruncated(std::int32_t* at, Doubles a) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(at), _mm_cvttpd_epi32(a));
}

}  // namespace
}  // namespace kvexa::convert
