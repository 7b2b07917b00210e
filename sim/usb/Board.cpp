#include "sim/usb/Board.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "sim/usb/Firmware.h"
#include "sim/usb/RequestText.h"

namespace sim::usb {

namespace {

constexpr std::uint32_t errorDeviceNotConnected = 1167;

void turnBits(std::span<std::uint8_t> bytes, std::uint8_t turned) {
  for (auto& byte : bytes) byte ^= turned;
}

}  // namespace

Board::Board(std::string name, Timeline& timeline, Trace& trace)
    : CameraBoard(std::move(name), timeline, trace),
      firmware_(std::make_unique<Firmware>(
          timeline.clock(), sensor_, faults_, commands_,
          [this](std::optional<Microseconds> moment) { return waitUntil(moment); })) {}

Board::~Board() = default;

std::uint16_t Board::boardRegister(std::uint16_t address) const {
  const std::lock_guard lock(mutex_);
  return firmware_->registers().value(address);
}

void Board::setBoardRegister(std::uint16_t address, std::uint16_t value) {
  const std::lock_guard lock(mutex_);
  firmware_->registers().setValue(address, value);
}

std::uint16_t Board::targetWord(std::uint8_t subAddress) const {
  const std::lock_guard lock(mutex_);
  return firmware_->registers().word(subAddress);
}

void Board::setTargetWord(std::uint8_t subAddress, std::uint16_t value) {
  const std::lock_guard lock(mutex_);
  firmware_->registers().setWord(subAddress, value);
}

void Board::queueStatus(std::uint8_t code, char digit) {
  const std::lock_guard lock(mutex_);
  firmware_->queueStatus(code, digit);
}

void Board::setRecoveryAnswer(std::uint8_t answer) {
  const std::lock_guard lock(mutex_);
  firmware_->setRecoveryAnswer(answer);
}

void Board::unplug() {
  {
    const std::lock_guard lock(mutex_);
    plugged_ = false;
  }
  timeline_.noteChange(this);
}

std::vector<std::uint8_t> Board::frameBytes(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  return firmware_->registers().capture().frameBytes(number);
}

void Board::close() {
  const std::lock_guard lock(mutex_);
  open_ = false;
}

Answer Board::transfer(std::uint32_t pipe, std::uint32_t timeout, std::uint8_t* data, std::uint32_t length) {
  Answer answer;
  bool changes = false;
  {
    std::unique_lock lock(mutex_);
    const std::optional<Fault> fault = faults_.nextRequest(lock);
    answer = meetFaults(fault, length, [&](std::uint32_t allowed, std::uint8_t turned) {
      if (turned == 0 || data == nullptr) return firmware_->transfer(pipe, timeout, data, allowed);
      return corruptTransfer(pipe, timeout, {data, allowed}, turned);
    });
    trace_.add(requestText(
        name_, {pipe, timeout, {data, length}, answer.bytes, answer.error, answer.statusReported}));
    // The other pipes change nothing that a request waits for.
    changes = pipe == Pipe::command || !plugged_;
  }
  timeline_.noteChange(changes ? this : nullptr);
  return answer;
}

// Inside a request, which holds the lock once.
bool Board::waitUntil(std::optional<Microseconds> moment) {
  const std::uint64_t seen = timeline_.changes();
  mutex_.unlock();
  timeline_.await(this, seen, moment);
  mutex_.lock();
  return plugged_;
}

// Bytes are turned on their way, so an outbound buffer of the host stays as it is.
Answer Board::corruptTransfer(std::uint32_t pipe, std::uint32_t timeout, std::span<std::uint8_t> data,
                              std::uint8_t turned) {
  const bool isOutbound = Pipe::isOutbound(pipe);
  std::vector<std::uint8_t> bytes(data.begin(), data.end());
  if (isOutbound) turnBits(bytes, turned);
  const auto length = static_cast<std::uint32_t>(bytes.size());
  const Answer answer = firmware_->transfer(pipe, timeout, bytes.data(), length);
  if (isOutbound) return answer;
  bytes.resize(std::min<std::size_t>(answer.bytes, bytes.size()));
  turnBits(bytes, turned);
  std::ranges::copy(bytes, data.begin());
  return answer;
}

Answer Board::descriptor(std::uint8_t* data, std::uint32_t length) {
  std::unique_lock lock(mutex_);
  const std::optional<Fault> fault = faults_.nextRequest(lock);
  const Answer answer = meetFaults(fault, length, [&](std::uint32_t allowed, std::uint8_t turned) -> Answer {
    std::vector<std::uint8_t> whole = Firmware::descriptor();
    turnBits(whole, turned);
    const std::size_t count = std::min<std::size_t>(whole.size(), allowed);
    std::copy_n(whole.begin(), count, data);
    return {0, static_cast<std::uint32_t>(count), true};
  });
  trace_.add(name_ + " descriptor " + std::to_string(answer.bytes) + "/" + std::to_string(length) +
             outcome(answer.error, answer.statusReported));
  return answer;
}

// Lets the request meet its fault. `request` gets the bytes that it may move, and the bits to
// turn round in them.
template <class Request>
Answer Board::meetFaults(const std::optional<Fault>& fault, std::uint32_t length, Request request) {
  const auto meets = [&](Fault::Kind kind) { return fault && fault->kind == kind; };
  if (meets(Fault::Kind::unplug)) plugged_ = false;
  if (!plugged_) return {errorDeviceNotConnected, 0, false};
  if (meets(Fault::Kind::refuse)) return {fault->value, 0, false};
  const std::uint8_t turned = meets(Fault::Kind::corrupt) ? static_cast<std::uint8_t>(fault->value) : 0;
  Answer answer = request(meets(Fault::Kind::shorten) ? std::min(length, fault->value) : length, turned);
  if (!plugged_) return {errorDeviceNotConnected, 0, false};  // pulled out while the request waited
  if (meets(Fault::Kind::keepStatus)) answer.statusReported = false;
  return answer;
}

}  // namespace sim::usb
