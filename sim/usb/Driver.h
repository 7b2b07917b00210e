// The USB board's driver: checks the records of the requests and passes them to the board.
#pragma once

#include "sim/base/BoardDriver.h"
#include "sim/usb/Board.h"
#include "sim/usb/Protocol.h"

namespace sim::usb {

class Driver : public BoardDriver<Board> {
 public:
  using BoardDriver::BoardDriver;

  Answer control(const ControlRequest& request) override;

 private:
  Answer pipeTransfer(const ControlRequest& request);
  Answer descriptor(const ControlRequest& request);
};

}  // namespace sim::usb
