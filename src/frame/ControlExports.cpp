// Supplies and signals.
#include <windows.h>

#include "frame/Dispatch.h"
#include "usb/Switches.h"

using namespace kvexa;
using frame::dispatch;
using frame::ignored;
using frame::notServed;

KVEXA_EXPORT(int32_t) kVexaPowerV1Off(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::supplyV1>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaPowerV1On(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::supplyV1>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaPowerV2Off(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::supplyV2>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaPowerV2On(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::supplyV2>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaClockOff(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::sensorClock>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaClockOn(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::sensorClock>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaResetOff(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::sensorReset>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaResetOn(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::sensorReset>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaI2cOff(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::i2cLines>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaI2cOn(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::i2cLines>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaPowerSwControlOff(const BoardHandle* board) {
  return dispatch(board, usb::turnOff<usb::powerSwitchControl>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaPowerSwControlOn(const BoardHandle* board) {
  return dispatch(board, usb::turnOn<usb::powerSwitchControl>, notServed);
}

KVEXA_EXPORT(int32_t) kVexaGetV1Status(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getV1Status, notServed, status);
}

KVEXA_EXPORT(int32_t) kVexaGetV2Status(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getV2Status, notServed, status);
}

KVEXA_EXPORT(int32_t) kVexaGetClockStatus(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getClockStatus, notServed, status);
}

KVEXA_EXPORT(int32_t) kVexaGetResetStatus(const BoardHandle* board, uint32_t* on) {
  return dispatch(board, usb::getResetStatus, notServed, on);
}

KVEXA_EXPORT(int32_t) kVexaGetI2cStatus(const BoardHandle* board, uint32_t* on) {
  return dispatch(board, usb::getI2cStatus, notServed, on);
}

KVEXA_EXPORT(int32_t) kVexaGetSupplyStatus(const BoardHandle* board, SupplyStatus* status) {
  return dispatch(board, usb::getSupplyStatus, notServed, status);
}

KVEXA_EXPORT(int32_t) kVexaGetHwDipStatus(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getHardwareDip, notServed, value);
}

KVEXA_EXPORT(int32_t) kVexaGetSwDipStatus(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getSoftwareDip, notServed, value);
}

KVEXA_EXPORT(int32_t) kVexaSetSwDip(const BoardHandle* board, const uint32_t* value) {
  return dispatch(board, usb::setSoftwareDip, notServed, value);
}

KVEXA_EXPORT(int32_t) kVexaPowerControl(const BoardHandle* board, const PowerSequence* sequence) {
  return dispatch(board, usb::playPowerSequence, notServed, sequence);
}

KVEXA_EXPORT(int32_t) kVexaSetDout(const BoardHandle* board, uint32_t value) {
  return dispatch(board, usb::setOutputLines, notServed, value);
}

KVEXA_EXPORT(int32_t) kVexaGetDout(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getOutputLines, notServed, value);
}

KVEXA_EXPORT(int32_t) kVexaGetDin(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getInputLines, notServed, value);
}
