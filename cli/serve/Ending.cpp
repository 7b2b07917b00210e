#include "cli/serve/Ending.h"

#include <atomic>

#include "cli/base/Failure.h"

namespace cli::serve {

namespace {

constexpr DWORD longestWait = 10000;  // milliseconds; Windows itself waits for about five seconds

struct Events {
  std::atomic<HANDLE> wanted{nullptr};
  std::atomic<HANDLE> done{nullptr};
};
Events events;

// Windows calls this on a thread of its own.
BOOL WINAPI onClose(DWORD key) {
  if (key != CTRL_CLOSE_EVENT && key != CTRL_LOGOFF_EVENT && key != CTRL_SHUTDOWN_EVENT) return FALSE;
  const HANDLE wanted = events.wanted;
  const HANDLE done = events.done;
  if (wanted == nullptr) return FALSE;
  SetEvent(wanted);
  WaitForSingleObject(done, longestWait);
  return TRUE;
}

HANDLE makeEvent() {
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) throw Failure("no memory for an event", ExitCode::board);
  return event;
}

}  // namespace

// The events stay until the process ends: a handler may hold them still.
Ending::Ending() : wanted_(makeEvent()), done_(makeEvent()) {
  events.wanted = wanted_;
  events.done = done_;
  SetConsoleCtrlHandler(onClose, TRUE);
}

Ending::~Ending() {
  events.wanted = nullptr;
  SetEvent(done_);
  SetConsoleCtrlHandler(onClose, FALSE);
}

}  // namespace cli::serve
