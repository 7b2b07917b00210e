#include "PcieBoard.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "PcieSensorBus.h"
#include "PcieTrace.h"

namespace sim {

namespace {

constexpr std::uint32_t statusCancelled = 0xC0000120;  // what Windows reports of a request that has no end

bool meets(const std::optional<Fault>& fault, Fault::Kind kind) { return fault && fault->kind == kind; }

PcieWait waitOf(PcieRequest request) {
  switch (request) {
    case PcieRequest::capture: return PcieWait::capture;
    case PcieRequest::autoActual: return PcieWait::measurement;
    case PcieRequest::interval: return PcieWait::interval;
    default: return PcieWait::block;
  }
}

// The status that the fault puts in the place of the true one.
std::optional<std::uint32_t> statusOf(const std::optional<Fault>& fault, std::uint32_t wordBefore) {
  if (meets(fault, Fault::Kind::answer) || meets(fault, Fault::Kind::answerLater)) return fault->value;
  if (meets(fault, Fault::Kind::keepStatus)) return wordBefore;
  return std::nullopt;
}

}  // namespace

PcieBoard::PcieBoard(std::string name, const Machinery& machinery)
    : name_(std::move(name)),
      timeline_(machinery.timeline),
      trace_(machinery.trace),
      loans_(machinery.loans),
      sensor_(timeline_.clock()),
      faults_(timeline_),
      registers_(timeline_.clock(), sensor_, faults_),
      engine_(timeline_.clock(), sensor_, registers_, [this](PendingRequest& request) {
        tell(name_ + " " + request.shape().name + " complete " +
             pcieAnswerText(request.shape(), request.words()));
      }) {
  timeline_.add(*this);
}

std::uint32_t PcieBoard::boardRegister(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  return registers_.value(address);
}

void PcieBoard::setBoardRegister(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  registers_.setValue(address, value);
}

std::vector<std::uint8_t> PcieBoard::frameBytes(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const SensorPicture picture = sensor_.picture();
  std::vector<std::uint8_t> bytes = registers_.delivery().bytes(picture, sensor_.frame(picture, number));
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

void PcieBoard::unplug() {
  const std::lock_guard lock(mutex_);
  plugged_ = false;
  engine_.endAll(PcieStatus::stopped, statusCancelled);
}

void PcieBoard::plug() {
  const std::lock_guard lock(mutex_);
  plugged_ = true;
}

bool PcieBoard::isPlugged() const {
  const std::lock_guard lock(mutex_);
  return plugged_;
}

unsigned PcieBoard::pending() const {
  const std::lock_guard lock(mutex_);
  return engine_.pending();
}

unsigned PcieBoard::pending(PcieWait kind) const {
  const std::lock_guard lock(mutex_);
  return engine_.pending(kind);
}

void PcieBoard::hold(PcieWait kind, bool held) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  engine_.hold(kind, held);
}

bool PcieBoard::complete(PcieWait kind, std::uint32_t status) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  return engine_.complete(kind, status);
}

void PcieBoard::completeBlocksAtOnce(bool atOnce) {
  const std::lock_guard lock(mutex_);
  blocksAtOnce_ = atOnce;
}

void PcieBoard::setStopStatus(std::optional<std::uint32_t> status) {
  const std::lock_guard lock(mutex_);
  engine_.setStopStatus(status);
}

std::vector<PcieBoard::Region> PcieBoard::lockedRegions() const {
  const std::lock_guard lock(mutex_);
  return regions_;
}

std::uint32_t PcieBoard::lutWord(std::size_t index) const {
  const std::lock_guard lock(mutex_);
  return lut_.word(index);
}

bool PcieBoard::open() {
  const std::lock_guard lock(mutex_);
  return !std::exchange(open_, true);
}

// Windows ends the requests of a file that is closed.
void PcieBoard::close() {
  const std::lock_guard lock(mutex_);
  engine_.endAll(PcieStatus::stopped, statusCancelled);
  open_ = false;
}

ControlAnswer PcieBoard::control(const PcieShape& shape, const ControlRequest& request) {
  bool waits = false;
  ControlAnswer answer;
  {
    std::unique_lock lock(mutex_);
    const std::optional<Fault> fault = faults_.nextRequest(lock);
    engine_.settle();
    answer = meetRequest(shape, request, fault);
    waits = engine_.pending() != 0;
  }
  timeline_.noteChange(this);
  if (waits) timeline_.serve();
  return answer;
}

bool PcieBoard::isWaiting() {
  const std::lock_guard lock(mutex_);
  return engine_.pending() != 0;
}

std::optional<Microseconds> PcieBoard::nextDue() {
  const std::lock_guard lock(mutex_);
  return engine_.nextDue();
}

void PcieBoard::happen() {
  const std::lock_guard lock(mutex_);
  engine_.happen();
}

ControlAnswer PcieBoard::refuse(const std::string& line, std::uint32_t error) {
  trace_.add(line + outcome(error, true));
  return {error, 0};
}

ControlAnswer PcieBoard::meetRequest(const PcieShape& shape, const ControlRequest& request,
                                     const std::optional<Fault>& fault) {
  if (meets(fault, Fault::Kind::unplug)) unplug();
  Words words(shape.words);
  std::memcpy(words.data(), request.in, words.size() * sizeof words[0]);
  const std::string line = pcieRequestText(name_, shape, words);
  if (!plugged_) return refuse(line, ERROR_DEVICE_NOT_CONNECTED);
  if (meets(fault, Fault::Kind::refuse)) return refuse(line, fault->value);
  if (const std::uint32_t error = check(shape, words)) return refuse(line, error);
  return shape.overlapped ? start(line, shape, request, fault) : complete(line, shape, request, fault);
}

