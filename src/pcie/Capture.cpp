#include "pcie/Capture.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>

#include "pcie/BoardAccess.h"
#include "pcie/MultiShotWork.h"
#include "pcie/Requests.h"
#include "win32/AbortSignal.h"
#include "win32/Events.h"
#include "win32/Lock.h"

namespace kvexa::pcie {

namespace {

// The workers of a board, until they have ended. A start without an abort leaves the earlier worker here, so
// that the abort reaches it too.
class Slot {
 public:
  // Under the lock, so that an abort finds the worker either not at all or running.
  bool start(const win32::Shared<MultiShotWork>& work) {
    const std::lock_guard guard(lock_);
    dropEnded();
    if (!win32::startWorker(work)) return false;
    work->earlier = std::move(newest_);
    newest_ = work;
    return true;
  }

  void markAborted() {
    const std::lock_guard guard(lock_);
    for (auto* work = newest_.get(); work != nullptr; work = work->earlier.get()) work->markAborted();
  }

  // A worker that was aborted and has not ended yet, or null. Lets go of all that have ended.
  win32::Shared<MultiShotWork> nextAborted() {
    const std::lock_guard guard(lock_);
    dropEnded();
    win32::Shared<MultiShotWork> work = newest_;
    while (work && !work->isAborted()) work = work->earlier;
    return work;
  }

 private:
  void dropEnded() {
    for (auto* link = &newest_; *link;) {
      if (!(*link)->waitForEnd(0)) {
        link = &(*link)->earlier;
        continue;
      }
      win32::Shared<MultiShotWork> earlier = (*link)->earlier;
      *link = std::move(earlier);
    }
  }

  win32::Lock lock_;
  win32::Shared<MultiShotWork> newest_;
};

std::array<Slot, boardSlots> slots;

std::int32_t startWork(std::uint32_t slot, const MultiShotOptions& options) {
  for (const HANDLE event : {options.frameEvent, options.endEvent}) win32::clear(event);
  win32::UniqueObject abortEvent(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  if (!abortEvent) return KVEXA_BUSY;
  const auto work = win32::makeShared<MultiShotWork>(options, std::move(abortEvent));
  return work && slots[slot].start(work) ? KVEXA_OK : KVEXA_BUSY;
}

}  // namespace

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout) {
  if (frameBytes == 0 || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  const auto request = makePending<CaptureRecord>();
  if (!request) return KVEXA_REQUEST_FAILED;
  lockBoardAccess();
  const auto address = static_cast<Word>(reinterpret_cast<std::uintptr_t>(buffer));
  request->record = {0, address, frameBytes, 1, 0, timeout, oneShotMode};
  std::int32_t result = KVEXA_REQUEST_FAILED;
  if (request->start(driver, Request::capture)) {
    request->wait(INFINITE);
    result = captureStartStatus.resultOf(request->record.status);
  }
  unlockBoardAccess();
  return result;
}

std::int32_t startMultiShot(const BoardHandle& board, std::uint32_t frameBytes, std::uint32_t frameCount,
                            void* buffer, std::uint32_t timeout, HANDLE frameEvent, HANDLE endEvent,
                            std::int32_t* resultWord) {
  return startMultiShot2(board, frameBytes, std::max(frameCount, 1U), frameCount == 0 ? 1 : 0, buffer,
                         timeout, frameEvent, endEvent, resultWord);
}

std::int32_t startMultiShot2(const BoardHandle& board, std::uint32_t frameBytes, std::uint32_t frameCount,
                             std::uint32_t continuous, void* buffer, std::uint32_t timeout, HANDLE frameEvent,
                             HANDLE endEvent, std::int32_t* resultWord) {
  constexpr std::uint64_t addressSpace = 0xFFFFFFFF;
  const std::uint64_t roundedBytes = (std::uint64_t{frameBytes} + 3) / 4 * 4;
  if (frameBytes == 0 || frameCount == 0 || buffer == nullptr || board.boardIndex >= boardSlots ||
      roundedBytes * frameCount > addressSpace) {
    return KVEXA_BAD_ARGUMENT;
  }
  return startWork(board.boardIndex,
                   {board.driverHandle, static_cast<std::uint32_t>(roundedBytes), frameCount, continuous,
                    buffer, timeout, frameEvent, endEvent, win32::ResultWord(resultWord)});
}

std::int32_t abortCapture(HANDLE driver) {
  win32::AbortWatch::raise();
  const std::int32_t slot = findBoard(driver);
  if (slot < 0) return KVEXA_FAILED;
  Slot& board = slots[static_cast<std::size_t>(slot)];
  board.markAborted();
  sendCancelInterval(driver);
  const std::int32_t result = sendStop(driver);
  while (const auto work = board.nextAborted()) {
    work->wakeAborted(result != KVEXA_REQUEST_FAILED);
    work->waitForEnd(INFINITE);
  }
  return result;
}

}  // namespace kvexa::pcie
