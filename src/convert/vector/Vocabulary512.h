// The vector vocabulary in registers of 512 bits: AVX-512 with the byte, double-word and length extensions.
// Everything has internal linkage: code compiled for one set must never be linked in place of another's.
#pragma once

// This compiler's header makes values that do not matter out of themselves, and then warns of it.
#ifndef __clang__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#ifndef __clang__
#pragma GCC diagnostic pop
#endif

#include <cstddef>
#include <cstdint>

#include "convert/vector/Inline.h"

namespace kvexa::convert {
namespace {

using Integers = __m512i;
using Floats = __m512;
using Doubles = __m512d;
constexpr std::size_t vectorBytes = 64;

KVEXA_INLINE Integers load(const std::uint8_t* bytes) { return _mm512_loadu_si512(bytes); }
KVEXA_INLINE void store(std::uint8_t* bytes, Integers a) { _mm512_storeu_si512(bytes, a); }
KVEXA_INLINE void storeHalf(std::uint8_t* bytes, Integers a) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), _mm512_castsi512_si256(a));
}
KVEXA_INLINE void loadForPack(const std::uint8_t* bytes, Integers& first, Integers& second) {
  const Integers a = load(bytes), b = load(bytes + vectorBytes);
  first = _mm512_shuffle_i64x2(a, b, 0x88);
  second = _mm512_shuffle_i64x2(a, b, 0xDD);
}

KVEXA_INLINE Integers words(int value) { return _mm512_set1_epi16(static_cast<short>(value)); }
KVEXA_INLINE Integers dwords(int value) { return _mm512_set1_epi32(value); }
KVEXA_INLINE Integers zeroIntegers() { return _mm512_setzero_si512(); }
KVEXA_INLINE Integers bitAnd(Integers a, Integers b) { return _mm512_and_si512(a, b); }
KVEXA_INLINE Integers bitOr(Integers a, Integers b) { return _mm512_or_si512(a, b); }
KVEXA_INLINE Integers bitXor(Integers a, Integers b) { return _mm512_xor_si512(a, b); }
KVEXA_INLINE Integers bitAndNot(Integers a, Integers b) { return _mm512_andnot_si512(a, b); }

KVEXA_INLINE Integers add16(Integers a, Integers b) { return _mm512_add_epi16(a, b); }
KVEXA_INLINE Integers sub16(Integers a, Integers b) { return _mm512_sub_epi16(a, b); }
KVEXA_INLINE Integers addSaturated16(Integers a, Integers b) { return _mm512_adds_epu16(a, b); }
KVEXA_INLINE Integers subSaturated16(Integers a, Integers b) { return _mm512_subs_epu16(a, b); }
KVEXA_INLINE Integers mulLow16(Integers a, Integers b) { return _mm512_mullo_epi16(a, b); }
KVEXA_INLINE Integers mulHigh16(Integers a, Integers b) { return _mm512_mulhi_epu16(a, b); }
KVEXA_INLINE Integers meanRoundedUp16(Integers a, Integers b) { return _mm512_avg_epu16(a, b); }
KVEXA_INLINE Integers min16(Integers a, Integers b) { return _mm512_min_epi16(a, b); }
KVEXA_INLINE Integers max16(Integers a, Integers b) { return _mm512_max_epi16(a, b); }
KVEXA_INLINE Integers maxUnsigned16(Integers a, Integers b) { return _mm512_max_epu16(a, b); }
template <int count>
KVEXA_INLINE Integers shiftLeft16(Integers a) {
  return _mm512_slli_epi16(a, static_cast<unsigned>(count));
}
template <int count>
KVEXA_INLINE Integers shiftRight16(Integers a) {
  return _mm512_srli_epi16(a, static_cast<unsigned>(count));
}

KVEXA_INLINE Integers add32(Integers a, Integers b) { return _mm512_add_epi32(a, b); }
KVEXA_INLINE Integers multiplyPairs(Integers a, Integers b) { return _mm512_madd_epi16(a, b); }
template <int count>
KVEXA_INLINE Integers shiftLeft32(Integers a) {
  return _mm512_slli_epi32(a, static_cast<unsigned>(count));
}
template <int count>
KVEXA_INLINE Integers shiftRight32(Integers a) {
  return _mm512_srli_epi32(a, static_cast<unsigned>(count));
}
KVEXA_INLINE Integers shiftRightSigned32(Integers a, unsigned count) {
  return _mm512_sra_epi32(a, _mm_cvtsi32_si128(static_cast<int>(count)));
}

