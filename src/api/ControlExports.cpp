// Supplies and signals.
#include <windows.h>

#include "api/Dispatch.h"
#include "board/SwitchFields.h"
#include "pcie/Switches.h"
#include "usb/registers/Switches.h"

using namespace kvexa;
using api::dispatch;

KVEXA_EXPORT(int32_t) kVexaPowerV1Off(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::supplyV1>, pcie::turnOffV1);
}

KVEXA_EXPORT(int32_t) kVexaPowerV1On(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::supplyV1>, turnOn<pcie::Switch::supplyV1>);
}

KVEXA_EXPORT(int32_t) kVexaPowerV2Off(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::supplyV2>, turnOff<pcie::Switch::supplyV2>);
}

KVEXA_EXPORT(int32_t) kVexaPowerV2On(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::supplyV2>, turnOn<pcie::Switch::supplyV2>);
}

KVEXA_EXPORT(int32_t) kVexaClockOff(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::sensorClock>, turnOff<pcie::Switch::sensorClock>);
}

KVEXA_EXPORT(int32_t) kVexaClockOn(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::sensorClock>, turnOn<pcie::Switch::sensorClock>);
}

KVEXA_EXPORT(int32_t) kVexaResetOff(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::sensorReset>, turnOff<pcie::Switch::sensorReset>);
}

KVEXA_EXPORT(int32_t) kVexaResetOn(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::sensorReset>, turnOn<pcie::Switch::sensorReset>);
}

KVEXA_EXPORT(int32_t) kVexaI2cOff(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::i2cLines>, turnOff<pcie::Switch::i2cLines>);
}

KVEXA_EXPORT(int32_t) kVexaI2cOn(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::i2cLines>, turnOn<pcie::Switch::i2cLines>);
}

KVEXA_EXPORT(int32_t) kVexaPowerSwControlOff(const BoardHandle* board) {
  return dispatch(board, turnOff<usb::powerSwitchControl>, turnOff<pcie::Switch::powerSwitchControl>);
}

KVEXA_EXPORT(int32_t) kVexaPowerSwControlOn(const BoardHandle* board) {
  return dispatch(board, turnOn<usb::powerSwitchControl>, turnOn<pcie::Switch::powerSwitchControl>);
}

KVEXA_EXPORT(int32_t) kVexaGetV1Status(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getV1Status, pcie::getV1Status, status);
}

KVEXA_EXPORT(int32_t) kVexaGetV2Status(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getV2Status, pcie::getV2Status, status);
}

KVEXA_EXPORT(int32_t) kVexaGetClockStatus(const BoardHandle* board, SwitchStatus* status) {
  return dispatch(board, usb::getClockStatus, pcie::getClockStatus, status);
}

KVEXA_EXPORT(int32_t) kVexaGetResetStatus(const BoardHandle* board, uint32_t* on) {
  return dispatch(board, usb::getResetStatus, pcie::getResetStatus, on);
}

KVEXA_EXPORT(int32_t) kVexaGetI2cStatus(const BoardHandle* board, uint32_t* on) {
  return dispatch(board, usb::getI2cStatus, pcie::getI2cStatus, on);
}

KVEXA_EXPORT(int32_t) kVexaGetSupplyStatus(const BoardHandle* board, SupplyStatus* status) {
  return dispatch(board, usb::getSupplyStatus, pcie::getSupplyStatus, status);
}

KVEXA_EXPORT(int32_t) kVexaGetHwDipStatus(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getHardwareDip, pcie::getHardwareDip, value);
}

KVEXA_EXPORT(int32_t) kVexaGetSwDipStatus(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getSoftwareDip, pcie::getSoftwareDip, value);
}

KVEXA_EXPORT(int32_t) kVexaSetSwDip(const BoardHandle* board, const uint32_t* value) {
  return dispatch(board, usb::setSoftwareDip, pcie::setSoftwareDip, value);
}

KVEXA_EXPORT(int32_t) kVexaPowerControl(const BoardHandle* board, const PowerSequence* sequence) {
  return dispatch(board, usb::playPowerSequence, pcie::playPowerSequence, sequence);
}

KVEXA_EXPORT(int32_t) kVexaSetDout(const BoardHandle* board, uint32_t value) {
  return dispatch(board, usb::setOutputLines, pcie::setOutputLines, value);
}

KVEXA_EXPORT(int32_t) kVexaGetDout(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getOutputLines, pcie::getOutputLines, value);
}

KVEXA_EXPORT(int32_t) kVexaGetDin(const BoardHandle* board, uint32_t* value) {
  return dispatch(board, usb::getInputLines, pcie::getInputLines, value);
}
