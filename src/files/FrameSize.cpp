#include "files/FrameSize.h"

#include <algorithm>
#include <array>

namespace kvexa::files {

namespace {

constexpr int anyPacking = -1;

struct Unit {
  std::uint32_t bytes;
  std::uint32_t widthDivisor;
};

// One row for each group of formats and width of samples that has a size.
struct UnitRow {
  std::uint64_t formats;  // bit n for INPUTFORMAT n
  int leastBits;
  int mostBits;
  int packing;  // SPACK, or anyPacking
  Unit unit;
};

template <class... Formats>
constexpr std::uint64_t formats(Formats... codes) {
  return ((std::uint64_t{1} << codes) | ...);
}

constexpr std::uint64_t samples = formats(KVEXA_INPUT_SAMPLES);
constexpr std::uint64_t bytes = formats(KVEXA_INPUT_BYTE_1, KVEXA_INPUT_GREY8, KVEXA_INPUT_BYTE_40,
                                        KVEXA_INPUT_BYTE_41, KVEXA_INPUT_BYTE_42, KVEXA_INPUT_BYTE_43);
constexpr std::uint64_t words =
    formats(KVEXA_INPUT_WORD_2, KVEXA_INPUT_RGB565, KVEXA_INPUT_RGB555, KVEXA_INPUT_WORD_44,
            KVEXA_INPUT_WORD_45, KVEXA_INPUT_WORD_46, KVEXA_INPUT_WORD_47);
constexpr std::uint64_t yuv = formats(KVEXA_INPUT_YUV);
constexpr std::uint64_t yuvPair = formats(KVEXA_INPUT_YUV_PAIR);
constexpr std::uint64_t triples = formats(KVEXA_INPUT_TRIPLE_3, KVEXA_INPUT_BGR24);

constexpr std::array<UnitRow, 11> unitRows{{
    {samples, 0, 8, anyPacking, {1, 1}},
    {samples, 9, 16, 0, {2, 1}},
    {bytes, 0, 8, anyPacking, {1, 1}},
    {bytes, 16, 16, 0, {1, 2}},
    {words, 0, 8, 1, {2, 1}},
    {words, 9, 16, 0, {2, 1}},
    {yuv, 0, 8, 1, {2, 1}},
    {yuv, 16, 16, 0, {2, 1}},
    {yuvPair, 0, 8, 1, {4, 2}},
    {yuvPair, 9, 16, 0, {4, 2}},
    {triples, 0, 8, anyPacking, {3, 3}},
}};

constexpr std::uint32_t largestFormat = KVEXA_INPUT_WORD_47;

std::optional<Unit> unitOf(const CapParam& p) {
  if (p.INPUTFORMAT > largestFormat) return std::nullopt;
  if (p.INPUTFORMAT == KVEXA_INPUT_PACKED) {
    // The packing mode itself divides the width, untested but for zero. That is intended.
    if (p.SPACK == 0) return std::nullopt;
    return Unit{4, p.SPACK};
  }
  const auto* const row = std::ranges::find_if(unitRows, [&p](const UnitRow& candidate) {
    return (candidate.formats >> p.INPUTFORMAT & 1) != 0 && p.BITWIDTH >= candidate.leastBits &&
           p.BITWIDTH <= candidate.mostBits &&
           (candidate.packing == anyPacking || p.SPACK == candidate.packing);
  });
  if (row == unitRows.end()) return std::nullopt;
  return row->unit;
}

// Samples of the serial inputs are packed: so much of the plain size is transferred, by SMIAIN.
struct Ratio {
  std::uint32_t numerator;
  std::uint32_t denominator;
};

constexpr std::array<Ratio, 6> serialPacking{{{1, 1}, {1, 1}, {1, 1}, {1, 1}, {4, 5}, {2, 3}}};

std::uint32_t divideUp(std::uint32_t value, std::uint32_t divisor) { return (value + divisor - 1) / divisor; }

std::uint32_t roundUp(std::uint32_t size, std::uint32_t multiple) {
  return (size + multiple - 1) & ~(multiple - 1);
}

std::optional<std::uint32_t> multipleOf(std::uint32_t alignment) {
  switch (alignment) {
    case KVEXA_ALIGN_512: return 512;
    case KVEXA_ALIGN_4: return 4;
    default: return std::nullopt;
  }
}

}  // namespace

std::optional<FrameSize> frameSize(const CapParam& p, std::uint32_t alignment) {
  const auto unit = p.HWEXCHG == 0 ? unitOf(p) : Unit{2, 1};
  const auto multiple = multipleOf(alignment);
  if (!unit || !multiple || p.SMIAIN >= serialPacking.size()) return std::nullopt;

  FrameSize size;
  size.bytesPerUnit = unit->bytes;
  size.width = divideUp(p.HCNT, p.HREDUCT + 1U) / unit->widthDivisor;
  size.height = divideUp(p.VCNT, p.VREDUCT + 1U);
  const Ratio packing = serialPacking[p.SMIAIN];
  // 32-bit arithmetic that wraps, multiplied first and divided then. That is intended.
  const std::uint32_t plain = size.bytesPerUnit * size.height * size.width;
  size.bytes = roundUp(plain * packing.numerator / packing.denominator, *multiple);
  if (size.bytes == 0 || size.width == 0 || size.height == 0) return std::nullopt;
  return size;
}

std::uint32_t roughFrameSize(const CapParam& p, std::uint32_t alignment) {
  // Left to right in signed 32-bit arithmetic that wraps: rounding differs from the exact size. Intended.
  const std::uint32_t product = std::uint32_t{p.HCNT} / (p.HREDUCT + 1U) * p.VCNT;
  const std::int32_t units = static_cast<std::int32_t>(product) / (p.VREDUCT + 1);
  const std::uint32_t bytesPerUnit = p.HWEXCHG != 0 || p.BITWIDTH > 8 ? 2 : 1;
  const std::uint32_t size = bytesPerUnit * static_cast<std::uint32_t>(units);
  const auto multiple = multipleOf(alignment);
  return multiple ? roundUp(size, *multiple) : size;
}

}  // namespace kvexa::files