// Packing and interleaving within each 128 bits.
KVEXA_INLINE Integers packSigned32(Integers a, Integers b) { return _mm512_packs_epi32(a, b); }
KVEXA_INLINE Integers packUnsigned16(Integers a, Integers b) { return _mm512_packus_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow16(Integers a, Integers b) { return _mm512_unpacklo_epi16(a, b); }
KVEXA_INLINE Integers interleaveHigh16(Integers a, Integers b) { return _mm512_unpackhi_epi16(a, b); }
KVEXA_INLINE Integers interleaveLow32(Integers a, Integers b) { return _mm512_unpacklo_epi32(a, b); }
KVEXA_INLINE Integers interleaveHigh32(Integers a, Integers b) { return _mm512_unpackhi_epi32(a, b); }
// Even 32-bit lanes of a, then of b; odd ones likewise.
KVEXA_INLINE Integers even32(Integers a, Integers b) {
  return _mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(a), _mm512_castsi512_ps(b), 0x88));
}
KVEXA_INLINE Integers odd32(Integers a, Integers b) {
  return _mm512_castps_si512(_mm512_shuffle_ps(_mm512_castsi512_ps(a), _mm512_castsi512_ps(b), 0xDD));
}
// Swaps the middle two of every four words.
KVEXA_INLINE Integers swapMiddle16(Integers a) {
  return _mm512_shufflehi_epi16(_mm512_shufflelo_epi16(a, 0xD8), 0xD8);
}

// Every word moved to the place before it, or after it, within each 128 bits.
KVEXA_INLINE Integers nextWords(Integers a) { return _mm512_bsrli_epi128(a, 2); }
KVEXA_INLINE Integers previousWords(Integers a) { return _mm512_bslli_epi128(a, 2); }

// Words of a in the even places, of b in the odd ones.
KVEXA_INLINE Integers evenOdd16(Integers a, Integers b) {
  return _mm512_mask_blend_epi16(static_cast<__mmask32>(0xAAAAAAAAU), a, b);
}

KVEXA_INLINE unsigned anyBit(Integers a) { return _mm512_test_epi32_mask(a, a) != 0 ? 1U : 0U; }

// The bits that any of the words has.
KVEXA_INLINE std::uint32_t combinedWords(Integers a) {
  __m256i half = _mm256_or_si256(_mm512_castsi512_si256(a), _mm512_extracti64x4_epi64(a, 1));
  __m128i quarter = _mm_or_si128(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
  quarter = _mm_or_si128(quarter, _mm_srli_si128(quarter, 8));
  quarter = _mm_or_si128(quarter, _mm_srli_si128(quarter, 4));
  const auto pair = static_cast<std::uint32_t>(_mm_cvtsi128_si32(quarter));
  return (pair | pair >> 16) & 0xFFFF;
}

// ---- Pixels ----

#define KVEXA_FOUR_TIMES(...) _mm512_broadcast_i32x4(_mm_setr_epi8(__VA_ARGS__))

// Words of the pixels of even places and of odd places, to memory in turn.
KVEXA_INLINE void storeInterleaved(std::uint8_t* output, Integers even, Integers odd) {
  const Integers low = interleaveLow16(even, odd), high = interleaveHigh16(even, odd);
  store(output, _mm512_permutex2var_epi64(low, _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11), high));
  store(output + 64, _mm512_permutex2var_epi64(low, _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15), high));
}

