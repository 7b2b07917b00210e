// Events of a caller who may have left them out: a null event takes nothing.
#pragma once

#include <windows.h>

namespace kvexa::win32 {

inline void signal(HANDLE event) {
  if (event != nullptr) SetEvent(event);
}

inline void clear(HANDLE event) {
  if (event != nullptr) ResetEvent(event);
}

}  // namespace kvexa::win32
