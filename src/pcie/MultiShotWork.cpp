#include "pcie/MultiShotWork.h"

#include <array>
#include <limits>

#include "pcie/BoardAccess.h"
#include "pcie/BoardRegisters.h"
#include "win32/Events.h"
#include "win32/WaitLimits.h"

namespace kvexa::pcie {

namespace {

// A result beside the driver's own: the capture request is under way.
constexpr std::int32_t underWay = 1;

}  // namespace

struct MultiShotWork::Requests {
  PendingPointer<CaptureRecord> capture;
  PendingPointer<IntervalRecord> interval;
  bool isGivenUp = false;  // the time in which the capture should have completed has passed

  bool mayWrite() const { return !isGivenUp && capture->mayComplete(); }

  std::int32_t outcome() const {
    return captureEndStatus.resultOf(static_cast<volatile Word&>(capture->record.status));
  }
};

void MultiShotWork::run() { finish(capture()); }

// The outcome, which goes into the result word.
std::int32_t MultiShotWork::capture() {
  const bool notifies = options_.frameEvent != nullptr;
  Requests requests{makePending<CaptureRecord>(),
                    makePending<IntervalRecord>(notifies ? Completion::Event::own : Completion::Event::none)};
  if (!requests.capture || !requests.interval || options_.endEvent == nullptr) return KVEXA_BUSY;
  const std::int32_t started = start(requests);
  if (started != underWay) return started;
  const std::int32_t outcome = awaitEnd(requests);
  sendCancelInterval(options_.driver);
  sendStop(options_.driver);
  // While the request is pending the driver may write into the buffer, which is the caller's again when this
  // thread has ended.
  if (requests.mayWrite()) requests.capture->wait(win32::completionLimit);
  return outcome;
}

std::int32_t MultiShotWork::start(Requests& requests) {
  if (!lockBoardAccessUnless(abortEvent_.get())) return KVEXA_ABORTED;
  writeRegister(options_.driver, Register::framePeriod, options_.frameCount);
  if (options_.frameEvent != nullptr) {
    sendCancelInterval(options_.driver);
    writeRegister(options_.driver, Register::intervalBytes, options_.frameBytes & ~3U);
  }
  const std::uint32_t frames = options_.frameCount == 0 ? 1 : options_.frameCount;
  requests.capture->record = {0,
                              static_cast<Word>(reinterpret_cast<std::uintptr_t>(options_.buffer)),
                              frames * options_.frameBytes,
                              1,
                              options_.continuous,
                              options_.timeout,
                              multiShotMode};
  armInterval(requests);
  // A refusal is no error here: the worker waits for an abort then. That is intended.
  requests.capture->start(options_.driver, Request::capture);
  const std::int32_t status =
      captureStartStatus.resultOf(static_cast<volatile Word&>(requests.capture->record.status));
  // A start that failed leaves with the mutex held: it is abandoned when this thread ends, and the next
  // taker owns it. That is intended.
  if (status != KVEXA_OK) return status;
  unlockBoardAccess();
  return underWay;
}

std::int32_t MultiShotWork::awaitEnd(Requests& requests) {
  // The capture is first, so that its end counts when several are set. Without a frame event the
  // interval has no event to wait for, and the abort's takes its place.
  const bool notifies = options_.frameEvent != nullptr;
  const std::array<HANDLE, 3> objects{requests.capture->event(),
                                      notifies ? requests.interval->event() : abortEvent_.get(),
                                      abortEvent_.get()};
  constexpr DWORD captureEnded = WAIT_OBJECT_0;
  constexpr DWORD intervalPassed = WAIT_OBJECT_0 + 1;
  while (!aborted_.load()) {
    const DWORD object = WaitForMultipleObjects(notifies ? 3 : 2, objects.data(), FALSE, INFINITE);
    if (object == captureEnded) return requests.outcome();
    if (!notifies || object != intervalPassed) return endOfAborted(requests);
    win32::signal(options_.frameEvent);
    requests.interval->resetEvent();
    armInterval(requests);
  }
  return KVEXA_ABORTED;
}

// The stop completes the capture, which then has a status of its own. A capture that the driver refused has
// none, and one whose stop it refused comes to its end when the worker itself stops the board.
std::int32_t MultiShotWork::endOfAborted(Requests& requests) const {
  if (!stopped_.load() || !requests.capture->isAccepted()) return KVEXA_ABORTED;
  if (requests.capture->wait(win32::completionLimit)) return requests.outcome();
  requests.isGivenUp = true;
  return KVEXA_ABORTED;
}

// What becomes of the request does not matter: frames are counted by the capture itself.
void MultiShotWork::armInterval(Requests& requests) const {
  requests.interval->record = {};
  requests.interval->start(options_.driver, Request::armInterval);
}

void MultiShotWork::finish(std::int32_t outcome) const {
  options_.result.set(outcome);
  win32::signal(options_.endEvent);
  win32::signal(options_.frameEvent);
}

}  // namespace kvexa::pcie