// Pixels from words of blue with green above, and words whose low byte is red. Nothing is written beyond
// the pixels.
KVEXA_INLINE void storeBgr(std::uint8_t* output, Integers blueGreen, Integers red) {
  const Integers front = KVEXA_FOUR_TIMES(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  const Integers low = _mm512_shuffle_epi8(interleaveLow16(blueGreen, red), front);
  const Integers high = _mm512_shuffle_epi8(interleaveHigh16(blueGreen, red), front);
  store(output, _mm512_permutex2var_epi32(
                    low, _mm512_setr_epi32(0, 1, 2, 16, 17, 18, 4, 5, 6, 20, 21, 22, 8, 9, 10, 24), high));
  storeHalf(output + 64,
            _mm512_permutex2var_epi32(
                low, _mm512_setr_epi32(25, 26, 12, 13, 14, 28, 29, 30, 0, 0, 0, 0, 0, 0, 0, 0), high));
}

struct BytesOfPixels {  // words of 0 to 255
  Integers blue, green, red;
};

// Pixels from signed words in order, which become 0 below it and 255 above it.
KVEXA_INLINE void storeSaturated(std::uint8_t* output, Integers red, Integers green, Integers blue) {
  const Integers blueGreen = packUnsigned16(blue, green), justRed = packUnsigned16(red, red);
  const Integers front =
      bitOr(_mm512_shuffle_epi8(blueGreen,
                                KVEXA_FOUR_TIMES(0, 8, -1, 1, 9, -1, 2, 10, -1, 3, 11, -1, 4, 12, -1, 5)),
            _mm512_shuffle_epi8(justRed,
                                KVEXA_FOUR_TIMES(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1)));
  const Integers back =
      bitOr(_mm512_shuffle_epi8(
                blueGreen, KVEXA_FOUR_TIMES(13, -1, 6, 14, -1, 7, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1)),
            _mm512_shuffle_epi8(
                justRed, KVEXA_FOUR_TIMES(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, -1, -1, -1, -1, -1, -1)));
  store(output, _mm512_permutex2var_epi64(front, _mm512_setr_epi64(0, 1, 8, 2, 3, 10, 4, 5), back));
  storeHalf(output + 64, _mm512_permutex2var_epi64(front, _mm512_setr_epi64(12, 6, 7, 14, 0, 0, 0, 0), back));
}

// Three vectors whose words are in their places within 24 words, to memory.
KVEXA_INLINE void storeThirds(std::uint8_t* output, Integers a, Integers b, Integers c) {
  const auto blended = [=](__mmask32 ofB, __mmask32 ofC) {
    return _mm512_mask_blend_epi16(ofC, _mm512_mask_blend_epi16(ofB, a, b), c);
  };
  const Integers one = blended(0x92929292U, 0x24242424U), two = blended(0x24242424U, 0x49494949U);
  const Integers three = blended(0x49494949U, 0x92929292U);
  const Integers first = _mm512_permutex2var_epi64(one, _mm512_setr_epi64(0, 1, 8, 9, 0, 0, 2, 3), two);
  const Integers second = _mm512_permutex2var_epi64(one, _mm512_setr_epi64(10, 11, 0, 0, 4, 5, 12, 13), two);
  const Integers third = _mm512_permutex2var_epi64(one, _mm512_setr_epi64(0, 0, 6, 7, 14, 15, 0, 0), two);
  const auto with = [three](Integers others, __mmask8 places, long long lane1, long long lane2) {
    return _mm512_mask_permutexvar_epi64(
        others, places,
        _mm512_setr_epi64(2 * lane1, 2 * lane1 + 1, 2 * lane1, 2 * lane1 + 1, 2 * lane1, 2 * lane1 + 1,
                          2 * lane2, 2 * lane2 + 1),
        three);
  };
  store(output, with(first, 0x30, 0, 0));
  store(output + 64, with(second, 0x0C, 1, 1));
  store(output + 128, with(third, 0xC3, 2, 3));
}

// Pixels of even and of odd places to memory in turn.
KVEXA_INLINE void storeTriples(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
  storeThirds(output,
              _mm512_shuffle_epi8(packUnsigned16(even.blue, even.green),
                                  KVEXA_FOUR_TIMES(0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10, 5, 13)),
              _mm512_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                                  KVEXA_FOUR_TIMES(5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15, 2, 10)),
              _mm512_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                                  KVEXA_FOUR_TIMES(2, 10, 5, 13, 0, 8, 3, 11, 6, 14, 1, 9, 4, 12, 7, 15)));
}

