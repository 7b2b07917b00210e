// Counting, opening and closing boards.
#include <windows.h>

#include <algorithm>

#include "api/Devices.h"
#include "api/Dispatch.h"
#include "pcie/BoardAccess.h"
#include "pcie/Version.h"
#include "usb/link/Boards.h"
#include "usb/registers/Version.h"
#include "win32/FileVersion.h"

namespace kvexa::api {

namespace {

std::int32_t countAll(std::uint32_t* usbCount, std::uint32_t* pcieCount) {
  const std::int32_t usb = countBoards(KVEXA_BOARD_USB);
  const std::int32_t pcie = countBoards(KVEXA_BOARD_PCIE);
  const std::int32_t usbStored = std::max(usb, 0);
  const std::int32_t pcieStored = std::max(pcie, 0);
  if (usbCount != nullptr) *usbCount = static_cast<std::uint32_t>(usbStored);
  if (pcieCount != nullptr) *pcieCount = static_cast<std::uint32_t>(pcieStored);
  return usb < 0 && pcie < 0 ? KVEXA_FAILED : usbStored + pcieStored;
}

std::int32_t open(std::uint32_t boardType, std::uint32_t boardIndex, BoardHandle* board) {
  if (board == nullptr || boardType > KVEXA_BOARD_PCIE) return KVEXA_BAD_ARGUMENT;
  OpenedBoard opened = openBoard(static_cast<BoardType>(boardType), boardIndex);
  if (opened.result != KVEXA_OK) return opened.result;
  *board = {opened.file.release(), boardType, boardIndex};
  if (boardType == KVEXA_BOARD_PCIE) {
    pcie::rememberBoard(boardIndex, board->driverHandle);
  } else {
    usb::rememberBoard(board->driverHandle);
  }
  return KVEXA_OK;
}

std::int32_t close(BoardHandle* board) {
  if (board == nullptr) return KVEXA_BAD_ARGUMENT;
  const bool isBoard = board->boardType <= KVEXA_BOARD_PCIE;
  // Before it is closed: the next handle that is opened may be of the same number.
  if (board->boardType == KVEXA_BOARD_PCIE) pcie::forgetBoard(board->boardIndex);
  if (board->boardType == KVEXA_BOARD_USB) usb::forgetBoard(board->driverHandle);
  const bool failed = isBoard && CloseHandle(board->driverHandle) == FALSE;
  board->driverHandle = nullptr;
  board->boardIndex = 0;
  return failed ? KVEXA_FAILED : KVEXA_OK;
}

std::int32_t readVersions(const BoardHandle* board, std::uint32_t* fpga, std::uint32_t* firmware,
                          std::uint32_t* driverFile, std::uint32_t* library) {
  if (fpga == nullptr || firmware == nullptr || driverFile == nullptr || library == nullptr) {
    return KVEXA_BAD_ARGUMENT;
  }
  const std::int32_t read =
      dispatch(board, usb::readVersions, pcie::readVersions, fpga, firmware, driverFile);
  if (read != KVEXA_OK) return read;
  return win32::readLibraryVersion(*library) ? KVEXA_OK : KVEXA_FAILED;
}

}  // namespace

}  // namespace kvexa::api

using namespace kvexa;

KVEXA_EXPORT(int32_t) kVexaDevNum(uint32_t* usbCount, uint32_t* pcieCount) {
  return api::countAll(usbCount, pcieCount);
}

KVEXA_EXPORT(int32_t) kVexaDevOpen(uint32_t boardType, uint32_t boardIndex, BoardHandle* board) {
  return api::open(boardType, boardIndex, board);
}

KVEXA_EXPORT(int32_t) kVexaDevClose(BoardHandle* board) { return api::close(board); }

KVEXA_EXPORT(int32_t)
kVexaGetVersion(const BoardHandle* board, uint32_t* fpgaVersion, uint32_t* firmwareVersion,
                uint32_t* driverVersion, uint32_t* libraryVersion) {
  return api::readVersions(board, fpgaVersion, firmwareVersion, driverVersion, libraryVersion);
}
