#include "usb/link/Status.h"

#include <algorithm>

#include "kvexa.h"
#include "usb/link/Transport.h"

namespace kvexa::usb {

namespace {

constexpr int statusRetries = 10;

std::int32_t recover(HANDLE driver) {
  // One buffer for both transfers: when the board does not answer, its 1 stays and is the result.
  std::array<std::uint8_t, 1> buffer{0x01};
  send(driver, Pipe::statusRequest, buffer);
  receive(driver, Pipe::statusBlock, buffer);
  return buffer[0];
}

}  // namespace

std::int32_t StatusBlock::busErrorResult() const {
  const std::uint8_t digit = bytes[statusDigitOffset];
  return digit >= '0' && digit <= '5' ? KVEXA_NO_ACKNOWLEDGE : KVEXA_FAILED;
}

std::int32_t readStatus(HANDLE driver, StatusBlock& block) {
  constexpr std::array<std::uint8_t, 2> request{0, 0};
  const std::int32_t sent = send(driver, Pipe::statusRequest, request);
  if (sent != KVEXA_OK) return sent;
  StatusBlock answer;
  const Moved moved = transfer(driver, Pipe::statusBlock, commandTimeout, answer.bytes);
  if (moved.result != KVEXA_OK) return moved.result;
  // A block that is cut short of its status must not pass for an idle board; what else it lacks is zero.
  if (moved.bytes <= statusCodeOffset) return KVEXA_REQUEST_FAILED;
  block = answer;
  return block.code();
}

std::int32_t checkStatus(HANDLE driver) {
  StatusBlock block;
  std::int32_t status = readStatus(driver, block);
  for (int i = 0; i < statusRetries && status != statusIdle; ++i) {
    Sleep(0);
    status = readStatus(driver, block);
    if (status == statusBusError) {
      const std::int32_t recovered = recover(driver);
      return recovered != 0 ? recovered : statusBusError;
    }
  }
  return status;
}

std::int32_t checkedResult(HANDLE driver, std::int32_t transferResult) {
  return checkStatus(driver) == statusBusError ? KVEXA_NO_ACKNOWLEDGE : transferResult;
}

std::int32_t getUsbStatus(HANDLE driver, std::uint8_t* block) {
  if (block == nullptr) return KVEXA_BAD_ARGUMENT;
  StatusBlock answer;
  const std::int32_t status = readStatus(driver, answer);
  if (status >= 0) std::ranges::copy(answer.bytes, block);
  return status;
}

}  // namespace kvexa::usb
