// The PCIe board's driver: checks the requests and passes them to the board.
#pragma once

#include "Driver.h"
#include "PcieBoard.h"

namespace sim {

class PcieDriver : public Driver {
 public:
  PcieDriver(std::string name, const PcieBoard::Machinery& machinery) : board_(std::move(name), machinery) {}

  PcieBoard& board() { return board_; }

  const std::string& name() const override { return board_.name(); }
  bool isPresent() const override { return board_.isPlugged(); }
  bool open() override { return board_.open(); }
  void close() override { board_.close(); }
  ControlAnswer control(const ControlRequest& request) override;

 private:
  PcieBoard board_;
};

}  // namespace sim
