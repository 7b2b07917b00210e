// One frame from the board.
#pragma once

#include <cstdint>
#include <vector>

#include "cli/board/Board.h"
#include "cli/frames/FrameSetup.h"

namespace cli {

// Tells the step. Throws CallFailure, and Failure when no frame comes in so many milliseconds.
std::vector<std::uint8_t> captureFrame(const Board& board, const FrameLayout& frame, std::uint32_t timeout);

}  // namespace cli
