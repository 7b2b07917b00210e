// Fuzzes the fast converters against the plain one: the input's first bytes choose size and options, the
// rest is content. Any difference ends the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "convert/InstructionSet.h"

namespace fuzz {

// Hands the input's bytes out; zeros when they are used up.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t byte() {
    if (at_ == size_) return 0;
    return data_[at_++];
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

  // Content of that many bytes; what the input does not reach is a sequence that it seeds.
  std::vector<std::uint8_t> content(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::uint32_t state = byte() + 1U;
    for (auto& value : bytes) {
      state = state * 1664525U + 1013904223U;
      value = at_ < size_ ? byte() : static_cast<std::uint8_t>(state >> 24);
    }
    return bytes;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t at_ = 0;
};

// convert(kernels, pixels) must give the same bytes on every set as on the plain one.
template <typename Convert>
void compareAllSets(std::size_t pixelBytes, const Convert& convert) {
  using namespace kvexa::convert;
  std::vector<std::uint8_t> expected(pixelBytes, 0x5A);
  const bool taken = convert(*rowKernelsOf(InstructionSet::scalar), expected.data());
  for (const InstructionSet set : allInstructionSets) {
    const RowKernels* kernels = rowKernelsOf(set);
    if (kernels == nullptr) continue;
    std::vector<std::uint8_t> actual(pixelBytes, 0x5A);
    if (convert(*kernels, actual.data()) != taken || actual != expected) {
      std::fprintf(stderr, "%s differs from the plain conversion\n", nameOf(set));
      std::abort();
    }
  }
}

}  // namespace fuzz
