// State of the PCIe back end that all boards share: the board-access mutex and the table of open boards.
#pragma once

#include <windows.h>

#include <cstdint>

namespace kvexa::pcie {

// At load and unload of the library.
void createBoardAccess();
void closeBoardAccess();

// The board-access mutex is held while a capture starts, by one board of the process at a time. A thread
// that ends while it holds it leaves it abandoned; then -1 is returned, and the taker owns it all the same.
std::int32_t lockBoardAccess();
std::int32_t unlockBoardAccess();

// The same, but gives up when the event is set first. False when it gave up.
bool lockBoardAccessUnless(HANDLE event);

// Boards of an index above the table are not remembered.
void rememberBoard(std::uint32_t index, HANDLE driver);
void forgetBoard(std::uint32_t index);

// The index of an open board, or -1.
std::int32_t findBoard(HANDLE driver);

}  // namespace kvexa::pcie
