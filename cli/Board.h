// An open board that closes itself, and prints every step taken on it.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <string>

namespace cli {

// Prints "  kVexaPowerV1On            0" and throws kvexa::Error when the result is negative.
void step(const std::string& call, std::int32_t result);

class Board {
 public:
  Board(std::uint32_t type, std::uint32_t index);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  const BoardHandle* handle() const { return board_.handle(); }
  const kvexa::Board& owner() const { return board_; }

  // Supplies and clock on, then out of reset; and the way back.
  void powerUp() const;
  void powerDown() const;

 private:
  kvexa::Board board_;
};

}  // namespace cli
