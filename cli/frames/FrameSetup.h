// What comes before a capture: the two files, the board's set-up, the size of a frame.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <string>

#include "cli/base/Output.h"
#include "cli/board/Board.h"

namespace cli {

using kvexa::FrameLayout;

// Throws Failure when the file cannot be opened.
void checkReadable(const std::string& path);

// Throws Failure that names the file, its line and the cause.
CapParam readParameters(Output& output, const std::string& path);
FrameLayout layoutOf(Output& output, const CapParam& parameters);

// Plays a register-setting file into the sensor. One that cannot mean what its author wants is refused
// before.
void playRegisters(const Board& board, const std::string& registers);

// Plays the register-setting file and programs the capture front end.
void setUpSensor(const Board& board, const std::string& registers, const CapParam& parameters);

// Frames a second, as the board measures them.
double measureRate(const Board& board);

}  // namespace cli
