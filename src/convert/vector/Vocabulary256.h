// The vector vocabulary in registers of 256 bits: AVX2 and fused multiply-add.
// Everything has internal linkage: code compiled for one set must never be linked in place of another's.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "convert/vector/Inline.h"

namespace kvexa::convert {
namespace {

using Integers = __m256i;
using Floats = __m256;
using Doubles = __m256d;
constexpr std::size_t vectorBytes = 32;

KVEXA_INLINE __m128i loadHalf(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}
KVEXA_INLINE void storeHalf(std::uint8_t* bytes, __m128i a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), a);
}
KVEXA_INLINE __m128i lowHalf(Integers a) { return _mm256_castsi256_si128(a); }
KVEXA_INLINE __m128i highHalf(Integers a) { return _mm256_extracti128_si256(a, 1); }

KVEXA_INLINE Integers load(const std::uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}
KVEXA_INLINE void store(std::uint8_t* bytes, Integers a) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), a);
}
KVEXA_INLINE void loadForPack(const std::uint8_t* bytes, Integers& first, Integers& second) {
  first = _mm256_inserti128_si256(_mm256_castsi128_si256(loadHalf(bytes)), loadHalf(bytes + 32), 1);
  second = _mm256_inserti128_si256(_mm256_castsi128_si256(loadHalf(bytes + 16)), loadHalf(bytes + 48), 1);
}

KVEXA_INLINE Integers words(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
KVEXA_INLINE Integers dwords(int value) { return _mm256_set1_epi32(value); }
KVEXA_INLINE Integers zeroIntegers() { return _mm256_setzero_si256(); }
KVEXA_INLINE Integers bitAnd(Integers a, Integers b) { return _mm256_and_si256(a, b); }
KVEXA_INLINE Integers bitOr(Integers a, Integers b) { return _mm256_or_si256(a, b); }
KVEXA_INLINE Integers bitXor(Integers a, Integers b) { return _mm256_xor_si256(a, b); }
KVEXA_INLINE Integers bitAndNot(Integers a, Integers b) { return _mm256_andnot_si256(a, b); }

KVEXA_INLINE Integers add16(Integers a, Integers b) { return _mm256_add_epi16(a, b); }
KVEXA_INLINE Integers sub16(Integers a, Integers b) { return _mm256_sub_epi16(a, b); }
KVEXA_INLINE Integers addSaturated16(Integers a, Integers b) { return _mm256_adds_epu16(a, b); }
KVEXA_INLINE Integers subSaturated16(Integers a, Integers b) { return _mm256_subs_epu16(a, b); }
KVEXA_INLINE Integers mulLow16(Integers a, Integers b) { return _mm256_mullo_epi16(a, b); }
KVEXA_INLINE Integers mulHigh16(Integers a, Integers b) { return _mm256_mulhi_epu16(a, b); }
KVEXA_INLINE Integers meanRoundedUp16(Integers a, Integers b) { return _mm256_avg_epu16(a, b); }
KVEXA_INLINE Integers min16(Integers a, Integers b) { return _mm256_min_epi16(a, b); }
KVEXA_INLINE Integers max16(Integers a, Integers b) { return _mm256_max_epi16(a, b); }
KVEXA_INLINE Integers maxUnsigned16(Integers a, Integers b) { return _mm256_max_epu16(a, b); }
template <int count>
KVEXA_INLINE Integers shiftLeft16(Integers a) {
  return _mm256_slli_epi16(a, count);
}
template <int count>
KVEXA_INLINE Integers shiftRight16(Integers a) {
  return _mm256_srli_epi16(a, count);
}

KVEXA_INLINE Integers add32(Integers a, Integers b) { return _mm256_add_epi32(a, b); }
KVEXA_INLINE Integers multiplyPairs(Integers a, Integers b) { return _mm256_madd_epi16(a, b); }
template <int count>
KVEXA_INLINE Integers shiftLeft32(Integers a) {
  return _mm256_slli_epi32(a, count);
}
template <int count>
KVEXA_INLINE Integers shiftRight32(Integers a) {
  return _mm256_srli_epi32(a, count);
}
KVEXA_INLINE Integers shiftRightSigned32(Integers a, unsigned count) {
  return _mm256_sra_epi32(a, _mm_cvtsi32_si128(static_cast<int>(count)));
}

// Packing and interleaving within each 128 bits.
KVEXA_INLINE Integers packSigned32(Integers a, Integers b) { return _mm256_packs_epi32(a, b); }
KVEXA_INLINE Integers packUnsigned16(Integers a, Integers b) { return _mm256_packus_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow16(Integers a, Integers b) { return _mm256_unpacklo_epi16(a, b); }
KVEXA_INLINE Integers interleaveHigh16(Integers a, Integers b) { return _mm256_unpackhi_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow32(Integers a, Integers b) { return _mm256_unpacklo_epi32(a, b); }
KVEXA_INLINE Integers interleaveHigh32(Integers a, Integers b) { return _mm256_unpackhi_epi32(a, b); }
// Even 32-bit lanes of a, then of b; odd ones likewise.
KVEXA_INLINE Integers even32(Integers a, Integers b) {
  return _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88));
}
KVEXA_INLINE Integers odd32(Integers a, Integers b) {
  return _mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0xDD));
}
// Swaps the middle two of every four words.
KVEXA_INLINE Integers swapMiddle16(Integers a) {
  return _mm256_shufflehi_epi16(_mm256_shufflelo_epi16(a, 0xD8), 0xD8);
}

