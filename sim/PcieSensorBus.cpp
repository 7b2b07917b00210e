#include "PcieSensorBus.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "PcieProtocol.h"

namespace sim {

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
  if (transfer.mode > lastAddressMode) return PcieStatus::badTransfer;
  if (faults.acknowledgeIsHeld() || transfer.slave > 0xFFFF) return PcieStatus::noAcknowledge;
  const auto slave = static_cast<std::uint16_t>(transfer.slave);
  const auto address = static_cast<std::uint16_t>(transfer.address & 0xFFFF);
  if (isWrite) {
    std::vector<std::uint8_t> bytes(words.size());
    std::ranges::transform(words, bytes.begin(),
                           [](std::uint32_t word) { return static_cast<std::uint8_t>(word & 0xFF); });
    return sensor.write(slave, address, bytes, transfer.before) ? PcieStatus::success
                                                                : PcieStatus::noAcknowledge;
  }
  const auto bytes = sensor.read(slave, address, words.size(), transfer.before);
  if (!bytes) return PcieStatus::noAcknowledge;
  std::ranges::copy(*bytes, words.begin());
  return PcieStatus::success;
}

// The chunk's place in its transfer is as the transfer's length asks.
bool isChunk(std::span<const std::uint32_t> record) {
  const std::uint64_t before = std::uint64_t{record[PcieWord::blockChunk]} * pcieBlockWords;
  const std::uint32_t total = record[PcieWord::blockTotal];
  if (before >= total) return false;
  const std::uint32_t expected =
      std::min<std::uint32_t>(total - static_cast<std::uint32_t>(before), pcieBlockWords);
  return record[PcieWord::blockCount] == expected && record[PcieWord::blockFirst] == (before == 0 ? 1U : 0U);
}

}  // namespace

std::uint32_t transferSensorWord(Sensor& sensor, const Faults& faults, bool isWrite,
                                 std::span<std::uint32_t> record) {
  const Transfer transfer{record[PcieWord::wordSlave], record[PcieWord::wordMode],
                          record[PcieWord::wordAddress], 0};
  return run(sensor, faults, transfer, isWrite, record.subspan(PcieWord::wordData, 1));
}

std::uint32_t transferSensorBlock(Sensor& sensor, const Faults& faults, bool isWrite,
                                  std::span<std::uint32_t> record) {
  if (!isChunk(record)) return PcieStatus::badTransfer;
  const Transfer transfer{record[PcieWord::blockSlave], record[PcieWord::blockMode],
                          record[PcieWord::blockAddress],
                          std::size_t{record[PcieWord::blockChunk]} * pcieBlockWords};
  return run(sensor, faults, transfer, isWrite,
             record.subspan(PcieWord::blockData, record[PcieWord::blockCount]));
}

}  // namespace sim
