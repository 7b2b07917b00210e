// An open board that closes itself, and tells every step taken on it.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <string>

#include "cli/board/Command.h"

namespace cli {

class Board {
 public:
  // The board that the command line names.
  explicit Board(Context& context);
  Board(Output& output, std::uint32_t type, std::uint32_t index);
  ~Board();
  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  const BoardHandle* handle() const { return board_.handle(); }
  const kvexa::Board& owner() const { return board_; }
  std::uint32_t type() const { return handle()->boardType; }
  bool isUsb() const { return type() == KVEXA_BOARD_USB; }
  Output& output() const { return output_; }

  // Tells the step; throws CallFailure when the result is negative.
  void step(const std::string& call, std::int32_t result) const { output_.step(call, result); }

  // Supplies and clock on, then out of reset; and the way back, to its end whatever fails, then the first
  // failure is thrown.
  void powerUp() const;
  void powerDown() const;

 private:
  Output& output_;
  kvexa::Board board_;
};

// Supplies and clock for as long as it lives, also when the command fails.
class Powered {
 public:
  // Does nothing unless the power is wanted.
  explicit Powered(const Board& board, bool isWanted = true);
  ~Powered();
  Powered(const Powered&) = delete;
  Powered& operator=(const Powered&) = delete;

  void off();

 private:
  const Board& board_;
  bool on_;
};

}  // namespace cli