// Every word moved to the place before it, or after it, within each 128 bits.
KVEXA_INLINE Integers nextWords(Integers a) { return _mm256_bsrli_epi128(a, 2); }
KVEXA_INLINE Integers previousWords(Integers a) { return _mm256_bslli_epi128(a, 2); }

// Words of a in the even places, of b in the odd ones.
KVEXA_INLINE Integers evenOdd16(Integers a, Integers b) { return _mm256_blend_epi16(a, b, 0xAA); }

KVEXA_INLINE unsigned anyBit(Integers a) { return _mm256_testz_si256(a, a) == 0 ? 1U : 0U; }

// The bits that any of the words has.
KVEXA_INLINE std::uint32_t combinedWords(Integers a) {
  __m128i half = _mm_or_si128(lowHalf(a), highHalf(a));
  half = _mm_or_si128(half, _mm_srli_si128(half, 8));
  half = _mm_or_si128(half, _mm_srli_si128(half, 4));
  const auto pair = static_cast<std::uint32_t>(_mm_cvtsi128_si32(half));
  return (pair | pair >> 16) & 0xFFFF;
}

// ---- Pixels ----

#define KVEXA_TWICE(...) _mm256_setr_epi8(__VA_ARGS__, __VA_ARGS__)

// Words of the pixels of even places and of odd places, to memory in turn.
KVEXA_INLINE void storeInterleaved(std::uint8_t* output, Integers even, Integers odd) {
  const Integers low = interleaveLow16(even, odd), high = interleaveHigh16(even, odd);
  storeHalf(output, lowHalf(low));
  storeHalf(output + 16, lowHalf(high));
  storeHalf(output + 32, highHalf(low));
  storeHalf(output + 48, highHalf(high));
}

KVEXA_INLINE void storeTwelveBytes(std::uint8_t* output, __m128i a) {
  _mm_storel_epi64(reinterpret_cast<__m128i*>(output), a);
  const int last = _mm_extract_epi32(a, 2);
  __builtin_memcpy(output + 8, &last, 4);
}

// Pixels from words of blue with green above, and words whose low byte is red. Nothing is written beyond
// the pixels: but for the last, every store of 16 bytes ends inside what the next one overwrites.
KVEXA_INLINE void storeBgr(std::uint8_t* output, Integers blueGreen, Integers red) {
  const Integers front = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1, 0, 1, 2, 4,
                                          5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const Integers low = _mm256_shuffle_epi8(interleaveLow16(blueGreen, red), front);
  const Integers high = _mm256_shuffle_epi8(interleaveHigh16(blueGreen, red), front);
  storeHalf(output, lowHalf(low));
  storeHalf(output + 12, lowHalf(high));
  storeHalf(output + 24, highHalf(low));
  storeTwelveBytes(output + 36, highHalf(high));
}

// Pixels from signed words in order, which become 0 below it and 255 above it.
KVEXA_INLINE void storeSaturated(std::uint8_t* output, Integers red, Integers green, Integers blue) {
  const Integers blueGreen = _mm256_packus_epi16(blue, green), justRed = _mm256_packus_epi16(red, red);
  const Integers front = bitOr(
      _mm256_shuffle_epi8(blueGreen, KVEXA_TWICE(0, 8, -1, 1, 9, -1, 2, 10, -1, 3, 11, -1, 4, 12, -1, 5)),
      _mm256_shuffle_epi8(justRed, KVEXA_TWICE(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1)));
  const Integers back = bitOr(
      _mm256_shuffle_epi8(blueGreen,
                          KVEXA_TWICE(13, -1, 6, 14, -1, 7, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1)),
      _mm256_shuffle_epi8(justRed, KVEXA_TWICE(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1)));
  const auto storeEight = [](std::uint8_t* to, __m128i a) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), a);
  };
  storeHalf(output, lowHalf(front));
  storeEight(output + 16, lowHalf(back));
  storeHalf(output + 24, highHalf(front));
  storeEight(output + 40, highHalf(back));
}

