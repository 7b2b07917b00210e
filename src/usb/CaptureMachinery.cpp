#include "usb/CaptureMachinery.h"

#include <atomic>

#include "kvexa.h"
#include "usb/Commands.h"
#include "usb/PolledRegisters.h"
#include "usb/TargetWords.h"
#include "usb/Transport.h"
#include "win32/Lock.h"

namespace kvexa::usb {

namespace {

// Counted down from here for captures of several frames; one unit less than for a single one.
constexpr std::uint32_t sequenceBufferTop = 65534;

std::atomic<std::uint32_t> rememberedTimeout{0};

win32::Lock endingCapture;

struct Change {
  std::int32_t readResult;
  std::int32_t writeResult;
};

Change changeCaptureControl(HANDLE driver, std::uint32_t set, std::uint32_t clear) {
  std::uint32_t value = 0;
  const std::int32_t readResult = readRegister(driver, Register::captureControl, value);
  return {readResult, writeRegister(driver, Register::captureControl, (value & ~clear) | set)};
}

std::int32_t strict(const Change& change) {
  return change.readResult != KVEXA_OK ? change.readResult : change.writeResult;
}

}  // namespace

std::int32_t hold(HANDLE driver) { return changeCaptureControl(driver, captureHeld, 0).writeResult; }

std::int32_t release(HANDLE driver) { return changeCaptureControl(driver, 0, captureHeld).writeResult; }

std::int32_t holdStrictly(HANDLE driver) { return strict(changeCaptureControl(driver, captureHeld, 0)); }

std::int32_t releaseStrictly(HANDLE driver) { return strict(changeCaptureControl(driver, 0, captureHeld)); }

std::int32_t holdAndFlush(HANDLE driver) {
  const std::int32_t result = hold(driver);
  flushImagePipe(driver);
  return result;
}

std::int32_t stopBoard(HANDLE driver) {
  writeTarget(driver, Target::status, 0);
  return holdAndFlush(driver);
}

std::uint32_t sequenceBufferSize(std::uint64_t bytes) {
  return sequenceBufferTop - static_cast<std::uint32_t>(bytes / bufferUnitBytes);
}

std::int32_t readFrame(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout) {
  std::uint32_t received = 0;
  const std::int32_t result = getData(driver, frameBytes, &received, buffer, timeout);
  // A refused read comes back at once; callers that try again must not starve the others meanwhile.
  if (result != KVEXA_OK) SwitchToThread();
  return result;
}

EndingCapture::~EndingCapture() {
  if (hasBegun_) endingCapture.give();
}

void EndingCapture::begin() {
  if (!hasBegun_) endingCapture.take();
  hasBegun_ = true;
}

void awaitEndingCapture() { const win32::LockGuard guard(endingCapture); }

void rememberAbortTimeout(std::uint32_t timeout) { rememberedTimeout.store(timeout); }

std::uint32_t abortTimeout() { return rememberedTimeout.load(); }

}  // namespace kvexa::usb
