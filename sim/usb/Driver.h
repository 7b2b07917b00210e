// The USB board's driver: checks the records of the requests and passes them to the board.
#pragma once

#include "sim/base/Driver.h"
#include "sim/usb/Board.h"
#include "sim/usb/Protocol.h"

namespace sim::usb {

class Driver : public sim::Driver {
 public:
  Driver(std::string name, Timeline& timeline, Trace& trace) : board_(std::move(name), timeline, trace) {}

  Board& board() { return board_; }

  const std::string& name() const override { return board_.name(); }
  bool isPresent() const override { return board_.isPlugged(); }
  bool open() override { return board_.open(); }
  void close() override { board_.close(); }
  Answer control(const ControlRequest& request) override;

 private:
  Answer pipeTransfer(const ControlRequest& request);
  Answer descriptor(const ControlRequest& request);

  Board board_;
};

}  // namespace sim::usb