// Three vectors whose words are in their places within 24 words, to memory.
KVEXA_INLINE void storeThirds(std::uint8_t* output, Integers a, Integers b, Integers c) {
  const Integers one = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x92), c, 0x24);
  const Integers two = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x24), c, 0x49);
  const Integers three = _mm256_blend_epi16(_mm256_blend_epi16(a, b, 0x49), c, 0x92);
  storeHalf(output, lowHalf(one));
  storeHalf(output + 16, lowHalf(two));
  storeHalf(output + 32, lowHalf(three));
  storeHalf(output + 48, highHalf(one));
  storeHalf(output + 64, highHalf(two));
  storeHalf(output + 80, highHalf(three));
}

struct BytesOfPixels {  // words of 0 to 255
  Integers blue, green, red;
};

// Pixels of even and of odd places to memory in turn.
KVEXA_INLINE void storeTriples(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
  const Integers a = _mm256_shuffle_epi8(packUnsigned16(even.blue, even.green),
                                         KVEXA_TWICE(0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10, 5, 13));
  const Integers b = _mm256_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                                         KVEXA_TWICE(5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10));
  const Integers c = _mm256_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                                         KVEXA_TWICE(2, 10, 5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15));
  storeThirds(output, a, b, c);
}

// The same where words are pairs of pixels of two vectors in turn.
KVEXA_INLINE void storeSixes(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
  const Integers a = _mm256_shuffle_epi8(packUnsigned16(even.blue, even.green),
                                         KVEXA_TWICE(0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12, 3, 11));
  const Integers b = _mm256_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                                         KVEXA_TWICE(3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12));
  const Integers c = _mm256_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                                         KVEXA_TWICE(4, 12, 3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15));
  storeThirds(output, a, b, c);
}

// ---- Single precision ----

constexpr std::size_t floatLanes = 8;

KVEXA_INLINE Floats loadFloats(const float* at) { return _mm256_loadu_ps(at); }
KVEXA_INLINE void storeFloats(float* at, Floats a) { _mm256_storeu_ps(at, a); }
KVEXA_INLINE Floats floats(float value) { return _mm256_set1_ps(value); }
KVEXA_INLINE Floats toFloats(Integers a) { return _mm256_cvtepi32_ps(a); }
KVEXA_INLINE Integers truncated(Floats a) { return _mm256_cvttps_epi32(a); }
KVEXA_INLINE Floats add(Floats a, Floats b) { return _mm256_add_ps(a, b); }
KVEXA_INLINE Floats min(Floats a, Floats b) { return _mm256_min_ps(a, b); }
// a * b + c; fused where the set can, which the bound of the error allows for.
KVEXA_INLINE Floats multiplyAdd(Floats a, Floats b, Floats c) { return _mm256_fmadd_ps(a, b, c); }

// A vector of bytes or words as lanes of 32 bits.
KVEXA_INLINE Integers widen8(const std::uint8_t* at) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)));
}
KVEXA_INLINE Integers widen16(const std::uint8_t* at) { return _mm256_cvtepu16_epi32(loadHalf(at)); }

// Two vectors of 32-bit lanes to one of their low words, in order.
KVEXA_INLINE Integers lowWords(Integers a, Integers b) {
  const Integers low = dwords(0xFFFF);
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(bitAnd(a, low), bitAnd(b, low)), 0xD8);
}
// The same of values that fit 16 bits.
KVEXA_INLINE Integers smallWords(Integers a, Integers b) {
  return _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8);
}

KVEXA_INLINE void storeIntegers(std::int32_t* at, Integers a) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), a);
}
KVEXA_INLINE Integers loadIntegers(const std::int32_t* at) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at));
}

// ---- Double precision: never fused, terms in the order written ----

constexpr std::size_t doubleLanes = 4;

KVEXA_INLINE Doubles loadDoubles(const double* at) { return _mm256_loadu_pd(at); }
KVEXA_INLINE void storeDoubles(double* at, Doubles a) { _mm256_storeu_pd(at, a); }
KVEXA_INLINE Doubles doubles(double value) { return _mm256_set1_pd(value); }
KVEXA_INLINE Doubles widen(const float* at) { return _mm256_cvtps_pd(_mm_loadu_ps(at)); }
KVEXA_INLINE Doubles add(Doubles a, Doubles b) { return _mm256_add_pd(a, b); }
KVEXA_INLINE Doubles sub(Doubles a, Doubles b) { return _mm256_sub_pd(a, b); }
KVEXA_INLINE Doubles mul(Doubles a, Doubles b) { return _mm256_mul_pd(a, b); }
// limit when value is beyond it, else value, also when that is not a number.
KVEXA_INLINE Doubles atMost(Doubles limit, Doubles value) { return _mm256_min_pd(limit, value); }
KVEXA_INLINE Doubles atLeast(Doubles limit, Doubles value) { return _mm256_max_pd(limit, value); }
KVEXA_INLINE void storeTruncated(std::int32_t* at, Doubles a) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(at), _mm256_cvttpd_epi32(a));
}

}  // namespace
}  // namespace kvexa::convert
