#include "usb/capture/MultiShotCapture.h"

#include <algorithm>
#include <mutex>
#include <span>
#include <utility>

#include "kvexa.h"
#include "usb/capture/CaptureSteps.h"
#include "usb/link/CommandTurn.h"
#include "usb/link/Status.h"
#include "usb/registers/BoardRegisters.h"
#include "usb/registers/Commands.h"
#include "usb/registers/TargetWords.h"
#include "win32/AbortSignal.h"
#include "win32/Events.h"
#include "win32/Lock.h"
#include "win32/ResultWord.h"
#include "win32/WaitLimits.h"
#include "win32/WorkerThread.h"

namespace kvexa::usb {

namespace {

constexpr const char* captureEventName = "KVEXA_capture";

struct MultiShotOptions {
  HANDLE driver;
  std::uint32_t frameBytes;
  std::uint32_t frameCount;  // 0: endless
  std::uint8_t* buffer;
  std::uint32_t timeout;
  HANDLE frameEvent;  // may be null
  HANDLE endEvent;    // may be null
  win32::ResultWord result;
};

void stopAfterSequence(Link link) {
  writeRegister(link, Register::captureMode, captureSingle);
  stopBoard(link);
}

// An abort may be under way on the board.
void stopOnWorker(HANDLE driver) { stopAfterSequence({driver, Link::Manner::handsOver}); }

// The worker of the continuous capture that runs, for the abort to wait for.
class RunningWorker {
 public:
  // Under the lock, so that an abort finds the worker either not at all or running.
  bool start(win32::Shared<win32::Work> work) {
    const std::lock_guard guard(lock_);
    if (!win32::startWorker(work)) return false;
    work_ = std::move(work);
    return true;
  }

  // Stops the captures, forgets the worker and returns it; null when there is none. The worker is taken
  // before it can see the abort: a caller who has waited for it may rely on its thread having ended.
  win32::Shared<win32::Work> abort() {
    const std::lock_guard guard(lock_);
    win32::AbortWatch::raise();
    return std::move(work_);
  }

  // Called by a worker at its end, so that nothing of it is left.
  void forget(const win32::Work* ended) {
    win32::Shared<win32::Work> last;
    const std::lock_guard guard(lock_);
    if (work_.get() == ended) last = std::move(work_);
  }

 private:
  win32::Lock lock_;
  win32::Shared<win32::Work> work_;
};

RunningWorker runningWorker;

class MultiShotWork : public win32::Work {
 public:
  MultiShotWork(const MultiShotOptions& options, const win32::AbortWatch& abort)
      : options_(options), abort_(abort) {}

  void run() override {
    if (options_.frameCount == 0) {
      captureEndlessly();
    } else {
      captureCounted();
    }
    runningWorker.forget(this);
  }

 private:
  bool isStopped() const { return finished_ || abort_.isRaised(); }

  void read(std::uint8_t* destination) const {
    options_.result.set(KVEXA_BUSY);
    if (readFrame(options_.driver, options_.frameBytes, destination, options_.timeout) != KVEXA_OK) {
      options_.result.set(KVEXA_TIMED_OUT);
    }
  }

  void captureEndlessly() const {
    const win32::UniqueObject watched(OpenEventA(EVENT_ALL_ACCESS, TRUE, captureEventName));
    while (!isStopped()) {
      read(options_.buffer);
      if (options_.frameEvent == nullptr) continue;
      if (isStopped()) break;
      options_.result.set(KVEXA_OK);
      win32::signal(options_.frameEvent);
    }
    if (options_.endEvent == nullptr) return;
    options_.result.set(KVEXA_ABORTED);
    win32::signal(options_.endEvent);
  }

  void captureCounted() {
    const std::size_t stride = options_.frameBytes / 4 * 4;
    std::uint8_t* destination = options_.buffer;
    std::uint32_t frames = 0;
    EndingCapture ending(options_.driver);
    // When the n-th frame has come there is one pass more, into the area after the n frames. Intended.
    while (!isStopped() || frames == options_.frameCount) {
      read(destination);
      if (!isStopped()) {
        win32::signal(options_.frameEvent);
        options_.result.set(KVEXA_OK);
      }
      destination += stride;
      if (++frames != options_.frameCount) continue;
      finished_ = true;
      ending.begin();
      options_.result.set(KVEXA_OK);
      win32::signal(options_.endEvent);
    }
    // The end event comes a second time after a run that was complete. That is intended.
    ending.begin();
    options_.result.set(KVEXA_BUSY);
    win32::signal(options_.endEvent);
    stopOnWorker(options_.driver);
  }

  const MultiShotOptions options_;
  const win32::AbortWatch abort_;
  bool finished_ = false;
};

class RingWork : public win32::Work {
 public:
  RingWork(HANDLE driver, std::uint32_t frameBytes, std::span<void* const> buffers, std::uint32_t timeout,
           const HANDLE* events, win32::ResultWord result, const win32::AbortWatch& abort)
      : driver_(driver),
        frameBytes_(frameBytes),
        buffers_(buffers),
        timeout_(timeout),
        events_(events),
        result_(result),
        abort_(abort) {}