// A request that is over when DeviceIoControl returns. The file is open for overlapped use, so an overlapped
// record is told as well when there is one.
ControlAnswer PcieBoard::complete(const std::string& line, const PcieShape& shape,
                                  const ControlRequest& request, const std::optional<Fault>& fault) {
  Words words(shape.words);
  auto bytes = static_cast<std::uint32_t>(words.size() * sizeof words[0]);
  std::memcpy(words.data(), request.in, bytes);
  const std::uint32_t before = words[PcieWord::status];
  causesEnds_ = true;
  const std::uint32_t status = run(shape.request, words);
  causesEnds_ = false;
  words[PcieWord::status] = statusOf(fault, before).value_or(status);
  if (meets(fault, Fault::Kind::shorten)) bytes = std::min(bytes, fault->value);
  std::memcpy(request.out, words.data(), bytes);
  trace_.add(line + " -> " + pcieAnswerText(shape, words));
  for (std::string& caused : std::exchange(causedLines_, {})) trace_.add(std::move(caused));
  if (request.overlapped != nullptr) {
    request.overlapped->Internal = 0;
    request.overlapped->InternalHigh = bytes;
    const HANDLE event = request.overlapped->hEvent;
    if (event != nullptr) timeline_.signal(event, [event] { return SetEvent(event); });
  }
  return {0, bytes};
}

// What a request brings to its end is told behind the request itself.
void PcieBoard::tell(std::string line) {
  causesEnds_ ? causedLines_.push_back(std::move(line)) : trace_.add(std::move(line));
}

// A request that may stay pending.
ControlAnswer PcieBoard::start(const std::string& line, const PcieShape& shape, const ControlRequest& request,
                               const std::optional<Fault>& fault) {
  auto made = std::make_unique<PendingRequest>(shape, request, loans_, timeline_);
  if (!made->isValid()) return refuse(line, ERROR_INVALID_HANDLE);
  if (meets(fault, Fault::Kind::shorten)) made->shorten(fault->value);
  Words& words = made->words();
  const PcieWait kind = waitOf(shape.request);
  std::optional<std::uint32_t> own = statusOf(fault, words[PcieWord::status]);
  const bool isBusy = kind == PcieWait::capture && engine_.isCapturing();
  if (isBusy && !own) own = PcieStatus::busy;
  const bool atOnce =
      isBusy || meets(fault, Fault::Kind::answer) || (kind == PcieWait::block && blocksAtOnce_);
  if (kind == PcieWait::block) words[PcieWord::status] = run(shape.request, words);
  if (!atOnce) {
    trace_.add(line + " pending");
    engine_.add(kind, std::move(made), own);
    return {ERROR_IO_PENDING, 0};
  }
  if (own) words[PcieWord::status] = *own;
  trace_.add(line + " -> " + pcieAnswerText(shape, words));
  return {0, made->complete(0)};
}

// Carries a request out and gives the driver's status word.
std::uint32_t PcieBoard::run(PcieRequest request, Words& words) {
  switch (request) {
    case PcieRequest::readRegister:
      words[PcieWord::registerValue] = registers_.value(words[PcieWord::registerAddress]);
      break;
    case PcieRequest::writeRegister:
      registers_.write(words[PcieWord::registerAddress], words[PcieWord::registerValue]);
      break;
    case PcieRequest::lockMemory:
      regions_.push_back({words[PcieWord::regionStart], words[PcieWord::regionLength]});
      break;
    case PcieRequest::unlockMemory:
      return unlock({words[PcieWord::regionStart], words[PcieWord::regionLength]});
    case PcieRequest::stop: engine_.stop(); break;
    case PcieRequest::cancelInterval: engine_.cancelIntervals(); break;
    case PcieRequest::readSensor: return transferSensorWord(sensor_, faults_, false, words);
    case PcieRequest::writeSensor: return transferSensorWord(sensor_, faults_, true, words);
    case PcieRequest::readBlock: return transferSensorBlock(sensor_, faults_, false, words);
    case PcieRequest::writeBlock: return transferSensorBlock(sensor_, faults_, true, words);
    case PcieRequest::readLut: lut_.transfer(false, words); break;
    case PcieRequest::writeLut: lut_.transfer(true, words); break;
    case PcieRequest::capture:
    case PcieRequest::autoActual:
    case PcieRequest::interval: break;
  }
  return PcieStatus::success;
}

std::uint32_t PcieBoard::unlock(const Region& region) {
  const auto found = std::ranges::find(regions_, region);
  if (found == regions_.end()) return PcieStatus::notLocked;
  regions_.erase(found);
  return PcieStatus::success;
}

// The Windows error of a record that makes no sense.
std::uint32_t PcieBoard::check(const PcieShape& shape, const Words& words) const {
  if (shape.data.countAt != 0) {
    const std::uint32_t count = words[shape.data.countAt];
    return count == 0 || count > pcieBlockWords ? ERROR_INVALID_PARAMETER : 0;
  }
  if (shape.request != PcieRequest::capture) return 0;
  const std::uint32_t mode = words[PcieWord::captureMode];
  const bool isGood = words[PcieWord::captureBuffer] != 0 && words[PcieWord::captureLength] != 0 &&
                      words[PcieWord::captureOne] == 1 &&
                      (mode == PcieMode::oneShot || mode == PcieMode::multiShot);
  return isGood ? 0 : ERROR_INVALID_PARAMETER;
}

}  // namespace sim
