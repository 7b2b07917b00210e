// The PCIe board's driver: checks the requests and passes them to the board.
#pragma once

#include "sim/base/Driver.h"
#include "sim/pcie/Board.h"

namespace sim::pcie {

class Driver : public sim::Driver {
 public:
  Driver(std::string name, const Board::Machinery& machinery) : board_(std::move(name), machinery) {}

  Board& board() { return board_; }

  const std::string& name() const override { return board_.name(); }
  bool isPresent() const override { return board_.isPlugged(); }
  bool open() override { return board_.open(); }
  void close() override { board_.close(); }
  Answer control(const ControlRequest& request) override;

 private:
  Board board_;
};

}  // namespace sim::pcie
