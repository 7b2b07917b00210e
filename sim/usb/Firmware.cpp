#include "sim/usb/Firmware.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sim::usb {

namespace {

constexpr std::uint32_t errorGenFailure = 31;
constexpr std::uint32_t errorInvalidParameter = 87;
constexpr std::uint32_t errorSemTimeout = 121;

constexpr std::size_t statusBlockBytes = 64;
constexpr std::size_t statusByte = 4;
constexpr std::size_t digitByte = 6;
constexpr std::uint8_t busError = 0x60;
constexpr std::uint8_t noAcknowledge = '1';
constexpr std::uint8_t badPacket = '2';

constexpr std::array<std::uint8_t, 2> statusRequest = {0x00, 0x00};
constexpr std::array<std::uint8_t, 1> recoveryRequest = {0x01};

enum Command : std::uint8_t {
  resetBoard = 0,
  flushImagePipe = 1,
  waitVerticalSync0 = 2,
  waitVerticalSync1 = 3,
  clearStatus = 5,
  frameDropOn = 9,
  frameDropOff = 10
};

Answer moved(std::size_t bytes) { return {0, static_cast<std::uint32_t>(bytes), true}; }

Answer refused(std::uint32_t error) { return {error, 0, false}; }

}  // namespace

Firmware::Firmware(const Clock& clock, Sensor& sensor, Faults& faults, std::vector<std::uint8_t>& commands,
                   Patience patience)
    : clock_(clock),
      sensor_(sensor),
      faults_(faults),
      commands_(commands),
      patience_(std::move(patience)),
      registers_(clock, sensor, faults, patience_) {}

Answer Firmware::transfer(std::uint32_t pipe, std::uint32_t timeout, std::uint8_t* data,
                          std::uint32_t length) {
  registers_.settle();
  const std::span<std::uint8_t> bytes(data, length);
  switch (pipe) {
    case Pipe::request: return request(bytes);
    case Pipe::status: return statusOrRecovery(timeout, bytes);
    case Pipe::image: return image(timeout, bytes);
    case Pipe::command: return command(bytes);
    case Pipe::answer: return readAnswer(timeout, bytes);
    default: return refused(errorInvalidParameter);
  }
}

// A vendor-specific high-speed device, release 1.05.
std::vector<std::uint8_t> Firmware::descriptor() {
  return {18, 1, 0x00, 0x02, 0xFF, 0x00, 0x00, 64, 0xFE, 0xCA, 0x01, 0x00, 0x05, 0x01, 1, 2, 0, 1};
}

void Firmware::queueStatus(std::uint8_t code, char digit) {
  queuedStatus_.push_back({code, static_cast<std::uint8_t>(digit)});
}

Answer Firmware::request(std::span<const std::uint8_t> packet) {
  if (std::ranges::equal(packet, statusRequest)) {
    expected_ = Expected::status;
  } else if (std::ranges::equal(packet, recoveryRequest)) {
    expected_ = Expected::recovery;
    clearErrors();
  } else {
    return refused(errorGenFailure);
  }
  return moved(packet.size());
}

Answer Firmware::statusOrRecovery(std::uint32_t timeout, std::span<std::uint8_t> room) {
  if (expected_ == Expected::nothing) return timedOut(timeout);
  std::vector<std::uint8_t> block(1, recoveryAnswer_);
  if (expected_ == Expected::status) {
    const Status status = nextStatus();
    block.assign(statusBlockBytes, 0);
    block[statusByte] = status.code;
    block[digitByte] = status.digit;
  }
  expected_ = Expected::nothing;
  const std::size_t count = std::min(block.size(), room.size());
  std::copy_n(block.begin(), count, room.begin());
  return moved(count);
}

