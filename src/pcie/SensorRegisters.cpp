#include "pcie/SensorRegisters.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <span>

#include "files/File.h"
#include "files/RegisterSettingReader.h"
#include "pcie/BoardRegisters.h"
#include "pcie/Requests.h"

namespace kvexa::pcie {

namespace {

constexpr std::uint32_t largestWordCount = 1024;
constexpr std::uint32_t waitEnabled = 0x8000;

struct Transfer {
  Request request;
  std::uint32_t slave;
  std::uint32_t address;
  std::uint32_t mode;
  std::uint32_t total;
};

void fillChunk(SensorBlockRecord& record, const Transfer& transfer, std::uint32_t done) {
  record.status = 0;
  record.first = done == 0 ? 1 : 0;
  record.mode = transfer.mode;
  record.total = transfer.total;
  record.option = 0;
  record.address = transfer.address;
  record.slave = transfer.slave;
  record.chunk = done / blockWords;
  record.count = std::min(transfer.total - done, blockWords);
}

// Sends the chunks of a transfer; `before` and `after` move a chunk's words.
template <class Before, class After>
std::int32_t transferBlocks(HANDLE driver, const Transfer& transfer, Before before, After after) {
  if (transfer.total == 0) return KVEXA_OK;
  const auto request = makePending<SensorBlockRecord>();
  if (!request) return KVEXA_REQUEST_FAILED;
  SensorBlockRecord& record = request->record;
  for (std::uint32_t done = 0; done < transfer.total; done += record.count) {
    fillChunk(record, transfer, done);
    const auto data = std::span(record.data).first(record.count);
    before(data, done);
    request->resetEvent();
    if (!request->start(driver, transfer.request)) return KVEXA_REQUEST_FAILED;
    request->wait(INFINITE);
    const std::int32_t result = sensorBlockStatus.resultOf(record.status);
    if (result != KVEXA_OK) return result;
    fillChunk(record, transfer, done);  // the driver may have changed the header
    after(data, done);
  }
  return KVEXA_OK;
}

// One record for the whole transfer; `move` takes one word.
template <class Move>
std::int32_t transferWords(HANDLE driver, Request request, SensorWordRecord record, std::uint32_t count,
                           Move move) {
  const SensorWordRecord fresh = record;
  for (std::uint32_t i = 0; i < count; ++i) {
    record = fresh;
    const bool isWrite = request == Request::writeSensorWord;
    if (isWrite) move(record, i);
    // The status word is not looked at: what the driver accepts counts as done. That is intended.
    if (!send(driver, request, record)) return KVEXA_REQUEST_FAILED;
    if (!isWrite) move(record, i);
  }
  return KVEXA_OK;
}

bool isRefused(std::uint32_t count, const void* words) { return count != 0 && words == nullptr; }

std::int32_t playLines(HANDLE driver, std::span<const files::RegisterSettingLine> lines) {
  if (lines.size() < 2) return KVEXA_OK;
  const files::RegisterSettingLine& header = lines.front();
  const std::uint32_t mode = header.valueCount > 0 ? header.values[0] : 0;
  for (const files::RegisterSettingLine& line : lines.subspan(1)) {
    const std::int32_t result =
        writeSensorBlock(driver, header.number, line.number, mode, line.valueCount, line.values.data());
    if (result != KVEXA_OK) return result;
  }
  return KVEXA_OK;
}

// How an acknowledge wait is counted at a speed of the bus.
struct WaitSteps {
  std::uint32_t largest;
  std::uint32_t step;
};

constexpr std::array<WaitSteps, 2> waitSteps{{{2550, 10}, {10200, 40}}};

}  // namespace

std::int32_t readSensorBlock(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                             std::uint32_t count, std::uint32_t* words) {
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const Transfer transfer{Request::readSensorBlock, slave, address, mode, count};
  return transferBlocks(
      driver, transfer, [](auto, auto) {},
      [words](auto data, std::uint32_t done) { std::ranges::copy(data, words + done); });
}

std::int32_t writeSensorBlock(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                              std::uint32_t count, const std::uint32_t* words) {
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  const Transfer transfer{Request::writeSensorBlock, slave, address, mode, count};
  return transferBlocks(
      driver, transfer,
      [words](auto data, std::uint32_t done) { std::copy_n(words + done, data.size(), data.begin()); },
      [](auto, auto) {});
}

std::int32_t readSensorWords(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                             std::uint32_t count, std::uint32_t* words) {
  if (count > largestWordCount || isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  return transferWords(driver, Request::readSensorWord, {0, slave, mode, address, 0}, count,
                       [words](const SensorWordRecord& record, std::uint32_t i) { words[i] = record.data; });
}

std::int32_t writeSensorWords(HANDLE driver, std::uint32_t slave, std::uint32_t address, std::uint32_t mode,
                              std::uint32_t count, const std::uint32_t* words) {
  if (count > largestWordCount || isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  return transferWords(driver, Request::writeSensorWord, {0, slave, mode, address, 0}, count,
                       [words](SensorWordRecord& record, std::uint32_t i) { record.data = words[i]; });
}

std::int32_t playRegisterFile(HANDLE driver, const char* path) {
  if (path == nullptr) return KVEXA_BAD_ARGUMENT;
  const std::unique_ptr<files::RegisterSettingLine[]> table(
      new (std::nothrow) files::RegisterSettingLine[KVEXA_REGISTER_TABLE_ENTRIES]);
  if (!table) return KVEXA_FAILED;
  const files::File file = files::openForReading(path);
  if (!file) return KVEXA_FILE_NOT_OPENED;
  const std::int32_t count = files::readRegisterSettings(
      file.get(),
      [&table](const files::RegisterSettingLine& line, std::uint32_t index) { table[index] = line; });
  if (count < 0) return count;
  return playLines(driver, {table.get(), static_cast<std::size_t>(count)});
}

std::int32_t setI2cSpeed(HANDLE driver, std::uint32_t speed) {
  return writeRegister(driver, Register::i2cSpeed, speed);
}

std::int32_t setAcknowledgeWait(HANDLE driver, std::uint32_t time) {
  std::uint32_t speed = 0;
  if (readRegister(driver, Register::i2cSpeed, speed) != KVEXA_OK) return KVEXA_BAD_ARGUMENT;
  if (speed >= waitSteps.size() || time > waitSteps[speed].largest) return KVEXA_BAD_ARGUMENT;
  const std::uint32_t steps = time / waitSteps[speed].step;
  return writeRegister(driver, Register::acknowledgeWait, steps != 0 ? waitEnabled | steps : 0);
}

std::int32_t writeLut(HANDLE driver, std::uint32_t count, const std::uint32_t* words) {
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  LutRecord record{};
  for (std::uint32_t done = 0; done < count; done += record.count) {
    record.count = std::min(count - done, blockWords);
    std::copy_n(words + done, record.count, record.data.begin());
    const std::uint32_t sent = record.count;
    send(driver, Request::writeLut, record);
    record.count = sent;  // the driver answers into the same record
  }
  return KVEXA_OK;  // whatever the driver did; that is intended
}

std::int32_t readLut(HANDLE driver, std::uint32_t count, std::uint32_t* words) {
  if (isRefused(count, words)) return KVEXA_BAD_ARGUMENT;
  LutRecord record{};
  for (std::uint32_t done = 0, wanted = 0; done < count; done += wanted) {
    wanted = std::min(count - done, blockWords);
    record.count = wanted;
    if (!send(driver, Request::readLut, record)) continue;
    std::copy_n(record.data.begin(), wanted, words + done);
  }
  return KVEXA_OK;  // whatever the driver did; that is intended
}

}  // namespace kvexa::pcie
