// How a transfer takes its turn at a board's command pipes.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::usb {

class Link {
 public:
  enum class Manner : std::uint8_t {
    inTurn,     // the transfer waits until no other one is under way on the board
    handsOver,  // and, up to a limit, until no abort is: for captures that an abort ends while they transfer
    withoutTurns,  // at once: for a thread that has the turn already, and for what must not wait
  };

  // Operations are called with the driver handle of a record, and take turns.
  Link(HANDLE driver, Manner manner = Manner::inTurn)  // NOLINT(google-explicit-constructor)
      : driver_(driver), manner_(manner) {}

  HANDLE driver() const { return driver_; }
  Manner manner() const { return manner_; }

 private:
  HANDLE driver_;
  Manner manner_;
};

}  // namespace kvexa::usb
