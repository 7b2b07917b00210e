#include "usb/link/CommandTurn.h"

namespace kvexa::usb {

namespace {

HANDLE boardFor(const Link& link) {
  return link.manner() == Link::Manner::withoutTurns ? nullptr : link.driver();
}

}  // namespace

// The turn comes first: while it is waited for, nothing of this thread's is under way that an abort would
// have to wait for.
CommandTurn::CommandTurn(const Link& link) : driver_(link.driver()), board_(boardFor(link)) {
  if (!board_) return;
  board_->turn.lock();
  isHandedOver_ = link.manner() == Link::Manner::handsOver && board_->handOver.tryLock(win32::handOverLimit);
}

CommandTurn::~CommandTurn() {
  if (!board_) return;
  if (isHandedOver_) board_->handOver.unlock();
  board_->turn.unlock();
}

}  // namespace kvexa::usb
