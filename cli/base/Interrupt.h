// Ctrl-C and Ctrl-Break as an event, so that a command can end in order. A second one ends the process at
// once.
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
  bool isSet() const { return wait(0); }

  // Whether a key was pressed within the time.
  bool wait(DWORD milliseconds) const { return WaitForSingleObject(event_, milliseconds) == WAIT_OBJECT_0; }

  // Throws Failure when a key was pressed.
  void check() const;

 private:
  HANDLE event_;
};

}  // namespace cli
