#include "pcie/BoardRegisters.h"

#include "pcie/Requests.h"

namespace kvexa::pcie {

std::int32_t fpgaRead(HANDLE driver, std::uint32_t address, std::uint32_t /*count*/, std::uint32_t* value) {
  if (value == nullptr) return KVEXA_BAD_ARGUMENT;
  RegisterRecord record{0, address, 0};
  if (!send(driver, Request::readRegister, record)) return KVEXA_REQUEST_FAILED;
  *value = record.value;
  return plainStatus.resultOf(record.status);
}

std::int32_t fpgaWrite(HANDLE driver, std::uint32_t address, std::uint32_t /*count*/,
                       const std::uint32_t* value) {
  if (value == nullptr) return KVEXA_BAD_ARGUMENT;
  RegisterRecord record{0, address, *value};
  if (!send(driver, Request::writeRegister, record)) return KVEXA_REQUEST_FAILED;
  return plainStatus.resultOf(record.status);
}

std::int32_t readRegister(HANDLE driver, Register address, std::uint32_t& value) {
  return fpgaRead(driver, static_cast<std::uint32_t>(address), 1, &value);
}

std::int32_t writeRegister(HANDLE driver, Register address, std::uint32_t value) {
  return fpgaWrite(driver, static_cast<std::uint32_t>(address), 1, &value);
}

std::int32_t lockMemory(HANDLE driver, std::uint32_t start, std::uint32_t length) {
  MemoryRecord record{0, start, length};
  return send(driver, Request::lockMemory, record) ? plainStatus.resultOf(record.status)
                                                   : KVEXA_REQUEST_FAILED;
}

std::int32_t unlockMemory(HANDLE driver, std::uint32_t start, std::uint32_t length) {
  MemoryRecord record{0, start, length};
  // The status word goes to the caller as it is. That is intended.
  return send(driver, Request::unlockMemory, record) ? static_cast<std::int32_t>(record.status)
                                                     : KVEXA_REQUEST_FAILED;
}

}  // namespace kvexa::pcie
