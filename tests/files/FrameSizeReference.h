// Frame sizes worked out apart from the library, which is compared with them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "kvexa.h"

namespace kvexa::test::reference {

struct UnitRule {
  std::vector<unsigned> formats;
  unsigned lowestBitWidth, highestBitWidth;
  std::optional<unsigned> packing;
  unsigned bytes, divisor;
};

struct Unit {
  unsigned bytes, divisor;
};

inline std::optional<Unit> unitOf(unsigned format, unsigned bitWidth, unsigned packing) {
  static const std::vector<unsigned> greyAndRaw = {1, 13, 40, 41, 42, 43};
  static const std::vector<unsigned> words = {2, 11, 12, 44, 45, 46, 47};
  static const std::vector<UnitRule> rules = {
      {{0}, 0, 8, {}, 1, 1},         {{0}, 9, 16, 0, 2, 1},     {greyAndRaw, 0, 8, {}, 1, 1},
      {greyAndRaw, 16, 16, 0, 1, 2}, {words, 0, 8, 1, 2, 1},    {words, 9, 16, 0, 2, 1},
      {{20}, 0, 8, 1, 2, 1},         {{20}, 16, 16, 0, 2, 1},   {{21}, 0, 8, 1, 4, 2},
      {{21}, 9, 16, 0, 4, 2},        {{3, 10}, 0, 8, {}, 3, 3},
  };
  if (format == 4) {
    if (packing == 0) return {};
    return Unit{4, packing};
  }
  for (const auto& rule : rules) {
    const bool sameFormat = std::find(rule.formats.begin(), rule.formats.end(), format) != rule.formats.end();
    const bool sameWidth = bitWidth >= rule.lowestBitWidth && bitWidth <= rule.highestBitWidth;
    const bool samePacking = !rule.packing || *rule.packing == packing;
    if (sameFormat && sameWidth && samePacking) return Unit{rule.bytes, rule.divisor};
  }
  return {};
}

// 64-bit numbers cut to 32 bits after every product, as the board's sizes wrap.
inline std::uint64_t wrapped(std::uint64_t value) { return value & 0xFFFFFFFFu; }

struct FrameSize {
  std::uint32_t bytes, bytesPerUnit, width, height;
  bool operator==(const FrameSize&) const = default;
};

inline std::optional<FrameSize> frameSizeEx(const CapParam& param, std::uint32_t alignment) {
  const auto reduced = [](unsigned count, unsigned step) { return (count + step - 1) / step; };
  std::uint64_t width = reduced(param.HCNT, param.HREDUCT + 1u);
  const std::uint64_t height = reduced(param.VCNT, param.VREDUCT + 1u);
  Unit unit{2, 1};
  if (param.HWEXCHG == 0) {
    const auto found = unitOf(param.INPUTFORMAT, param.BITWIDTH, param.SPACK);
    if (!found) return {};
    unit = *found;
  }
  width /= unit.divisor;
  std::uint64_t size = wrapped(wrapped(unit.bytes * height) * width);
  if (param.SMIAIN == 4) size = wrapped(size * 4) / 5;
  if (param.SMIAIN == 5) size = wrapped(size * 2) / 3;
  if (param.SMIAIN > 5 || alignment > 1) return {};
  const std::uint64_t multiple = alignment == 0 ? 512 : 4;
  size = wrapped((size + multiple - 1) / multiple * multiple);
  if (size == 0 || width == 0 || height == 0) return {};
  return FrameSize{static_cast<std::uint32_t>(size), unit.bytes, static_cast<std::uint32_t>(width),
                   static_cast<std::uint32_t>(height)};
}

// The low 32 bits as a signed number.
inline std::int64_t asSigned(std::int64_t value) {
  const auto bits = wrapped(static_cast<std::uint64_t>(value));
  return bits >= 0x80000000u ? static_cast<std::int64_t>(bits) - 0x100000000
                             : static_cast<std::int64_t>(bits);
}

inline std::uint32_t frameSize(const CapParam& param, std::uint32_t alignment) {
  const std::int64_t columns = param.HCNT / (param.HREDUCT + 1);
  const std::int64_t pixels = asSigned(columns * param.VCNT) / (param.VREDUCT + 1);
  const std::int64_t bytesPerUnit = param.HWEXCHG != 0 || param.BITWIDTH > 8 ? 2 : 1;
  std::int64_t size = asSigned(pixels * bytesPerUnit);
  const std::int64_t multiple = alignment == 0 ? 512 : alignment == 1 ? 4 : 1;
  while (size % multiple != 0) ++size;
  return static_cast<std::uint32_t>(wrapped(static_cast<std::uint64_t>(size)));
}

}  // namespace kvexa::test::reference
