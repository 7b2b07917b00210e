#include "usb/capture/ArrayCapture.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <span>
#include <utility>

#include "kvexa.h"
#include "usb/capture/CaptureSteps.h"
#include "usb/registers/BoardRegisters.h"
#include "usb/registers/Commands.h"
#include "usb/registers/TargetWords.h"
#include "win32/Lock.h"
#include "win32/ResultWord.h"
#include "win32/WaitLimits.h"
#include "win32/WorkerThread.h"

namespace kvexa::usb {

namespace {

constexpr std::uint32_t drainInterval = 10;  // milliseconds

struct ArrayOptions {
  HANDLE driver;
  std::uint32_t frameBytes;
  std::span<void* const> buffers;
  std::uint32_t timeout;
  const HANDLE* events;
  win32::ResultWord result;
};

class ArrayWork : public win32::Work {
 public:
  explicit ArrayWork(const ArrayOptions& options) : options_(options) {}

  std::uint32_t timeout() const { return options_.timeout; }
  void stop() { running_.store(false); }

  void run() override {
    options_.result.set(captureUntilStopped());
    SetEvent(options_.events[options_.buffers.size()]);
    // The capture counts as running until the caller stops it.
    while (running_.load()) Sleep(0);
  }

 private:
  std::int32_t captureUntilStopped() {
    for (std::size_t i = 0; running_.load();) {
      const DWORD held = WaitForSingleObject(options_.events[i], 0);
      if (held == WAIT_OBJECT_0) {
        SwitchToThread();  // the caller still holds this buffer
        continue;
      }
      if (held != WAIT_TIMEOUT) return KVEXA_BUSY;
      if (readFrame(options_.driver, options_.frameBytes, options_.buffers[i], options_.timeout) !=
          KVEXA_OK) {
        return KVEXA_TIMED_OUT;
      }
      options_.result.set(KVEXA_OK);
      if (SetEvent(options_.events[i]) == FALSE) return KVEXA_BUSY;
      i = (i + 1) % options_.buffers.size();
      Sleep(0);
    }
    return KVEXA_OK;
  }

  const ArrayOptions options_;
  std::atomic<bool> running_{true};
};

// The array capture that runs; at most one in the process. No lock is held while a start sets its board up or
// a stop waits, so neither holds up the other boards.
class RunningArray {
 public:
  // False when a capture runs, or another start is setting one up.
  bool reserve() {
    const std::lock_guard guard(lock_);
    if (isReserved_) return false;
    return isReserved_ = true;
  }

  // The start that has reserved did not come to its end.
  void release() {
    const std::lock_guard guard(lock_);
    isReserved_ = false;
  }

  // Under the lock, so that a stop finds the worker either not at all or running.
  bool start(win32::Shared<ArrayWork> work) {
    const std::lock_guard guard(lock_);
    if (!win32::startWorker(work)) return false;
    work_ = std::move(work);
    return true;
  }

  // The capture that runs, which from then on does not; null when there is none yet.
  win32::Shared<ArrayWork> take() {
    const std::lock_guard guard(lock_);
    if (work_) isReserved_ = false;
    return std::move(work_);
  }

 private:
  win32::Lock lock_;
  win32::Shared<ArrayWork> work_;
  bool isReserved_ = false;
};

RunningArray runningArray;

// The first result that is not KVEXA_OK ends the steps and is returned.
template <class... Steps>
std::int32_t inTurn(Steps... steps) {
  std::int32_t result = KVEXA_OK;
  static_cast<void>(((result = steps(), result == KVEXA_OK) && ...));
  return result;
}

// Holds and releases the capture at once, and empties the image pipe.
std::int32_t pulseHold(HANDLE driver) {
  std::uint32_t control = 0;
  return inTurn([&] { return readRegister(driver, Register::captureControl, control); },
                [&] { return writeRegister(driver, Register::captureControl, control | captureHeld); },
                [&] { return writeRegister(driver, Register::captureControl, control & ~captureHeld); },
                [&] { return flushImagePipe(driver); });
}

std::int32_t awaitDrain(HANDLE driver, std::uint32_t timeout) {
  for (std::uint32_t polls = timeout / drainInterval; polls > 0;) {
    Sleep(drainInterval);
    std::uint32_t status = 0;
    const std::int32_t result = readTarget(driver, Target::status, status);
    if (result != KVEXA_OK) return result;
    --polls;
    // A drain that the last poll sees is too late all the same. That is intended.
    if ((status & statusDone) != 0 && polls > 0) return KVEXA_OK;
  }
  return KVEXA_BUSY;
}

std::int32_t setUpAndStart(const ArrayOptions& options) {
  const HANDLE driver = options.driver;
  auto work = win32::makeShared<ArrayWork>(options);
  if (!work) return KVEXA_BUSY;
  awaitEndingCapture(driver, win32::AbortWatch());
  const std::int32_t setUp = inTurn(
      [&] { return pulseHold(driver); }, [&] { return writeRegister(driver, Register::storageStatus, 0); },
      [&] { return writeRegister(driver, Register::captureMode, captureContinuous); });
  if (setUp != KVEXA_OK) return setUp;
  std::for_each_n(options.events, options.buffers.size() + 1, ResetEvent);
  if (runningArray.start(std::move(work))) return KVEXA_OK;
  writeRegister(driver, Register::captureMode, captureStopped);
  stopBoard(driver);
  return KVEXA_BUSY;
}

}  // namespace

std::int32_t startArray(HANDLE driver, std::uint32_t frameBytes, std::uint32_t ringSize, void* const* buffers,
                        std::uint32_t timeout, const HANDLE* events, std::int32_t* resultWord) {
  if (frameBytes == 0 || ringSize == 0 || buffers == nullptr || timeout == 0 || events == nullptr ||
      resultWord == nullptr) {
    return KVEXA_BAD_ARGUMENT;
  }
  if (!runningArray.reserve()) return KVEXA_FAILED;
  const std::int32_t result = setUpAndStart(
      {driver, frameBytes, std::span(buffers, ringSize), timeout, events, win32::ResultWord(resultWord)});
  if (result != KVEXA_OK) runningArray.release();
  return result;
}

std::int32_t stopArray(HANDLE driver) {
  const win32::Shared<ArrayWork> work = runningArray.take();
  if (!work) return KVEXA_OK;
  work->stop();
  if (!work->waitForEnd(win32::withGrace(work->timeout(), win32::stopGrace))) return KVEXA_BUSY;
  return inTurn([&] { return writeRegister(driver, Register::captureMode, captureStopped); },
                [&] { return awaitDrain(driver, work->timeout()); },
                [&] { return writeTarget(driver, Target::status, 0); }, [&] { return pulseHold(driver); });
}

}  // namespace kvexa::usb
