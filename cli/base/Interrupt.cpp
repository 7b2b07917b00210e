#include "cli/base/Interrupt.h"

#include <atomic>

#include "cli/base/Failure.h"

namespace cli {

namespace {

std::atomic<HANDLE> pressed{nullptr};

// Windows calls this on a thread of its own.
BOOL WINAPI onKey(DWORD key) {
  if (key != CTRL_C_EVENT && key != CTRL_BREAK_EVENT) return FALSE;
  const HANDLE event = pressed.load();
  if (event == nullptr || WaitForSingleObject(event, 0) == WAIT_OBJECT_0) return FALSE;
  return SetEvent(event) != FALSE ? TRUE : FALSE;
}

}  // namespace

Interrupt::Interrupt() : event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
  if (event_ == nullptr) throw Failure("no memory for an event", ExitCode::board);
  pressed = event_;
  // A program that started this one may have made it ignore Ctrl-C.
  SetConsoleCtrlHandler(nullptr, FALSE);
  SetConsoleCtrlHandler(onKey, TRUE);
}

Interrupt::~Interrupt() {
  SetConsoleCtrlHandler(onKey, FALSE);
  pressed = nullptr;
  CloseHandle(event_);
}

void Interrupt::check() const {
  if (isSet()) throw Failure("interrupted", ExitCode::interrupted);
}

}  // namespace cli
