// Capture set-up, measurement and capture.
#include <windows.h>

#include "api/Dispatch.h"
#include "board/SwitchFields.h"
#include "pcie/Capture.h"
#include "pcie/CaptureParameters.h"
#include "pcie/Measurement.h"
#include "usb/capture/ArrayCapture.h"
#include "usb/capture/Capture.h"
#include "usb/capture/CaptureParameters.h"
#include "usb/capture/CaptureSteps.h"
#include "usb/capture/Measurement.h"
#include "usb/capture/MultiShotCapture.h"
#include "usb/registers/Switches.h"

using namespace kvexa;
using api::dispatch;
using api::ignored;
using api::notOnPcie;
using api::notOnUsb;

KVEXA_EXPORT(int32_t) kVexaSetCapParam(const BoardHandle* board, const CapParam* param) {
  return dispatch(board, usb::setCapParam, pcie::setCapParam, param);
}

KVEXA_EXPORT(double)
kVexaSetHV(const BoardHandle* board, uint32_t horizontalStart, uint32_t horizontalEnd, uint32_t verticalStart,
           uint32_t verticalEnd) {
  return dispatch(board, usb::setCaptureArea, ignored, horizontalStart, horizontalEnd, verticalStart,
                  verticalEnd);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbEnable(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::bayerToRgb>, ignored);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbDisable(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::bayerToRgb>, ignored);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbPatternSelect(const BoardHandle* board, const uint32_t* pattern) {
  return dispatch(board, usb::selectBayerPattern, ignored, pattern);
}

KVEXA_EXPORT(int32_t) kVexaCscSet(const BoardHandle* board, const double* values) {
  return dispatch(board, usb::setColourMatrix, pcie::setColourMatrix, values);
}

KVEXA_EXPORT(double) kVexaGetFrameRate(const BoardHandle* board) {
  return dispatch(board, usb::getFrameRate, pcie::getFrameRate);
}

KVEXA_EXPORT(int32_t) kVexaAutoActual(const BoardHandle* board, AutoActual* actual) {
  return dispatch(board, usb::autoActual, pcie::autoActual, actual);
}

KVEXA_EXPORT(int32_t) kVexaAutoActualEx(const BoardHandle* board, AutoActual* actual, uint32_t timeout) {
  return dispatch(board, usb::autoActualWithin, pcie::autoActualWithin, actual, timeout);
}

// The time-out counts for a later abort even when the handle is refused. That is intended.
KVEXA_EXPORT(int32_t)
kVexaOneShotCapture(const BoardHandle* board, uint32_t frameBytes, void* buffer, uint32_t timeout) {
  usb::rememberAbortTimeout(timeout);
  return dispatch(board, usb::oneShotCapture, pcie::oneShotCapture, frameBytes, buffer, timeout);
}

KVEXA_EXPORT(int32_t)
kVexaMultiShotCaptureEx(const BoardHandle* board, uint32_t frameBytes, uint32_t frameCount, void* buffer,
                        uint32_t timeout, void* frameEvent, void* endEvent, int32_t* resultWord) {
  usb::rememberAbortTimeout(timeout);
  return dispatch(board, usb::startMultiShot, pcie::startMultiShot, frameBytes, frameCount, buffer, timeout,
                  frameEvent, endEvent, resultWord);
}

KVEXA_EXPORT(int32_t)
kVexaMultiShotCapture2(const BoardHandle* board, uint32_t frameBytes, uint32_t frameCount,
                       uint32_t continuous, void* buffer, uint32_t timeout, void* frameEvent, void* endEvent,
                       int32_t* resultWord) {
  return dispatch(board, ignored, pcie::startMultiShot2, frameBytes, frameCount, continuous, buffer, timeout,
                  frameEvent, endEvent, resultWord);
}

KVEXA_EXPORT(int32_t)
kVexaMultiShotCaptureArratEx(const BoardHandle* board, uint32_t frameBytes, uint32_t ringSize,
                             void* const* buffers, uint32_t timeout, void* const* events,
                             int32_t* resultWord) {
  return dispatch(board, usb::startRing, notOnPcie, frameBytes, ringSize, buffers, timeout, events,
                  resultWord);
}

KVEXA_EXPORT(int32_t)
kVexaMultiShotStorage(const BoardHandle* board, uint32_t frameBytes, uint32_t frameCount, void* buffer,
                      uint32_t timeout) {
  return dispatch(board, usb::storageCapture, notOnPcie, frameBytes, frameCount, buffer, timeout);
}

KVEXA_EXPORT(int32_t) kVexaAbortCapture(const BoardHandle* board) {
  return dispatch(board, usb::abortCapture, pcie::abortCapture);
}

KVEXA_EXPORT(int32_t) kVexaSetBufSize(const BoardHandle* board, double mebibytes) {
  return dispatch(board, usb::setBufferSize, notOnPcie, mebibytes);
}

KVEXA_EXPORT(int32_t)
kVexaMultiShotCapArrayStart(const BoardHandle* board, uint32_t frameBytes, uint32_t ringSize,
                            void* const* buffers, uint32_t timeout, void* const* events,
                            int32_t* resultWord) {
  return dispatch(board, usb::startArray, notOnPcie, frameBytes, ringSize, buffers, timeout, events,
                  resultWord);
}

KVEXA_EXPORT(int32_t) kVexaMultiShotCapArrayStop(const BoardHandle* board) {
  return dispatch(board, usb::stopArray, notOnPcie);
}

KVEXA_EXPORT(int32_t) kVexaFrmDropStop(const BoardHandle* board, uint32_t mode) {
  return dispatch(board, usb::setFrameDrop, notOnPcie, mode);
}

KVEXA_EXPORT(int32_t) kVexaIsDropFrame(const BoardHandle* board) {
  return dispatch(board, usb::hasDroppedFrames, ignored);
}

// An interval of 0 is refused before the board type is looked at.
KVEXA_EXPORT(int32_t) kVexaSetWaitIntervalParam(const BoardHandle* board, uint32_t bytes) {
  if (bytes == 0) return KVEXA_BAD_ARGUMENT;
  return dispatch(board, notOnUsb, pcie::setInterval, bytes);
}

KVEXA_EXPORT(int32_t) kVexaWaitInterval(const BoardHandle* board, void* overlapped) {
  return dispatch(board, notOnUsb, pcie::waitInterval, overlapped);
}

KVEXA_EXPORT(int32_t) kVexaCancelInterval(const BoardHandle* board) {
  return dispatch(board, notOnUsb, pcie::cancelInterval);
}
