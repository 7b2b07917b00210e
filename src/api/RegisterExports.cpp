// Registers, register-setting files, and the commands and status of the USB board.
#include <windows.h>

#include "api/Dispatch.h"
#include "files/RegisterSettingReader.h"
#include "pcie/BoardRegisters.h"
#include "pcie/Reload.h"
#include "pcie/SensorRegisters.h"
#include "usb/link/Status.h"
#include "usb/link/Transport.h"
#include "usb/registers/BoardRegisters.h"
#include "usb/registers/Commands.h"
#include "usb/registers/RegisterSettingPlayer.h"
#include "usb/registers/SensorRegisters.h"

using namespace kvexa;
using api::dispatch;
using api::ignored;
using api::notOnUsb;

namespace {

// Bit 0 of a slave address in the 8-bit form of the bus.
bool isReadAddress(uint32_t slave) { return (slave & 1) != 0; }

}  // namespace

KVEXA_EXPORT(int32_t)
kVexaRegRead(const BoardHandle* board, uint32_t slave, uint32_t subAddress, uint32_t mode, uint32_t count,
             uint32_t* words) {
  return dispatch(board, usb::readSensor, pcie::readSensorBlock, slave, subAddress, mode, count, words);
}

KVEXA_EXPORT(int32_t)
kVexaRegWrite(const BoardHandle* board, uint32_t slave, uint32_t subAddress, uint32_t mode, uint32_t count,
              const uint32_t* words) {
  return dispatch(board, usb::writeSensor, pcie::writeSensorBlock, slave, subAddress, mode, count, words);
}

KVEXA_EXPORT(int32_t)
kVexaRegReadS(const BoardHandle* board, uint32_t slave, uint32_t subAddress, uint32_t mode, uint32_t count,
              uint32_t* words) {
  if (!isReadAddress(slave)) return KVEXA_BAD_ARGUMENT;
  return dispatch(board, usb::readSensor, pcie::readSensorWords, slave >> 1, subAddress, mode, count, words);
}

KVEXA_EXPORT(int32_t)
kVexaRegWriteS(const BoardHandle* board, uint32_t slave, uint32_t subAddress, uint32_t mode, uint32_t count,
               const uint32_t* words) {
  if (isReadAddress(slave)) return KVEXA_BAD_ARGUMENT;
  return dispatch(board, usb::writeSensor, pcie::writeSensorWords, slave >> 1, subAddress, mode, count,
                  words);
}

KVEXA_EXPORT(int32_t) kVexaManyRegWrite(const BoardHandle* board, RegisterBatch* batch) {
  return dispatch(board, usb::writeBatch, ignored, batch);
}

KVEXA_EXPORT(int32_t)
kVexaFpgaRead(const BoardHandle* board, uint32_t address, uint32_t count, uint32_t* words) {
  return dispatch(board, usb::fpgaRead, pcie::fpgaRead, address, count, words);
}

KVEXA_EXPORT(int32_t)
kVexaFpgaWrite(const BoardHandle* board, uint32_t address, uint32_t count, const uint32_t* words) {
  return dispatch(board, usb::fpgaWrite, pcie::fpgaWrite, address, count, words);
}

KVEXA_EXPORT(int32_t) kVexaSetI2cFile(const char* path, const BoardHandle* board) {
  return dispatch(board, usb::playRegisterFile, pcie::playRegisterFile, path);
}

KVEXA_EXPORT(int32_t) kUsbIniFileToBuf(const char* path, RegisterTableEntry* table, uint32_t* lineCount) {
  return files::readRegisterTableFile(path, table, lineCount);
}

KVEXA_EXPORT(int32_t) kUsbBufToReg(void* driverHandle, const RegisterTableEntry* table, uint32_t lineCount) {
  return usb::playRegisterTable(driverHandle, table, lineCount);
}

KVEXA_EXPORT(int32_t) kVexaLocalReset(const BoardHandle* board) {
  return dispatch(board, usb::localReset, ignored);
}

KVEXA_EXPORT(int32_t) kVexaEp2Flash(const BoardHandle* board) {
  return dispatch(board, usb::flushImagePipe, ignored);
}

KVEXA_EXPORT(int32_t) kVexaWaitVSync(const BoardHandle* board, uint32_t mode) {
  return dispatch(board, usb::waitVSync, ignored, mode);
}

KVEXA_EXPORT(int32_t) kVexaStatusClear(const BoardHandle* board) {
  return dispatch(board, usb::clearStatus, ignored);
}

KVEXA_EXPORT(int32_t) kVexaStatusRead(const BoardHandle* board, uint32_t* status) {
  return dispatch(board, usb::readLatchedStatus, ignored, status);
}

KVEXA_EXPORT(int32_t) kVexaSetI2Cspeed(const BoardHandle* board, uint32_t speed) {
  if (speed > 1) return KVEXA_BAD_ARGUMENT;
  return dispatch(board, usb::setI2cSpeed, pcie::setI2cSpeed, speed);
}

KVEXA_EXPORT(int32_t) kVexaRecovery(const BoardHandle* board) {
  return dispatch(board, usb::checkStatus, ignored);
}

KVEXA_EXPORT(int32_t) kVexaGetUsbStatus(const BoardHandle* board, uint8_t* block) {
  return dispatch(board, usb::getUsbStatus, ignored, block);
}

KVEXA_EXPORT(int32_t) kUsbExCmd(void* driverHandle, const uint8_t* command) {
  return usb::extendedCommandByNumber(driverHandle, command);
}

extern "C" KVEXA_API int32_t KVEXA_CALL_CDECL kUsbGetData(void* driverHandle, uint32_t length,
                                                          uint32_t* received, void* buffer,
                                                          uint32_t timeout) {
  return usb::getData(driverHandle, length, received, buffer, timeout);
}

KVEXA_EXPORT(int32_t) kVexaSetWaitAckTimes(const BoardHandle* board, uint32_t time) {
  return dispatch(board, notOnUsb, pcie::setAcknowledgeWait, time);
}

KVEXA_EXPORT(int32_t) kDBGLutDataWrite(const BoardHandle* board, uint32_t count, const uint32_t* words) {
  return dispatch(board, notOnUsb, pcie::writeLut, count, words);
}

KVEXA_EXPORT(int32_t) kDBGLutDataRead(const BoardHandle* board, uint32_t count, uint32_t* words) {
  return dispatch(board, notOnUsb, pcie::readLut, count, words);
}

KVEXA_EXPORT(int32_t) kVexaLockMemory(const BoardHandle* board, uint32_t start, uint32_t length) {
  return dispatch(board, notOnUsb, pcie::lockMemory, start, length);
}

KVEXA_EXPORT(int32_t) kVexaUnlockMemory(const BoardHandle* board, uint32_t start, uint32_t length) {
  return dispatch(board, notOnUsb, pcie::unlockMemory, start, length);
}

KVEXA_EXPORT(int32_t) kVexaReloadPcieDevice() { return pcie::reloadDevice(); }

KVEXA_EXPORT(int32_t) kVexaReloadPcieDeviceEx() { return pcie::reloadDeviceEx(); }
