// Random test content that can be had again: the seed is printed, and KVEXA_TEST_SEED sets it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace kvexa::test {

class RandomSource {
 public:
  RandomSource() : engine_(seed()) { std::cout << "seed " << seed() << " (KVEXA_TEST_SEED sets it)\n"; }

  // 0 to limit - 1.
  std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(engine_() % limit); }

  std::uint16_t word() { return static_cast<std::uint16_t>(engine_() >> 16); }

  std::vector<std::uint8_t> bytes(std::size_t count) {
    std::vector<std::uint8_t> result(count);
    for (auto& value : result) value = static_cast<std::uint8_t>(engine_() >> 24);
    return result;
  }

  // Text of these characters.
  std::string text(const std::string& alphabet, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
      result += alphabet[below(static_cast<std::uint32_t>(alphabet.size()))];
    }
    return result;
  }

 private:
  static std::uint32_t seed() {
    const char* chosen = std::getenv("KVEXA_TEST_SEED");
    return chosen != nullptr ? static_cast<std::uint32_t>(std::strtoul(chosen, nullptr, 0)) : 26052056u;
  }

  std::mt19937 engine_;
};

}  // namespace kvexa::test
