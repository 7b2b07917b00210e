// Capture set-up, measurement and capture.
#include <windows.h>

#include "frame/Dispatch.h"
#include "usb/Capture.h"
#include "usb/CaptureParameters.h"
#include "usb/Measurement.h"
#include "usb/Switches.h"

using namespace kvexa;
using frame::dispatch;
using frame::ignored;
using frame::notServed;

KVEXA_EXPORT(int32_t) kVexaSetCapParam(const BoardHandle* board, const CapParam* param) {
  return dispatch(board, usb::setCapParam, notServed, param);
}

KVEXA_EXPORT(double)
kVexaSetHV(const BoardHandle* board, uint32_t horizontalStart, uint32_t horizontalEnd, uint32_t verticalStart,
           uint32_t verticalEnd) {
  return dispatch(board, usb::setCaptureArea, ignored, horizontalStart, horizontalEnd, verticalStart,
                  verticalEnd);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbEnable(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::bayerToRgb>, ignored);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbDisable(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::bayerToRgb>, ignored);
}

KVEXA_EXPORT(int32_t) kVexaBayerToRgbPatternSelect(const BoardHandle* board, const uint32_t* pattern) {
  return dispatch(board, usb::selectBayerPattern, ignored, pattern);
}

KVEXA_EXPORT(int32_t) kVexaCscSet(const BoardHandle* board, const double* values) {
  return dispatch(board, usb::setColourMatrix, notServed, values);
}

KVEXA_EXPORT(double) kVexaGetFrameRate(const BoardHandle* board) {
  return dispatch(board, usb::getFrameRate, notServed);
}

KVEXA_EXPORT(int32_t) kVexaAutoActual(const BoardHandle* board, AutoActual* actual) {
  return dispatch(board, usb::autoActual, notServed, actual);
}

KVEXA_EXPORT(int32_t) kVexaAutoActualEx(const BoardHandle* board, AutoActual* actual, uint32_t timeout) {
  return dispatch(board, usb::autoActualWithin, notServed, actual, timeout);
}

KVEXA_EXPORT(int32_t)
kVexaOneShotCapture(const BoardHandle* board, uint32_t frameBytes, void* buffer, uint32_t timeout) {
  return dispatch(board, usb::oneShotCapture, notServed, frameBytes, buffer, timeout);
}

KVEXA_EXPORT(int32_t) kVexaIsDropFrame(const BoardHandle* board) {
  return dispatch(board, usb::hasDroppedFrames, ignored);
}
