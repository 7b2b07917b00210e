// What the library keeps for each open USB board.
#pragma once

#include <windows.h>

#include <cstddef>

#include "win32/AbortSignal.h"
#include "win32/Lock.h"
#include "win32/TimedLock.h"

namespace kvexa::usb {

struct Board {
  win32::Lock turn;           // see CommandTurn
  win32::TimedLock handOver;  // between an abort and the captures that it ends
  win32::Endings endings;
};

// The boards of a process that the system can list.
constexpr std::size_t mostBoards = 255;

// At open and before close. A handle that finds no place works without what is kept here, and so does one
// that was opened before the library was loaded.
void rememberBoard(HANDLE driver);
void forgetBoard(HANDLE driver);

// A use of what is kept for a board, or of nothing when its handle is not known. What a use has keeps its
// place until the use ends, so a board that is opened meanwhile never gets what another one has left there.
class BoardUse {
 public:
  explicit BoardUse(HANDLE driver);
  ~BoardUse();
  BoardUse(const BoardUse&) = delete;
  BoardUse& operator=(const BoardUse&) = delete;

  explicit operator bool() const { return place_ < mostBoards; }
  Board* operator->() const;

 private:
  std::size_t place_;
};

}  // namespace kvexa::usb
