// Finding and opening boards through their device interface classes.
#pragma once

#include <windows.h>

#include <cstdint>

#include "kvexa.h"
#include "win32/Handles.h"

namespace kvexa::api {

// The number of present boards of a type, at most 255, or -1 when they cannot be enumerated.
std::int32_t countBoards(BoardType type);

struct OpenedBoard {
  std::int32_t result = KVEXA_OPEN_FAILED;
  win32::UniqueFile file;
};

OpenedBoard openBoard(BoardType type, std::uint32_t index);

}  // namespace kvexa::api