// The status is that of the last packet with register transfers.
Answer Firmware::command(std::span<const std::uint8_t> packet) {
  bool transfers = false;
  std::uint8_t problem = 0;
  for (const PacketItem& item : parsePacket(packet)) {
    if (item.kind == PacketItem::Kind::command) {
      run(item.command);
      continue;
    }
    if (transfers && faults_.defects().has(Defect::shortBatch)) continue;
    transfers = true;
    if (item.kind == PacketItem::Kind::malformed) {
      problem = badPacket;
    } else if (!(item.kind == PacketItem::Kind::write ? write(item) : read(item))) {
      problem = noAcknowledge;
    }
  }
  if (transfers) status_ = problem == 0 ? Status{} : Status{busError, problem};
  return moved(packet.size());
}

Answer Firmware::readAnswer(std::uint32_t timeout, std::span<std::uint8_t> room) {
  if (answerOffset_ == answer_.size()) return timedOut(timeout);
  const std::size_t count = std::min(answer_.size() - answerOffset_, room.size());
  std::copy_n(answer_.begin() + static_cast<std::ptrdiff_t>(answerOffset_), count, room.begin());
  answerOffset_ += count;
  return moved(count);
}

Answer Firmware::image(std::uint32_t timeout, std::span<std::uint8_t> room) {
  return registers_.capture().read(timeout, room.data(), static_cast<std::uint32_t>(room.size()));
}

// Nothing comes on the pipe.
Answer Firmware::timedOut(std::uint32_t timeout) {
  waitUntil(clock_.now() + Microseconds{timeout} * 1000);
  return refused(errorSemTimeout);
}

void Firmware::waitUntil(Microseconds moment) {
  while (clock_.now() < moment && patience_(moment)) {
  }
}

void Firmware::run(std::uint8_t number) {
  commands_.push_back(number);
  switch (number) {
    case resetBoard: localReset(); break;
    case flushImagePipe:
      registers_.settle();
      registers_.capture().flush();
      break;
    case waitVerticalSync0:
    case waitVerticalSync1: waitForVerticalSync(); break;
    case clearStatus: clearErrors(); break;
    case frameDropOn:
    case frameDropOff: registers_.setFrameDropMode(number == frameDropOn); break;
    default:
      // The bus speed makes no difference here, and the status word needs no latch: it is always live.
      break;
  }
}

void Firmware::clearErrors() {
  if (!faults_.defects().has(Defect::stayingStatus)) status_ = {};
}

void Firmware::waitForVerticalSync() {
  if (faults_.defects().has(Defect::earlySync)) return;
  waitUntil(registers_.capture().frameEnd());
  registers_.settle();
}

void Firmware::localReset() {
  registers_.resetCapture();
  status_ = {};
  expected_ = Expected::nothing;
  answer_.clear();
  answerOffset_ = 0;
}

bool Firmware::write(const PacketItem& item) {
  if (item.slave == boardTarget) {
    registers_.write(item.subAddress, item.data);
    return true;
  }
  registers_.settle();
  return !faults_.acknowledgeIsHeld() && sensor_.write(item.slave, item.subAddress, item.data);
}

// Bytes that the sensor does not deliver read as zeros.
bool Firmware::read(const PacketItem& item) {
  std::optional<std::vector<std::uint8_t>> data;
  if (item.slave == boardTarget) {
    data = registers_.read(item.subAddress, item.count);
  } else if (!faults_.acknowledgeIsHeld()) {
    data = sensor_.read(item.slave, item.subAddress, item.count);
  }
  answer_.assign(item.header.begin(), item.header.end());
  answerOffset_ = 0;
  if (data) {
    answer_.insert(answer_.end(), data->begin(), data->end());
  } else {
    answer_.resize(answer_.size() + item.count);
  }
  return data.has_value();
}

Firmware::Status Firmware::nextStatus() {
  if (faults_.defects().has(Defect::lyingStatus)) return {};
  if (queuedStatus_.empty()) return status_;
  const Status status = queuedStatus_.front();
  queuedStatus_.pop_front();
  return status;
}

}  // namespace sim::usb
