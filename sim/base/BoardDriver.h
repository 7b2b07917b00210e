// What the drivers of both boards do alike: each has one board.
#pragma once

#include <string>
#include <utility>

#include "sim/base/Driver.h"

namespace sim {

template <class Board>
class BoardDriver : public Driver {
 public:
  template <class... Surroundings>
  explicit BoardDriver(std::string name, Surroundings&&... surroundings)
      : board_(std::move(name), std::forward<Surroundings>(surroundings)...) {}

  Board& board() { return board_; }

  const std::string& name() const override { return board_.name(); }
  bool isPresent() const override { return board_.isPlugged(); }
  bool open() override { return board_.open(); }
  void close() override { board_.close(); }

 private:
  Board board_;
};

}  // namespace sim
