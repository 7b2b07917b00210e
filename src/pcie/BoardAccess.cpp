#include "pcie/BoardAccess.h"

#include <array>
#include <atomic>

#include "kvexa.h"
#include "pcie/Protocol.h"

namespace kvexa::pcie {

namespace {

// 0 when it could not be created; then waiting for it fails at once and captures go on unserialised.
HANDLE boardAccess = nullptr;

std::array<std::atomic<HANDLE>, boardSlots> openBoards{};

std::int32_t resultOf(DWORD waited) {
  return waited == WAIT_ABANDONED || waited == WAIT_FAILED ? KVEXA_FAILED : KVEXA_OK;
}

}  // namespace

void createBoardAccess() { boardAccess = CreateMutexA(nullptr, FALSE, nullptr); }

void closeBoardAccess() {
  if (boardAccess != nullptr) CloseHandle(boardAccess);
  boardAccess = nullptr;
}

std::int32_t lockBoardAccess() { return resultOf(WaitForSingleObject(boardAccess, INFINITE)); }

std::int32_t unlockBoardAccess() { return ReleaseMutex(boardAccess) != FALSE ? KVEXA_OK : KVEXA_FAILED; }

bool lockBoardAccessUnless(HANDLE event) {
  const std::array<HANDLE, 2> objects{boardAccess, event};
  return WaitForMultipleObjects(2, objects.data(), FALSE, INFINITE) != WAIT_OBJECT_0 + 1;
}

void rememberBoard(std::uint32_t index, HANDLE driver) {
  if (index < boardSlots) openBoards[index].store(driver);
}

void forgetBoard(std::uint32_t index) { rememberBoard(index, nullptr); }

std::int32_t findBoard(HANDLE driver) {
  for (std::uint32_t i = 0; i < boardSlots; ++i) {
    if (openBoards[i].load() == driver) return static_cast<std::int32_t>(i);
  }
  return -1;
}

}  // namespace kvexa::pcie
