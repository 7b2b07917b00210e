#include "sim/usb/Driver.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace sim::usb {

namespace {

constexpr std::uint8_t descriptorFields[] = {1, 1, 0, 0, 6};
constexpr std::uint16_t deviceType = 0x0100;

// Nothing in the library waits for an overlapped USB request, but another program may.
void completeOverlapped(const ControlRequest& request, const Answer& answer) {
  if (request.overlapped == nullptr || answer.error != 0) return;
  request.overlapped->Internal = 0;
  request.overlapped->InternalHigh = answer.bytes;
  if (request.overlapped->hEvent != nullptr) SetEvent(request.overlapped->hEvent);
}

}  // namespace

Answer Driver::control(const ControlRequest& request) {
  Answer answer{ERROR_INVALID_FUNCTION, 0};
  if (request.code == Control::pipeTransfer) answer = pipeTransfer(request);
  if (request.code == Control::deviceDescriptor) answer = descriptor(request);
  completeOverlapped(request, answer);
  return answer;
}

Answer Driver::pipeTransfer(const ControlRequest& request) {
  Control::PipeRecord record;
  if (request.in == nullptr || request.inLength != sizeof record) return {ERROR_INVALID_PARAMETER, 0};
  std::memcpy(&record, request.in, sizeof record);
  if (record.statusAddress == 0) return {ERROR_INVALID_PARAMETER, 0};
  if (request.out == nullptr && request.outLength != 0) return {ERROR_INVALID_USER_BUFFER, 0};
  const Answer answer = board().transfer(record.pipe, record.timeout, static_cast<std::uint8_t*>(request.out),
                                         request.outLength);
  if (answer.error == 0 && answer.statusReported) {
    // The driver reaches into the caller's memory, as the request's record asks.
    constexpr std::uint32_t success = 0;
    std::memcpy(reinterpret_cast<void*>(static_cast<std::uintptr_t>(record.statusAddress)), &success,
                sizeof success);
  }
  return {answer.error, answer.bytes};
}

Answer Driver::descriptor(const ControlRequest& request) {
  Control::DescriptorRecord record;
  if (request.in == nullptr || request.inLength != sizeof record) return {ERROR_INVALID_PARAMETER, 0};
  std::memcpy(&record, request.in, sizeof record);
  const bool known = std::equal(std::begin(record.fields), std::end(record.fields), descriptorFields) &&
                     record.type == deviceType && record.language == 0;
  if (!known) return {ERROR_INVALID_PARAMETER, 0};
  if (request.out == nullptr) return {ERROR_INVALID_USER_BUFFER, 0};
  const Answer answer = board().descriptor(static_cast<std::uint8_t*>(request.out), request.outLength);
  return {answer.error, answer.bytes};
}

}  // namespace sim::usb
