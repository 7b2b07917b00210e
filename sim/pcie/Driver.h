// The PCIe board's driver: checks the requests and passes them to the board.
#pragma once

#include "sim/base/BoardDriver.h"
#include "sim/pcie/Board.h"

namespace sim::pcie {

class Driver : public BoardDriver<Board> {
 public:
  using BoardDriver::BoardDriver;

  Answer control(const ControlRequest& request) override;
};

}  // namespace sim::pcie
