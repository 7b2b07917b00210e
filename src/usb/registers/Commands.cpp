#include "usb/registers/Commands.h"

#include <array>

#include "kvexa.h"
#include "usb/link/Transport.h"
#include "usb/registers/TargetWords.h"

namespace kvexa::usb {

std::int32_t extendedCommand(HANDLE driver, ExtendedCommand command) {
  const auto number = static_cast<std::uint8_t>(command);
  return extendedCommandByNumber(driver, &number);
}

std::int32_t extendedCommandByNumber(HANDLE driver, const std::uint8_t* command) {
  if (command == nullptr) return KVEXA_OK;
  const std::array<std::uint8_t, 3> packet{extendedOpcode, extendedTarget, *command};
  send(driver, Pipe::command, packet);
  return KVEXA_OK;  // whatever the transfer did; that is intended
}

std::int32_t localReset(HANDLE driver) { return extendedCommand(driver, ExtendedCommand::localReset); }

std::int32_t flushImagePipe(HANDLE driver) {
  return extendedCommand(driver, ExtendedCommand::flushImagePipe);
}

std::int32_t waitVSync(HANDLE driver, std::uint32_t mode) {
  switch (mode) {
    case 0: return extendedCommand(driver, ExtendedCommand::waitVSync0);
    case 1: return extendedCommand(driver, ExtendedCommand::waitVSync1);
    default: return KVEXA_FAILED;
  }
}

std::int32_t clearStatus(HANDLE driver) { return extendedCommand(driver, ExtendedCommand::clearStatus); }

std::int32_t readLatchedStatus(HANDLE driver, std::uint32_t* status) {
  if (status == nullptr) return KVEXA_BAD_ARGUMENT;
  extendedCommand(driver, ExtendedCommand::latchStatus);
  return readTarget(driver, Target::status, *status);
}

std::int32_t setI2cSpeed(HANDLE driver, std::uint32_t speed) {
  return extendedCommand(driver, speed == 0 ? ExtendedCommand::slowBusClock : ExtendedCommand::fastBusClock);
}

}  // namespace kvexa::usb