// The same where words are pairs of pixels of two vectors in turn.
KVEXA_INLINE void storeSixes(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd) {
  storeThirds(output,
              _mm512_shuffle_epi8(packUnsigned16(even.blue, even.green),
                                  KVEXA_FOUR_TIMES(0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12, 3, 11)),
              _mm512_shuffle_epi8(packUnsigned16(even.red, odd.blue),
                                  KVEXA_FOUR_TIMES(3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15, 4, 12)),
              _mm512_shuffle_epi8(packUnsigned16(odd.green, odd.red),
                                  KVEXA_FOUR_TIMES(4, 12, 3, 11, 0, 8, 6, 14, 5, 13, 2, 10, 1, 9, 7, 15)));
}

// ---- Single precision ----

constexpr std::size_t floatLanes = 16;

KVEXA_INLINE Floats loadFloats(const float* at) { return _mm512_loadu_ps(at); }
KVEXA_INLINE void storeFloats(float* at, Floats a) { _mm512_storeu_ps(at, a); }
KVEXA_INLINE Floats floats(float value) { return _mm512_set1_ps(value); }
KVEXA_INLINE Floats toFloats(Integers a) { return _mm512_cvtepi32_ps(a); }
KVEXA_INLINE Integers truncated(Floats a) { return _mm512_cvttps_epi32(a); }
KVEXA_INLINE Floats add(Floats a, Floats b) { return _mm512_add_ps(a, b); }
KVEXA_INLINE Floats min(Floats a, Floats b) { return _mm512_min_ps(a, b); }
// a * b + c; fused where the set can, which the bound of the error allows for.
KVEXA_INLINE Floats multiplyAdd(Floats a, Floats b, Floats c) { return _mm512_fmadd_ps(a, b, c); }

// A vector of bytes or words as lanes of 32 bits.
KVEXA_INLINE Integers widen8(const std::uint8_t* at) {
  return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(at)));
}
KVEXA_INLINE Integers widen16(const std::uint8_t* at) {
  return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)));
}

// Two vectors of 32-bit lanes to one of their low words, in order.
KVEXA_INLINE Integers lowWords(Integers a, Integers b) {
  return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi32_epi16(a)), _mm512_cvtepi32_epi16(b), 1);
}
// The same of values that fit 16 bits.
KVEXA_INLINE Integers smallWords(Integers a, Integers b) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), _mm512_packs_epi32(a, b));
}

KVEXA_INLINE void storeIntegers(std::int32_t* at, Integers a) { _mm512_storeu_si512(at, a); }
KVEXA_INLINE Integers loadIntegers(const std::int32_t* at) { return _mm512_loadu_si512(at); }

// ---- Double precision: never fused, terms in the order written ----

constexpr std::size_t doubleLanes = 8;

KVEXA_INLINE Doubles loadDoubles(const double* at) { return _mm512_loadu_pd(at); }
KVEXA_INLINE void storeDoubles(double* at, Doubles a) { _mm512_storeu_pd(at, a); }
KVEXA_INLINE Doubles doubles(double value) { return _mm512_set1_pd(value); }
KVEXA_INLINE Doubles widen(const float* at) { return _mm512_cvtps_pd(_mm256_loadu_ps(at)); }
KVEXA_INLINE Doubles add(Doubles a, Doubles b) { return _mm512_add_pd(a, b); }
KVEXA_INLINE Doubles sub(Doubles a, Doubles b) { return _mm512_sub_pd(a, b); }
KVEXA_INLINE Doubles mul(Doubles a, Doubles b) { return _mm512_mul_pd(a, b); }
// limit when value is beyond it, else value, also when that is not a number.
KVEXA_INLINE Doubles atMost(Doubles limit, Doubles value) { return _mm512_min_pd(limit, value); }
KVEXA_INLINE Doubles atLeast(Doubles limit, Doubles value) { return _mm512_max_pd(limit, value); }
KVEXA_INLINE void storeTruncated(std::int32_t* at, Doubles a) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), _mm512_cvttpd_epi32(a));
}

}  // namespace
}  // namespace kvexa::convert
