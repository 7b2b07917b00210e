#include "api/Devices.h"

#include <array>
#include <cstring>

#include "win32/ByteBuffer.h"

namespace kvexa::api {

namespace {

constexpr std::int32_t countLimit = 255;

constexpr std::array<GUID, 2> interfaceClasses{{
    {0xB0AB5DB8, 0x9B4F, 0x4262, {0xA6, 0xF1, 0x0D, 0x7A, 0xCA, 0x3C, 0xD6, 0x30}},
    {0x48C8F86D, 0xD55D, 0x46CD, {0xB3, 0xC3, 0x77, 0x2D, 0xDE, 0x19, 0x1D, 0x11}},
}};

const GUID& classOf(BoardType type) { return interfaceClasses[type]; }

win32::UniqueDeviceSet presentBoards(BoardType type) {
  return win32::UniqueDeviceSet(
      SetupDiGetClassDevsA(&classOf(type), nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
}

bool findInterface(HDEVINFO boards, BoardType type, DWORD index, SP_DEVICE_INTERFACE_DATA& found) {
  found = {};
  found.cbSize = sizeof found;
  static_assert(sizeof found == 28);
  return SetupDiEnumDeviceInterfaces(boards, nullptr, &classOf(type), index, &found) != FALSE;
}

// The detail record of the board at the index, or an empty buffer.
ByteBuffer interfaceDetail(HDEVINFO boards, SP_DEVICE_INTERFACE_DATA& board) {
  // The fixed part of the record and its alignment, as Windows checks it.
  constexpr DWORD detailSize = 5;
  static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) == detailSize);
  DWORD needed = 0;
  SetupDiGetDeviceInterfaceDetailA(boards, &board, nullptr, 0, &needed, nullptr);
  if (needed < detailSize) return ByteBuffer::none();
  ByteBuffer buffer(needed);
  if (!buffer) return buffer;
  auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(buffer.all().data());
  detail->cbSize = detailSize;
  if (SetupDiGetDeviceInterfaceDetailA(boards, &board, detail, needed, nullptr, nullptr) == FALSE) {
    return ByteBuffer::none();
  }
  return buffer;
}

}  // namespace

std::int32_t countBoards(BoardType type) {
  win32::UniqueDeviceSet boards = presentBoards(type);
  if (!boards) return -1;
  SP_DEVICE_INTERFACE_DATA found;
  for (std::int32_t count = 0; count < countLimit; ++count) {
    if (!findInterface(boards.get(), type, static_cast<DWORD>(count), found)) return count;
  }
  boards.release();  // at the limit the set is abandoned, not destroyed; that is intended
  return countLimit;
}

OpenedBoard openBoard(BoardType type, std::uint32_t index) {
  const win32::UniqueDeviceSet boards = presentBoards(type);
  SP_DEVICE_INTERFACE_DATA found;
  if (!boards || !findInterface(boards.get(), type, index, found)) return {};
  ByteBuffer detail = interfaceDetail(boards.get(), found);
  if (!detail) return {};
  const auto* record = reinterpret_cast<const SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(detail.all().data());
  win32::UniqueFile file(CreateFileA(record->DevicePath, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                     OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr));
  if (file) return {KVEXA_OK, std::move(file)};
  return {GetLastError() == ERROR_FILE_NOT_FOUND ? KVEXA_NO_DEVICE_PATH : KVEXA_OPEN_FAILED, {}};
}

}  // namespace kvexa::api
