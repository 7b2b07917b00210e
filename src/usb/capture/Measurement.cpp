#include "usb/capture/Measurement.h"

#include "board/FramePeriod.h"
#include "usb/registers/BoardRegisters.h"

namespace kvexa::usb {

namespace {

constexpr int frameRateReadings = 11;
constexpr DWORD frameRateInterval = 100;  // milliseconds
constexpr int togglesWanted = 2;

constexpr std::uint32_t defaultPolls = 300;
constexpr DWORD pollInterval = 10;  // milliseconds
constexpr DWORD pollSettling = 1;   // milliseconds

void startMeasurement(HANDLE driver) {
  for (const Target target : {Target::status, Target::measureFirst, Target::measureSecond}) {
    writeTargetPolled(driver, target, 0);
  }
  writeRegister(driver, Register::captureMode, captureMeasures);
}

void awaitMeasurement(HANDLE driver, std::uint32_t pollLimit) {
  for (std::uint32_t poll = 1;; ++poll) {
    std::uint32_t status = 0;
    Sleep(pollInterval);
    readTargetPolled(driver, Target::status, status);
    Sleep(pollSettling);
    if ((status & statusDone) != 0) {
      writeTargetPolled(driver, Target::status, 0);
      return;
    }
    if (poll >= pollLimit) {
      writeRegister(driver, Register::captureMode, captureStopped);
      return;
    }
  }
}

std::int32_t measure(HANDLE driver, AutoActual* actual, std::uint32_t pollLimit) {
  if (actual == nullptr) return KVEXA_BAD_ARGUMENT;
  startMeasurement(driver);
  awaitMeasurement(driver, pollLimit);
  AutoActual measured{};
  std::uint32_t period = 0;
  readRegister(driver, Register::firstDimension, measured.firstDimension);
  readRegister(driver, Register::secondDimension, measured.secondDimension);
  readRegister(driver, Register::framePeriod, period);
  measured.frameRate = period != 0 ? framesPerSecond(period) : 0.0;
  *actual = measured;
  return KVEXA_OK;  // also when the polls ran out; that is intended
}

}  // namespace

double getFrameRate(HANDLE driver) {
  std::uint32_t period = 0;
  readRegister(driver, Register::framePeriod, period);
  std::uint32_t seen = period & frameToggle;
  int toggles = 0;
  for (int i = 0; i < frameRateReadings && toggles < togglesWanted; ++i) {
    Sleep(frameRateInterval);
    readRegister(driver, Register::framePeriod, period);
    if ((period & frameToggle) == seen) continue;
    seen = period & frameToggle;
    ++toggles;
  }
  return toggles < togglesWanted ? 0.0 : framesPerSecond(period);
}

std::int32_t autoActual(HANDLE driver, AutoActual* actual) { return measure(driver, actual, defaultPolls); }

std::int32_t autoActualWithin(HANDLE driver, AutoActual* actual, std::uint32_t timeout) {
  return measure(driver, actual, timeout / pollInterval + 1);
}

std::int32_t hasDroppedFrames(HANDLE driver) {
  std::uint32_t indication = 0;
  readRegister(driver, Register::storageStatus, indication);
  return indication != 0 ? 1 : 0;
}

}  // namespace kvexa::usb
