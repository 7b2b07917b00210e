#include "usb/capture/Capture.h"

#include "kvexa.h"
#include "usb/capture/CaptureSteps.h"
#include "usb/registers/BoardRegisters.h"
#include "usb/registers/Commands.h"
#include "usb/registers/TargetWords.h"
#include "win32/AbortSignal.h"

namespace kvexa::usb {

namespace {

constexpr std::uint32_t storageBytes = 0x2000000;  // the board's memory
constexpr DWORD storagePollInterval = 100;         // milliseconds

// False when an abort ended the waiting.
bool awaitStoredFrames(Link link, const win32::AbortWatch& abort) {
  for (std::uint32_t ready = 0; !abort.isRaised(); Sleep(storagePollInterval)) {
    readRegister(link, Register::storageStatus, ready);
    if (ready != 0) return true;
  }
  return false;
}

}  // namespace

std::int32_t oneShotCapture(HANDLE driver, std::uint32_t frameBytes, void* buffer, std::uint32_t timeout) {
  if (frameBytes == 0 || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  awaitEndingCapture(driver, win32::AbortWatch());
  holdAndFlush(driver);
  writeRegister(driver, Register::storageStatus, 0);
  writeRegister(driver, Register::bufferSize, bufferTop - frameBytes / bufferUnitBytes);
  release(driver);
  writeRegister(driver, Register::captureMode, captureSingle);
  readFrame(driver, frameBytes, buffer, timeout);
  // The last write's result, also when the frame did not come. That is intended.
  return stopBoard(driver);
}

std::int32_t storageCapture(HANDLE driver, std::uint32_t frameBytes, std::uint32_t frameCount, void* buffer,
                            std::uint32_t timeout) {
  const win32::AbortWatch abort;
  const Link link(driver, Link::Manner::handsOver);
  awaitEndingCapture(driver, abort);
  holdAndFlush(link);
  if (frameBytes == 0 || frameCount == 0 || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  const std::uint64_t total = std::uint64_t{frameBytes} * frameCount;
  if (total / bufferUnitBytes * bufferUnitBytes > storageBytes) return KVEXA_TOO_LARGE;

  writeRegister(link, Register::bufferSize, sequenceBufferSize(total));
  release(link);
  writeRegister(link, Register::storageStatus, 0);
  writeRegister(link, Register::captureMode, captureContinuous);
  const bool stored = awaitStoredFrames(link, abort);
  if (stored) readFrame(driver, static_cast<std::uint32_t>(total), buffer, timeout);
  writeRegister(link, Register::captureMode, captureStopped);
  const std::int32_t stopped = stopBoard(link);
  // The stop's last register result, also when the frames did not come. That is intended.
  return stored ? stopped : KVEXA_ABORTED;
}

std::int32_t setBufferSize(HANDLE driver, double mebibytes) {
  constexpr double smallest = 0.0005;
  constexpr double largest = 31.9995;
  constexpr double boardMebibytes = 32.0;
  constexpr double unitsPerMebibyte = 2048.0;
  if (!(mebibytes >= smallest && mebibytes <= largest)) return KVEXA_BAD_ARGUMENT;
  const double units = (boardMebibytes - mebibytes) * unitsPerMebibyte;
  const auto rounded = static_cast<std::uint32_t>(units + 0.5);  // NOLINT(bugprone-incorrect-roundings)
  return writeRegister(driver, Register::bufferSize, rounded - 1);
}

std::int32_t setFrameDrop(HANDLE driver, std::uint32_t mode) {
  if (mode > 1) return KVEXA_OK;  // ignored without an error; that is intended
  writeTarget(driver, Target::status, 0);
  writeTarget(driver, Target::frameDrop, mode == 1 ? frameDropOn : frameDropOff);
  return extendedCommand(driver, mode == 1 ? ExtendedCommand::frameDropOn : ExtendedCommand::frameDropOff);
}

}  // namespace kvexa::usb
