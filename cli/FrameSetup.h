// What comes before a capture: the two files, the board's set-up, the size of a frame.
#pragma once

#include <kvexa.h>

#include <cstdint>
#include <string>

#include "Board.h"

namespace cli {

struct FrameLayout {
  std::uint32_t bytes = 0;
  std::uint32_t bytesPerUnit = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// Throws Failure when the file cannot be opened.
void checkReadable(const std::string& path);

CapParam readParameters(const std::string& path);
FrameLayout layoutOf(const CapParam& parameters);

// Plays the register-setting file and programs the capture front end.
void setUpSensor(const Board& board, const std::string& registers, const CapParam& parameters);

// Frames a second, as the board measures them.
double measureRate(const Board& board);

}  // namespace cli
