#include "usb/link/Transport.h"

#include <algorithm>
#include <array>

#include "kvexa.h"

namespace kvexa::usb {

namespace {

struct PipeTransferRecord {
  std::uint32_t pipe;
  std::uint32_t timeout;
  std::uint32_t* status;
};
static_assert(sizeof(PipeTransferRecord) == 12);

constexpr std::uint32_t largestRead = 0x100000;

#pragma pack(push, 1)
struct DescriptorRequest {
  std::array<std::uint8_t, 5> standardRequest{1, 1, 0, 0, 6};
  std::uint8_t unused = 0;
  std::uint16_t type = 0x0100;  // device
  std::uint16_t language = 0;
};
#pragma pack(pop)
static_assert(sizeof(DescriptorRequest) == 10);

}  // namespace

Moved transfer(HANDLE driver, Pipe pipe, std::uint32_t timeout, std::span<std::uint8_t> data) {
  // The status word begins as the pipe number, and the driver sets it to 0 on success. So it says
  // nothing about pipe 0: there the request's own success decides.
  auto status = static_cast<std::uint32_t>(pipe);
  PipeTransferRecord record{status, timeout, &status};
  DWORD bytes = 0;
  const BOOL accepted = DeviceIoControl(driver, pipeTransferCode, &record, sizeof record, data.data(),
                                        static_cast<DWORD>(data.size()), &bytes, nullptr);
  return {accepted != FALSE && status == 0 ? KVEXA_OK : KVEXA_REQUEST_FAILED, bytes};
}

std::int32_t send(HANDLE driver, Pipe pipe, std::span<const std::uint8_t> data) {
  // The driver takes outbound data from the request's output buffer and only reads it.
  auto* bytes = const_cast<std::uint8_t*>(data.data());  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  return transfer(driver, pipe, commandTimeout, {bytes, data.size()}).result;
}

std::int32_t receive(HANDLE driver, Pipe pipe, std::span<std::uint8_t> data) {
  return transfer(driver, pipe, commandTimeout, data).result;
}

std::int32_t getData(HANDLE driver, std::uint32_t length, std::uint32_t* received, void* buffer,
                     std::uint32_t timeout) {
  if (length == 0 || timeout == 0) return KVEXA_FAILED;
  if (received == nullptr || buffer == nullptr) return KVEXA_BAD_ARGUMENT;
  auto* destination = static_cast<std::uint8_t*>(buffer);
  if (length <= largestRead) {
    const Moved moved = transfer(driver, Pipe::imageData, timeout, {destination, length});
    *received = moved.bytes;
    return moved.result;
  }
  const std::uint32_t wholeReads = length / largestRead;
  const std::uint32_t share = timeout / wholeReads;
  std::uint32_t total = 0;
  for (std::uint32_t i = 0; i < wholeReads; ++i) {
    total += transfer(driver, Pipe::imageData, share, {destination, largestRead}).bytes;
    destination += largestRead;
  }
  // Only the last read decides, even when it reads nothing. That is intended.
  const Moved last = transfer(driver, Pipe::imageData, share, {destination, length % largestRead});
  *received = total + last.bytes;
  return last.result;
}

std::int32_t readDeviceDescriptor(HANDLE driver, std::span<std::uint8_t, deviceDescriptorBytes> descriptor) {
  DescriptorRequest request;
  std::array<std::uint8_t, deviceDescriptorBytes> answer{};
  DWORD bytes = 0;
  const BOOL accepted = DeviceIoControl(driver, deviceDescriptorCode, &request, sizeof request, answer.data(),
                                        answer.size(), &bytes, nullptr);
  if (accepted == FALSE || bytes != answer.size()) return KVEXA_REQUEST_FAILED;
  std::ranges::copy(answer, descriptor.begin());
  return KVEXA_OK;
}

}  // namespace kvexa::usb
