// Fuzzes the fast converters against the plain one: the input's first bytes choose size and options, the
// rest is weights and content, or chooses those of the tests' adversary. Any difference ends the
// program.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "convert/vector/InstructionSet.h"
#include "tests/convert/Adversary.h"

namespace fuzz {

// Hands the input's bytes out; when they are used up, a sequence that the first one seeds.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size)
      : data_(data), size_(size), state_(size == 0 ? 0U : data[0]) {}

  std::uint8_t byte() {
    if (at_ < size_) return data_[at_++];
    state_ = state_ * 1664525U + 1013904223U;
    return static_cast<std::uint8_t>(state_ >> 24);
  }
  std::uint32_t below(std::uint32_t limit) { return (byte() * 256U + byte()) % limit; }

  // Numbers of every kind: whole bit patterns, small fractions, multiples of a quarter and of a ninth.
  double number() {
    switch (byte() % 4) {
      case 0: {
        double value;
        std::uint8_t bits[sizeof value];
        for (auto& part : bits) part = byte();
        std::memcpy(&value, bits, sizeof value);
        return value;
      }
      case 1: return (below(65536) - 32768.0) / 20000.0;
      case 2: return (byte() - 128) / 32 / 4.0;
      default: return (byte() - 128) / 32 / 9.0;
    }
  }

  std::vector<std::uint8_t> content(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (auto& value : bytes) value = byte();
    return bytes;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
  std::uint32_t state_;
};

// Samples that an adversary puts into content of that many, and what sums over them are aimed with.
inline kvexa::test::Aim chooseSamples(kvexa::test::Adversary<Input>& adversary,
                                      std::vector<std::uint8_t>& content, bool deep, std::uint32_t bits) {
  const std::size_t size = deep ? 2 : 1;
  const std::uint32_t depth = deep ? std::clamp(bits, 9U, 16U) : 8;
  return adversary.samples(content.size() / size, size, depth, [&](std::size_t i, std::uint32_t value) {
    std::memcpy(&content[i * size], &value, size);
  });
}

// convert(loops, pixels) must give the same bytes on every set, in the host's state, as on the plain one in
// the default state, and leave the host's state alone.
template <typename Convert>
void compareAllSets(std::size_t pixelBytes, const kvexa::test::HostState& host, const Convert& convert) {
  using namespace kvexa::convert;
  std::vector<std::uint8_t> expected(pixelBytes, 0x5A);
  const bool taken = convert(*rowLoopsOf(InstructionSet::scalar), expected.data());
  for (const InstructionSet set : allInstructionSets) {
    const RowLoops* loops = rowLoopsOf(set);
    if (loops == nullptr) continue;
    std::vector<std::uint8_t> actual(pixelBytes, 0x5A);
    kvexa::test::loadState(host);
    const bool takenToo = convert(*loops, actual.data());
    const bool isLeftAlone = kvexa::test::takeState().isLeftAlone(host);
    if (takenToo != taken || actual != expected || !isLeftAlone) {
      std::fprintf(stderr, "%s %s\n", nameOf(set),
                   isLeftAlone ? "differs from the plain conversion" : "changed the caller's state");
      std::abort();
    }
  }
}

}  // namespace fuzz
