// One hexadecimal number, read byte by byte.
#pragma once

#include <cstdint>

namespace kvexa::files {

// Reads as the run-time library's strtol does with base 16 where a long has 32 bits: blanks, a sign,
// "0x", digits; what follows them is ignored. Too large a number becomes the largest.
class HexNumber {
 public:
  void put(char byte);

  // The number so far, negative ones in two's complement; 0 when there was no digit.
  std::uint32_t value() const;

 private:
  enum class State { blanks, signSeen, zeroSeen, digits, finished };

  void putFirst(char byte);
  void putDigit(char byte);

  State state_ = State::blanks;
  bool negative_ = false;
  std::uint64_t magnitude_ = 0;
};

}  // namespace kvexa::files