  void run() override {
    for (std::size_t i = 0; !abort_.isRaised();) {
      if (WaitForSingleObject(events_[i], 0) != WAIT_TIMEOUT) {
        SwitchToThread();  // the caller still holds this buffer
      } else if (readFrame(driver_, frameBytes_, buffers_[i], timeout_) != KVEXA_OK) {
        result_.set(KVEXA_TIMED_OUT);
      } else {
        result_.set(KVEXA_OK);
        SetEvent(events_[i]);
        i = (i + 1) % buffers_.size();
      }
    }
    EndingCapture ending(driver_);
    ending.begin();
    result_.set(KVEXA_ABORTED);
    SetEvent(events_[buffers_.size()]);
    stopOnWorker(driver_);
  }

 private:
  const HANDLE driver_;
  const std::uint32_t frameBytes_;
  const std::span<void* const> buffers_;
  const std::uint32_t timeout_;
  const HANDLE* const events_;
  const win32::ResultWord result_;
  const win32::AbortWatch abort_;
};

// KVEXA_REQUEST_FAILED when one of the transfers failed.
std::int32_t setUpSequence(HANDLE driver, const win32::AbortWatch& abort, std::uint64_t bytes) {
  awaitEndingCapture(driver, abort);
  const std::int32_t held = holdStrictly(driver);
  flushImagePipe(driver);
  const std::int32_t armed = writeRegister(driver, Register::storageStatus, 0);
  const std::int32_t sized = writeRegister(driver, Register::bufferSize, sequenceBufferSize(bytes));
  const std::int32_t released = releaseStrictly(driver);
  if ((held | armed | sized | released) != KVEXA_OK) return KVEXA_REQUEST_FAILED;
  writeRegister(driver, Register::captureMode, captureContinuous);
  return KVEXA_OK;
}

// A worker that cannot be created leaves a stopped board.
std::int32_t startedOrStopped(HANDLE driver, bool started) {
  if (started) return KVEXA_OK;
  stopAfterSequence(driver);
  return KVEXA_BUSY;
}

}  // namespace

std::int32_t startMultiShot(HANDLE driver, std::uint32_t frameBytes, std::uint32_t frameCount, void* buffer,
                            std::uint32_t timeout, HANDLE frameEvent, HANDLE endEvent,
                            std::int32_t* resultWord) {
  if (frameBytes == 0 || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  const MultiShotOptions options{driver,  frameBytes, frameCount, static_cast<std::uint8_t*>(buffer),
                                 timeout, frameEvent, endEvent,   win32::ResultWord(resultWord)};
  const win32::AbortWatch abort;
  const auto work = win32::makeShared<MultiShotWork>(options, abort);
  if (!work) return KVEXA_BUSY;
  const std::int32_t setUp =
      setUpSequence(driver, abort, std::uint64_t{frameBytes} * std::max(frameCount, 1U));
  if (setUp != KVEXA_OK) return setUp;
  for (const HANDLE event : {frameEvent, endEvent}) win32::clear(event);
  return startedOrStopped(driver, runningWorker.start(work));
}

std::int32_t startRing(HANDLE driver, std::uint32_t frameBytes, std::uint32_t ringSize, void* const* buffers,
                       std::uint32_t timeout, const HANDLE* events, std::int32_t* resultWord) {
  if (frameBytes == 0 || ringSize == 0 || buffers == nullptr || events == nullptr) return KVEXA_BAD_ARGUMENT;
  const win32::AbortWatch abort;
  const auto work = win32::makeShared<RingWork>(driver, frameBytes, std::span(buffers, ringSize), timeout,
                                                events, win32::ResultWord(resultWord), abort);
  if (!work) return KVEXA_BUSY;
  const std::int32_t setUp = setUpSequence(driver, abort, std::uint64_t{frameBytes} * ringSize);
  if (setUp != KVEXA_OK) return setUp;
  std::for_each_n(events, std::size_t{ringSize} + 1, ResetEvent);
  return startedOrStopped(driver, win32::startWorker(work));
}

std::int32_t abortCapture(HANDLE driver) {
  if (const auto worker = runningWorker.abort()) {
    worker->waitForEnd(win32::withGrace(abortTimeout(), win32::abortGrace));
  }
  const AbortTurn turn(driver);
  const std::int32_t stopped = writeRegister(turn.link(), Register::captureMode, captureStopped);
  if (stopped != KVEXA_OK) return stopped;
  const std::int32_t engine = writeTarget(turn.link(), Target::status, 0);
  const std::int32_t held = hold(turn.link());
  checkStatus(driver);
  flushImagePipe(driver);
  checkStatus(driver);
  return stopped | engine | held;
}

}  // namespace kvexa::usb
