// Turns at the command pipes.
#pragma once

#include "win32/Lock.h"

namespace kvexa::usb {

// A register transfer is several requests that belong together, and a worker that stops the board must
// not cut into a caller's transfer: whoever holds a turn has the command pipes for himself. Image data
// have a pipe of their own and need none.
class CommandTurn {
 public:
  CommandTurn() : guard_(lock_) {}

 private:
  inline static win32::Lock lock_;

  win32::LockGuard guard_;
};

}  // namespace kvexa::usb
