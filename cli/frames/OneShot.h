// Single frames, and what a board measures of those that come in.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "cli/board/Board.h"
#include "cli/frames/FrameSetup.h"

namespace cli {

// One frame. Throws Failure when none comes within so many milliseconds.
std::vector<std::uint8_t> captureFrame(const Board& board, const FrameLayout& frame, std::uint32_t timeout);

// What the board measures of the frames that come in, told as the member "measured"; nothing when none come.
// A USB board does not tell that its measurement did not end: the rate that it measured says whether frames
// come.
std::optional<AutoActual> measureFrames(const Board& board, double rate, std::uint32_t timeout);

}  // namespace cli
