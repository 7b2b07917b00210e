#include "usb/Capture.h"

#include "kvexa.h"
#include "usb/Commands.h"
#include "usb/PolledRegisters.h"
#include "usb/TargetWords.h"
#include "usb/Transport.h"

namespace kvexa::usb {

namespace {

// Changes bits of the capture control register and returns the write's result. A value that could not
// be read counts as 0.
std::int32_t changeCaptureControl(HANDLE driver, std::uint32_t set, std::uint32_t clear) {
  std::uint32_t value = 0;
  readRegister(driver, Register::captureControl, value);
  return writeRegister(driver, Register::captureControl, (value & ~clear) | set);
}

std::int32_t holdAndFlush(HANDLE driver) {
  const std::int32_t result = changeCaptureControl(driver, captureHeld, 0);
  flushImagePipe(driver);
  return result;
}

std::int32_t release(HANDLE driver) { return changeCaptureControl(driver, 0, captureHeld); }

std::int32_t stopBoard(HANDLE driver) {
  writeTarget(driver, Target::status, 0);
  return holdAndFlush(driver);
}

}  // namespace

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout) {
  if (frameBytes == 0 || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  holdAndFlush(driver);
  writeRegister(driver, Register::storageStatus, 0);
  writeRegister(driver, Register::bufferSize, bufferTop - frameBytes / bufferUnitBytes);
  release(driver);
  writeRegister(driver, Register::captureMode, captureSingle);
  std::uint32_t received = 0;
  getData(driver, frameBytes, &received, buffer, timeout);
  // The last write's result, also when the frame did not come. That is intended.
  return stopBoard(driver);
}

}  // namespace kvexa::usb
