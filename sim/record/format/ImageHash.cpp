#include "sim/record/format/ImageHash.h"

#include <bit>
#include <cstring>

namespace sim::record {

namespace {

constexpr std::size_t lanes = 4;
constexpr std::size_t blockBytes = lanes * sizeof(std::uint32_t);
constexpr std::uint32_t factor = 0x9E3779B1;
using Lanes = std::array<std::uint32_t, lanes>;

// Four lanes that do not wait for each other.
void mix(Lanes& state, const std::uint8_t* block) {
  Lanes words;
  std::memcpy(words.data(), block, sizeof words);
  for (std::size_t i = 0; i < lanes; ++i) {
    state[i] = std::rotl((state[i] ^ words[i]) * factor, 15);
  }
}

// Every bit of a word reaches every bit of it.
std::uint32_t stirred(std::uint32_t word) {
  word = (word ^ word >> 16) * 0x85EBCA6B;
  word = (word ^ word >> 13) * 0xC2B2AE35;
  return word ^ word >> 16;
}

}  // namespace

std::array<std::uint32_t, 4> imageHash(const void* data, std::size_t bytes) {
  const auto* at = static_cast<const std::uint8_t*>(data);
  Lanes state{1, 2, 3, 4};
  std::size_t left = bytes;
  for (; left >= blockBytes; left -= blockBytes, at += blockBytes) mix(state, at);
  if (left != 0) {
    std::array<std::uint8_t, blockBytes> rest{};
    std::memcpy(rest.data(), at, left);
    mix(state, rest.data());
  }
  state[0] ^= static_cast<std::uint32_t>(bytes);
  for (std::size_t round = 0; round < 2; ++round) {
    for (std::size_t i = 0; i < lanes; ++i) state[i] = stirred(state[i] + state[(i + 1) % lanes] + factor);
  }
  return state;
}

}  // namespace sim::record
