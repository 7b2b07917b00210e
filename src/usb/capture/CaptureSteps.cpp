#include "usb/capture/CaptureSteps.h"

#include <atomic>

#include "kvexa.h"
#include "usb/link/Transport.h"
#include "usb/registers/BoardRegisters.h"
#include "usb/registers/Commands.h"
#include "usb/registers/TargetWords.h"
#include "win32/WaitLimits.h"

namespace kvexa::usb {

namespace {

// Counted down from here for captures of several frames; one unit less than for a single one.
constexpr std::uint32_t sequenceBufferTop = 65534;

std::atomic<std::uint32_t> rememberedTimeout{0};

struct Change {
  std::int32_t readResult;
  std::int32_t writeResult;
};

Change changeCaptureControl(Link link, std::uint32_t set, std::uint32_t clear) {
  std::uint32_t value = 0;
  const std::int32_t readResult = readRegister(link, Register::captureControl, value);
  return {readResult, writeRegister(link, Register::captureControl, (value & ~clear) | set)};
}

std::int32_t strict(const Change& change) {
  return change.readResult != KVEXA_OK ? change.readResult : change.writeResult;
}

}  // namespace

std::int32_t hold(Link link) { return changeCaptureControl(link, captureHeld, 0).writeResult; }

std::int32_t release(Link link) { return changeCaptureControl(link, 0, captureHeld).writeResult; }

std::int32_t holdStrictly(Link link) { return strict(changeCaptureControl(link, captureHeld, 0)); }

std::int32_t releaseStrictly(Link link) { return strict(changeCaptureControl(link, 0, captureHeld)); }

std::int32_t holdAndFlush(Link link) {
  const std::int32_t result = hold(link);
  flushImagePipe(link.driver());
  return result;
}

std::int32_t stopBoard(Link link) {
  writeTarget(link, Target::status, 0);
  return holdAndFlush(link);
}

std::uint32_t sequenceBufferSize(std::uint64_t bytes) {
  return sequenceBufferTop - static_cast<std::uint32_t>(bytes / bufferUnitBytes);
}

std::int32_t readFrame(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout) {
  std::uint32_t received = 0;
  const std::int32_t result = getData(driver, frameBytes, &received, buffer, timeout);
  // A refused read returns at once; callers that try again must leave processor time to other threads.
  if (result != KVEXA_OK) SwitchToThread();
  return result;
}

EndingCapture::~EndingCapture() {
  if (hasBegun_ && board_) board_->endings.end();
}

void EndingCapture::begin() {
  if (!hasBegun_ && board_) board_->endings.begin();
  hasBegun_ = true;
}

void awaitEndingCapture(HANDLE driver, const win32::AbortWatch& abort) {
  const BoardUse board(driver);
  if (board) board->endings.await(abort, win32::endingCaptureLimit);
}

void rememberAbortTimeout(std::uint32_t timeout) { rememberedTimeout.store(timeout); }

std::uint32_t abortTimeout() { return rememberedTimeout.load(); }

}  // namespace kvexa::usb
