// The contract of a vector vocabulary: the types, constants and functions in which the loops are written,
// once for all instruction sets. A vocabulary is one header, with everything in an unnamed namespace and
// every function KVEXA_INLINE. Loops.cpp includes one and then this: of what is declared here the compiler
// finds whether it is defined, with these types.
//
// Terms. Integers, Floats and Doubles are vectors of the same size, vectorBytes. An Integers has words of 16
// bits or lanes of 32, counted from the lowest address. A block is 16 bytes; "per block" means that no value
// leaves its block. Memory may be at any address: no function needs alignment, and none reads or writes bytes
// beyond those that it is described with.
//
// Exactness. All integer functions are exact modulo 2^16 or 2^32 unless "saturated". Functions on Doubles
// round once each, to nearest in the state that DefaultFloatingPoint sets, and are never fused with each
// other: sums in doubles are part of a conversion's meaning. Floats only carry estimates, whose bound allows
// for a fused multiplyAdd. What is not a number passes through sums and products.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/vector/FilterParameters.h"

namespace kvexa::convert {
namespace {

static_assert(sizeof(Integers) == vectorBytes && sizeof(Floats) == vectorBytes &&
              sizeof(Doubles) == vectorBytes);
static_assert(vectorBytes % 16 == 0 && (vectorBytes & (vectorBytes - 1)) == 0);
static_assert(floatLanes == vectorBytes / sizeof(float) && doubleLanes == vectorBytes / sizeof(double));
static_assert(sizeof(BytesOfPixels) == 3 * vectorBytes);
// The weights of a filter are spread over as many lanes as the widest vectors have.
static_assert(floatLanes <= mostFloatLanes && doubleLanes <= mostDoubleLanes);

// ---- Memory and constants ----

// vectorBytes bytes.
Integers load(const std::uint8_t* bytes);
void store(std::uint8_t* bytes, Integers a);
// 2 * vectorBytes bytes: the even blocks to the first, the odd ones to the second, so that what is packed
// or picked from both per block has the order of memory.
void loadForPack(const std::uint8_t* bytes, Integers& first, Integers& second);
// The low 16 bits of a number in every word.
Integers words(int value);
// A number in every lane of 32 bits.
Integers dwords(int value);
Integers zeroIntegers();

// ---- Bits ----

Integers bitAnd(Integers a, Integers b);
Integers bitOr(Integers a, Integers b);
Integers bitXor(Integers a, Integers b);
// The bits of the second that the first does not have.
Integers bitAndNot(Integers a, Integers b);
// Not 0 when any bit is 1.
unsigned anyBit(Integers a);
// The bits that any of the words has, in the low 16 bits.
std::uint32_t combinedWords(Integers a);

// ---- Arithmetic on words ----

// Modulo 2^16.
Integers add16(Integers a, Integers b);
Integers sub16(Integers a, Integers b);
// Unsigned: at most 65535, at least 0.
Integers addSaturated16(Integers a, Integers b);
Integers subSaturated16(Integers a, Integers b);
// The low halves of the products.
Integers mulLow16(Integers a, Integers b);
// The high halves of the unsigned products.
Integers mulHigh16(Integers a, Integers b);
// Unsigned, (a + b + 1) / 2 without overflow.
Integers meanRoundedUp16(Integers a, Integers b);
// Signed.
Integers min16(Integers a, Integers b);
Integers max16(Integers a, Integers b);
Integers maxUnsigned16(Integers a, Integers b);
// By 0 to 15, filled with 0.
template <int count>
Integers shiftLeft16(Integers a);
template <int count>
Integers shiftRight16(Integers a);

// ---- Arithmetic on lanes of 32 bits ----

// Modulo 2^32.
Integers add32(Integers a, Integers b);
// The products of signed words, the two of each lane added, modulo 2^32.
Integers multiplyPairs(Integers a, Integers b);
// By 0 to 31, filled with 0.
template <int count>
Integers shiftLeft32(Integers a);
template <int count>
Integers shiftRight32(Integers a);
// By 0 to 31, filled with the sign.
Integers shiftRightSigned32(Integers a, unsigned count);

// ---- Places ----

// Per block, the lanes of the first, then of the second, as saturated signed words.
Integers packSigned32(Integers a, Integers b);
// Per block, the words of the lower or upper halves of both in turn.
Integers interleaveLow16(Integers a, Integers b);
Integers interleaveHigh16(Integers a, Integers b);
// The same of lanes.
Integers interleaveLow32(Integers a, Integers b);
Integers interleaveHigh32(Integers a, Integers b);
// Per block, lanes 0 and 2, or 1 and 3, of the first, then of the second.
Integers even32(Integers a, Integers b);
Integers odd32(Integers a, Integers b);
// Of every four words 0, 1, 2, 3 makes 0, 2, 1, 3.
Integers swapMiddle16(Integers a);
// Per block, every word moved to the place before it, or after it; the free place becomes 0.
Integers nextWords(Integers a);
Integers previousWords(Integers a);
// The even words of the first and the odd ones of the second, each in its place.
Integers evenOdd16(Integers a, Integers b);
// The low words of the lanes of the first, then of the second, through the whole vector.
Integers lowWords(Integers a, Integers b);
// The same of lanes from -32768 to 32767; what others become does not matter.
Integers smallWords(Integers a, Integers b);

// ---- Pixels to memory; one of three bytes is blue, green, red. BytesOfPixels has words of 0 to 255 ----

// Pixels of two bytes, those of even places and of odd ones in turn: vectorBytes pixels.
void storeInterleaved(std::uint8_t* output, Integers even, Integers odd);
// Words of blue with green above it, and words with red in the low byte and anything in the high one:
// vectorBytes / 2 pixels.
void storeBgr(std::uint8_t* output, Integers blueGreen, Integers red);
// Red, green, blue as signed words, which become 0 below 0 and 255 above 255: vectorBytes / 2 pixels.
void storeSaturated(std::uint8_t* output, Integers red, Integers green, Integers blue);
// Pixels of even places and of odd ones in turn: vectorBytes pixels.
void storeTriples(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd);
// The same after loadForPack: per block the pairs of the even words, then those of the odd words.
void storeSixes(std::uint8_t* output, const BytesOfPixels& even, const BytesOfPixels& odd);

// ---- Single precision, and lanes of 32 bits in memory: floatLanes numbers or samples ----

Floats loadFloats(const float* at);
void storeFloats(float* at, Floats a);
Integers loadIntegers(const std::int32_t* at);
void storeIntegers(std::int32_t* at, Integers a);
// Unsigned samples of one byte, or of two.
Integers widen8(const std::uint8_t* at);
Integers widen16(const std::uint8_t* at);
// A number in every lane.
Floats floats(float value);
// From signed lanes; exact up to 2^24, which is beyond all samples.
Floats toFloats(Integers a);
// Toward zero; what does not fit, and what is not a number, gives 0x80000000.
Integers truncated(Floats a);
// Rounded once.
Floats add(Floats a, Floats b);
// The second where either is not a number.
Floats min(Floats a, Floats b);
// a * b + c, rounded once or twice.
Floats multiplyAdd(Floats a, Floats b, Floats c);

// ---- Double precision: doubleLanes numbers ----

Doubles loadDoubles(const double* at);
void storeDoubles(double* at, Doubles a);
// A number in every lane.
Doubles doubles(double value);
// From floats, exactly.
Doubles widen(const float* at);
// Rounded once, never fused.
Doubles add(Doubles a, Doubles b);
Doubles sub(Doubles a, Doubles b);
Doubles mul(Doubles a, Doubles b);
// Limit and value: the limit where the value is above it, or below it; else the value, also when that is
// not a number.
Doubles atMost(Doubles limit, Doubles value);
Doubles atLeast(Doubles limit, Doubles value);
// Integers of 32 bits, toward zero; what does not fit, and what is not a number, gives 0x80000000.
void storeTruncated(std::int32_t* at, Doubles a);

}  // namespace
}  // namespace kvexa::convert
