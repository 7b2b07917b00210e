#include "sim/pcie/SensorBus.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "sim/pcie/Protocol.h"

namespace sim::pcie {

namespace {

constexpr std::uint32_t lastAddressMode = 5;

struct Transfer {
  std::uint32_t slave;
  std::uint32_t mode;
  std::uint32_t address;
  std::size_t before;  // words of the chunks before
};

// Slave addresses have 7 or 10 bits, register addresses 16.
std::uint32_t run(Sensor& sensor, const Faults& faults, const Transfer& transfer, bool isWrite,
                  std::span<std::uint32_t> words) {
  if (transfer.mode > lastAddressMode) return Status::badTransfer;
  if (faults.acknowledgeIsHeld() || transfer.slave > 0xFFFF) return Status::noAcknowledge;
  const bool lies = faults.defects().has(Defect::lyingStatus);
  const std::uint32_t refused = lies ? Status::success : Status::noAcknowledge;
  const auto slave = static_cast<std::uint16_t>(transfer.slave);
  const auto address = static_cast<std::uint16_t>(transfer.address & 0xFFFF);
  if (isWrite) {
    std::vector<std::uint8_t> bytes(words.size());
    std::ranges::transform(words, bytes.begin(),
                           [](std::uint32_t word) { return static_cast<std::uint8_t>(word & 0xFF); });
    return sensor.write(slave, address, bytes, transfer.before) ? Status::success : refused;
  }
  const auto bytes = sensor.read(slave, address, words.size(), transfer.before);
  if (!bytes) return refused;
  std::ranges::copy(*bytes, words.begin());
  return Status::success;
}

// The chunk's place in its transfer is as the transfer's length asks.
bool isChunk(std::span<const std::uint32_t> record) {
  const std::uint64_t before = std::uint64_t{record[Word::blockChunk]} * blockWords;
  const std::uint32_t total = record[Word::blockTotal];
  if (before >= total) return false;
  const std::uint32_t expected =
      std::min<std::uint32_t>(total - static_cast<std::uint32_t>(before), blockWords);
  return record[Word::blockCount] == expected && record[Word::blockFirst] == (before == 0 ? 1U : 0U);
}

}  // namespace

std::uint32_t transferSensorWord(Sensor& sensor, const Faults& faults, bool isWrite,
                                 std::span<std::uint32_t> record) {
  const Transfer transfer{record[Word::wordSlave], record[Word::wordMode], record[Word::wordAddress], 0};
  return run(sensor, faults, transfer, isWrite, record.subspan(Word::wordData, 1));
}

std::uint32_t transferSensorBlock(Sensor& sensor, const Faults& faults, bool isWrite,
                                  std::span<std::uint32_t> record) {
  if (!isChunk(record)) return Status::badTransfer;
  const Transfer transfer{record[Word::blockSlave], record[Word::blockMode], record[Word::blockAddress],
                          std::size_t{record[Word::blockChunk]} * blockWords};
  return run(sensor, faults, transfer, isWrite, record.subspan(Word::blockData, record[Word::blockCount]));
}

}  // namespace sim::pcie
