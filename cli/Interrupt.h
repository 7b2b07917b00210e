// Ctrl-C and Ctrl-Break as an event, so that a command can end in order.
#pragma once

#include <windows.h>

namespace cli {

// One at a time.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  // Set from the first key press on.
  HANDLE event() const { return event_; }

 private:
  HANDLE event_;
};

}  // namespace cli
