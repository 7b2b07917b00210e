#include "files/HexNumber.h"

#include <algorithm>
#include <string_view>

namespace kvexa::files {

namespace {

constexpr std::uint64_t largestPositive = 0x7FFFFFFF;
constexpr std::uint64_t largestNegative = 0x80000000;
constexpr std::string_view blanks = " \t\v\f\r";

// 16 for a byte that is no hexadecimal digit.
unsigned digitOf(char byte) {
  if (byte >= '0' && byte <= '9') return static_cast<unsigned>(byte - '0');
  if (byte >= 'a' && byte <= 'f') return static_cast<unsigned>(byte - 'a' + 10);
  if (byte >= 'A' && byte <= 'F') return static_cast<unsigned>(byte - 'A' + 10);
  return 16;
}

}  // namespace

void HexNumber::put(char byte) {
  switch (state_) {
    case State::blanks:
    case State::signSeen: putFirst(byte); break;
    case State::zeroSeen:
      if (byte == 'x' || byte == 'X') {
        state_ = State::digits;
      } else {
        putDigit(byte);
      }
      break;
    case State::digits: putDigit(byte); break;
    case State::finished: break;
  }
}

void HexNumber::putFirst(char byte) {
  if (state_ == State::blanks && blanks.find(byte) != std::string_view::npos) return;
  if (state_ == State::blanks && (byte == '+' || byte == '-')) {
    negative_ = byte == '-';
    state_ = State::signSeen;
  } else if (byte == '0') {
    state_ = State::zeroSeen;
  } else {
    putDigit(byte);
  }
}

void HexNumber::putDigit(char byte) {
  const unsigned digit = digitOf(byte);
  if (digit > 15) {
    state_ = State::finished;
    return;
  }
  state_ = State::digits;
  magnitude_ = std::min(magnitude_ * 16 + digit, largestNegative);
}

std::uint32_t HexNumber::value() const {
  return negative_ ? static_cast<std::uint32_t>(0 - magnitude_)
                   : static_cast<std::uint32_t>(std::min(magnitude_, largestPositive));
}

}  // namespace kvexa::files
