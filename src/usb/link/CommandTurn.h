// Turns at the command pipes of a board.
#pragma once

#include <windows.h>

#include "usb/link/Boards.h"
#include "usb/link/Link.h"
#include "win32/WaitLimits.h"

namespace kvexa::usb {

// A register transfer is several requests that belong together, and a worker that stops the board must
// not cut into a caller's transfer: the holder of a turn has the board's command pipes alone. Image
// data have a pipe of their own and need none.
class CommandTurn {
 public:
  explicit CommandTurn(const Link& link);
  ~CommandTurn();
  CommandTurn(const CommandTurn&) = delete;
  CommandTurn& operator=(const CommandTurn&) = delete;

  // For the requests of the turn, and for transfers that are part of this one.
  Link link() const { return {driver_, Link::Manner::withoutTurns}; }
  HANDLE driver() const { return driver_; }

 private:
  HANDLE driver_;
  BoardUse board_;
  bool isHandedOver_ = false;
};

// The transfers of an abort: no capture that it ends cuts into them, unless that one does not hand over
// within the limit. Transfers of other callers do, and do not hold it up.
class AbortTurn {
 public:
  explicit AbortTurn(HANDLE driver) : driver_(driver), board_(driver) {
    isHandedOver_ = board_ && board_->handOver.tryLock(win32::handOverLimit);
  }
  ~AbortTurn() {
    if (isHandedOver_) board_->handOver.unlock();
  }
  AbortTurn(const AbortTurn&) = delete;
  AbortTurn& operator=(const AbortTurn&) = delete;

  Link link() const { return {driver_, Link::Manner::withoutTurns}; }

 private:
  HANDLE driver_;
  BoardUse board_;
  bool isHandedOver_ = false;
};

}  // namespace kvexa::usb
