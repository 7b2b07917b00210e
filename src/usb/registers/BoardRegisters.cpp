#include "usb/registers/BoardRegisters.h"

#include <algorithm>
#include <array>

#include "kvexa.h"
#include "usb/link/CommandTurn.h"
#include "usb/link/Status.h"
#include "usb/link/Transport.h"
#include "win32/ByteBuffer.h"

namespace kvexa::usb {

namespace {

constexpr int pollLimit = 1000;

// Status codes after which the answer to a read is ready.
constexpr std::array<std::int32_t, 6> readReadyCodes{statusIdle, 0x23, 0x24, 0x43, 0x44, 0x45};

// After a write the board may report a bus error first and success later: only success ends the polling.
std::int32_t pollAfterWrite(HANDLE driver) {
  std::int32_t result = KVEXA_TIMED_OUT;
  StatusBlock block;
  for (int i = 0; i < pollLimit; ++i) {
    const std::int32_t status = readStatus(driver, block);
    if (status == statusIdle) return KVEXA_OK;
    if (status == statusBusError) result = block.busErrorResult();
  }
  return result;
}

std::int32_t pollBeforeRead(HANDLE driver) {
  StatusBlock block;
  for (int i = 0; i < pollLimit; ++i) {
    const std::int32_t status = readStatus(driver, block);
    if (std::ranges::find(readReadyCodes, status) != readReadyCodes.end()) return KVEXA_OK;
    if (status == statusBusError) return block.busErrorResult();
  }
  return KVEXA_TIMED_OUT;
}

bool isRefused(std::uint32_t count, const void* words) {
  return count == 0 || count > largestRegisterCount || words == nullptr;
}

std::int32_t requestAndReceive(HANDLE driver, const PacketHeader& header, std::span<std::uint8_t> answer) {
  std::int32_t result = send(driver, Pipe::command, header.whole());
  if (result == KVEXA_OK) result = pollBeforeRead(driver);
  if (result == KVEXA_OK) result = receive(driver, Pipe::registerData, answer);
  return result;
}

RegisterAddress boardAddress(Target target) {
  return {KVEXA_SLAVE7_SUB8, boardTarget, static_cast<std::uint32_t>(target)};
}

std::int32_t selectRegister(Link link, std::uint32_t address) {
  return writeTargetPolled(link, Target::addressPort, address);
}

}  // namespace

std::int32_t writePolled(Link link, const RegisterAddress& address, std::uint32_t count,
                         const std::uint32_t* words) {
  const CommandTurn turn(link);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const auto header = buildHeader(Framing::prefixed, Direction::write, address, count);
  if (!header) return KVEXA_BAD_ARGUMENT;
  ByteBuffer packet(header->total + count);
  if (!packet) return KVEXA_TOO_LARGE;
  std::ranges::copy(header->whole(), packet.all().begin());
  packWords(address.slave, words, packet.all().subspan(header->used, count));

  std::int32_t result = send(link.driver(), Pipe::command, packet.all());
  if (result == KVEXA_OK) result = pollAfterWrite(link.driver());
  if (result != KVEXA_OK) checkStatus(link.driver());
  return result;
}

std::int32_t readPolled(Link link, const RegisterAddress& address, std::uint32_t count,
                        std::uint32_t* words) {
  const CommandTurn turn(link);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const auto header = buildHeader(Framing::prefixed, Direction::read, address, count);
  if (!header) return KVEXA_BAD_ARGUMENT;
  ByteBuffer answer(header->total + count);
  if (!answer) return KVEXA_TOO_LARGE;

  const std::int32_t result = requestAndReceive(link.driver(), *header, answer.all());
  if (result == KVEXA_OK) {
    unpackWords(address.slave, answer.all().subspan(header->total), words);
  } else {
    checkStatus(link.driver());
  }
  return result;
}

std::int32_t fpgaRead(Link link, std::uint32_t address, std::uint32_t count, std::uint32_t* words) {
  const CommandTurn turn(link);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const std::int32_t selected = selectRegister(turn.link(), address);
  if (selected != KVEXA_OK) return selected;
  return readPolled(turn.link(), boardAddress(Target::dataPort), count, words);
}

std::int32_t fpgaWrite(Link link, std::uint32_t address, std::uint32_t count, const std::uint32_t* words) {
  const CommandTurn turn(link);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const std::int32_t selected = selectRegister(turn.link(), address);
  if (selected != KVEXA_OK) return selected;
  return writePolled(turn.link(), boardAddress(Target::dataPort), count, words);
}

std::int32_t readRegister(Link link, Register address, std::uint32_t& value) {
  return fpgaRead(link, static_cast<std::uint32_t>(address), targetWordBytes, &value);
}

std::int32_t writeRegister(Link link, Register address, std::uint32_t value) {
  return fpgaWrite(link, static_cast<std::uint32_t>(address), targetWordBytes, &value);
}

std::int32_t readTargetPolled(Link link, Target target, std::uint32_t& value) {
  return readPolled(link, boardAddress(target), targetWordBytes, &value);
}

std::int32_t writeTargetPolled(Link link, Target target, std::uint32_t value) {
  return writePolled(link, boardAddress(target), targetWordBytes, &value);
}

}  // namespace kvexa::usb
