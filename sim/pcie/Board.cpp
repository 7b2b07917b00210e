#include "sim/pcie/Board.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "sim/pcie/RequestText.h"
#include "sim/pcie/SensorBus.h"

namespace sim::pcie {

namespace {

constexpr std::uint32_t statusCancelled = 0xC0000120;  // what Windows reports of a request that has no end

bool meets(const std::optional<Fault>& fault, Fault::Kind kind) { return fault && fault->kind == kind; }

Wait waitOf(Request request) {
  switch (request) {
    case Request::capture: return Wait::capture;
    case Request::autoActual: return Wait::measurement;
    case Request::interval: return Wait::interval;
    default: return Wait::block;
  }
}

// The status that the fault puts in the place of the true one.
std::optional<std::uint32_t> statusOf(const std::optional<Fault>& fault, std::uint32_t wordBefore) {
  if (meets(fault, Fault::Kind::answer) || meets(fault, Fault::Kind::answerLater)) return fault->value;
  if (meets(fault, Fault::Kind::keepStatus)) return wordBefore;
  return std::nullopt;
}

}  // namespace

Board::Board(std::string name, const Machinery& machinery)
    : CameraBoard(std::move(name), machinery.timeline, machinery.trace),
      loans_(machinery.loans),
      registers_(timeline_.clock(), sensor_, faults_),
      engine_(timeline_.clock(), sensor_, registers_, [this](PendingRequest& request) {
        report(name_ + " " + request.shape().name + " complete " +
               answerText(request.shape(), request.words()));
      }) {
  timeline_.add(*this);
}

std::uint32_t Board::boardRegister(std::uint32_t address) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  return registers_.value(address);
}

void Board::setBoardRegister(std::uint32_t address, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  registers_.setValue(address, value);
}

std::vector<std::uint8_t> Board::frameBytes(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  const SensorPicture picture = sensor_.picture();
  std::vector<std::uint8_t> bytes = registers_.delivery().bytes(picture, sensor_.frame(picture, number));
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return bytes;
}

void Board::unplug() {
  const std::lock_guard lock(mutex_);
  plugged_ = false;
  engine_.endAll(Status::stopped, statusCancelled);
}

unsigned Board::pending() const {
  const std::lock_guard lock(mutex_);
  return engine_.pending();
}

unsigned Board::pending(Wait kind) const {
  const std::lock_guard lock(mutex_);
  return engine_.pending(kind);
}

void Board::hold(Wait kind, bool held) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  engine_.hold(kind, held);
}

bool Board::complete(Wait kind, std::uint32_t status) {
  const std::lock_guard lock(mutex_);
  engine_.settle();
  return engine_.complete(kind, status);
}

void Board::completeBlocksAtOnce(bool atOnce) {
  const std::lock_guard lock(mutex_);
  blocksAtOnce_ = atOnce;
}

void Board::setStopStatus(std::optional<std::uint32_t> status) {
  const std::lock_guard lock(mutex_);
  engine_.setStopStatus(status);
}

std::vector<Board::Region> Board::lockedRegions() const {
  const std::lock_guard lock(mutex_);
  return regions_;
}

std::uint32_t Board::lutWord(std::size_t index) const {
  const std::lock_guard lock(mutex_);
  return lut_.word(index);
}

// Windows ends the requests of a file that is closed.
void Board::close() {
  const std::lock_guard lock(mutex_);
  engine_.endAll(Status::stopped, statusCancelled);
  open_ = false;
}

Answer Board::control(const Shape& shape, const ControlRequest& request) {
  bool waits = false;
  Answer answer;
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

bool Board::isWaiting() {
  const std::lock_guard lock(mutex_);
  return engine_.pending() != 0;
}

std::optional<Microseconds> Board::nextDue() {
  const std::lock_guard lock(mutex_);
  return engine_.nextDue();
}

void Board::happen() {
  const std::lock_guard lock(mutex_);
  engine_.happen();
}

Answer Board::refuse(const std::string& line, std::uint32_t error) {
  trace_.add(line + outcome(error, true));
  return {error, 0};
}

Answer Board::meetRequest(const Shape& shape, const ControlRequest& request,
                          const std::optional<Fault>& fault) {
  if (meets(fault, Fault::Kind::unplug)) unplug();
  Words words(shape.words);
  std::memcpy(words.data(), request.in, words.size() * sizeof words[0]);
  const std::string line = requestText(name_, shape, words);
  if (!plugged_) return refuse(line, ERROR_DEVICE_NOT_CONNECTED);
  if (meets(fault, Fault::Kind::refuse)) return refuse(line, fault->value);
  if (const std::uint32_t error = check(shape, words)) return refuse(line, error);
  return shape.overlapped ? start(line, shape, request, fault) : complete(line, shape, request, fault);
}

// A request that is over when DeviceIoControl returns. The file is open for overlapped use, so an overlapped
// record is filled as well when there is one.
Answer Board::complete(const std::string& line, const Shape& shape, const ControlRequest& request,
                       const std::optional<Fault>& fault) {
  Words words(shape.words);
  auto bytes = static_cast<std::uint32_t>(words.size() * sizeof words[0]);
  std::memcpy(words.data(), request.in, bytes);
  const std::uint32_t before = words[Word::status];
  causesEnds_ = true;
  const std::uint32_t status = run(shape.request, words);
  causesEnds_ = false;
  words[Word::status] = statusOf(fault, before).value_or(status);
  if (meets(fault, Fault::Kind::shorten)) bytes = std::min(bytes, fault->value);
  std::memcpy(request.out, words.data(), bytes);
  trace_.add(line + " -> " + answerText(shape, words));
  for (std::string& caused : std::exchange(causedLines_, {})) trace_.add(std::move(caused));
  if (request.overlapped != nullptr) {
    request.overlapped->Internal = 0;
    request.overlapped->InternalHigh = bytes;
    const HANDLE event = request.overlapped->hEvent;
    if (event != nullptr) timeline_.signal(event, [event] { return SetEvent(event); });
  }
  return {0, bytes};
}

// The ends that a request causes come after the request itself in the trace.
void Board::report(std::string line) {
  causesEnds_ ? causedLines_.push_back(std::move(line)) : trace_.add(std::move(line));
}

// A request that may stay pending.
Answer Board::start(const std::string& line, const Shape& shape, const ControlRequest& request,
                    const std::optional<Fault>& fault) {
  auto made = std::make_unique<PendingRequest>(shape, request, loans_, timeline_);
  if (!made->isValid()) return refuse(line, ERROR_INVALID_HANDLE);
  if (meets(fault, Fault::Kind::shorten)) made->shorten(fault->value);
  Words& words = made->words();
  const Wait kind = waitOf(shape.request);
  std::optional<std::uint32_t> own = statusOf(fault, words[Word::status]);
  const bool shares = faults_.defects().has(Defect::sharedCapture);
  const bool isBusy = kind == Wait::capture && engine_.isCapturing() && !shares;
  if (isBusy && !own) own = Status::busy;
  const bool atOnce = isBusy || meets(fault, Fault::Kind::answer) || (kind == Wait::block && blocksAtOnce_);
  if (kind == Wait::block) words[Word::status] = run(shape.request, words);
  if (!atOnce) {
    trace_.add(line + " pending");
    engine_.add(kind, std::move(made), own);
    return {ERROR_IO_PENDING, 0};
  }
  if (own) words[Word::status] = *own;
  trace_.add(line + " -> " + answerText(shape, words));
  return {0, made->complete(0)};
}

// Carries a request out and gives the driver's status word.
std::uint32_t Board::run(Request request, Words& words) {
  switch (request) {
    case Request::readRegister:
      words[Word::registerValue] = registers_.read(words[Word::registerAddress]);
      break;
    case Request::writeRegister:
      registers_.write(words[Word::registerAddress], words[Word::registerValue]);
      break;
    case Request::lockMemory:
      regions_.push_back({words[Word::regionStart], words[Word::regionLength]});
      break;
    case Request::unlockMemory: return unlock({words[Word::regionStart], words[Word::regionLength]});
    case Request::stop:
      if (!faults_.defects().has(Defect::ignoredAbort)) engine_.stop();
      break;
    case Request::cancelInterval: engine_.cancelIntervals(); break;
    case Request::readSensor: return transferSensorWord(sensor_, faults_, false, words);
    case Request::writeSensor: return transferSensorWord(sensor_, faults_, true, words);
    case Request::readBlock: return transferSensorBlock(sensor_, faults_, false, words);
    case Request::writeBlock: return transferSensorBlock(sensor_, faults_, true, words);
    case Request::readLut: lut_.transfer(false, words); break;
    case Request::writeLut: lut_.transfer(true, words, faults_.defects().has(Defect::brokenLut)); break;
    case Request::capture:
    case Request::autoActual:
    case Request::interval: break;
  }
  return Status::success;
}

std::uint32_t Board::unlock(const Region& region) {
  const auto found = std::ranges::find(regions_, region);
  if (found == regions_.end()) {
    return faults_.defects().has(Defect::looseUnlock) ? Status::success : Status::notLocked;
  }
  regions_.erase(found);
  return Status::success;
}

// The Windows error of a record that makes no sense.
std::uint32_t Board::check(const Shape& shape, const Words& words) const {
  if (shape.data.countAt != 0) {
    const std::uint32_t count = words[shape.data.countAt];
    return count == 0 || count > blockWords ? ERROR_INVALID_PARAMETER : 0;
  }
  if (shape.request != Request::capture) return 0;
  const std::uint32_t mode = words[Word::captureMode];
  const bool isGood = words[Word::captureBuffer] != 0 && words[Word::captureLength] != 0 &&
                      words[Word::captureOne] == 1 && (mode == Mode::oneShot || mode == Mode::multiShot);
  return isGood ? 0 : ERROR_INVALID_PARAMETER;
}

}  // namespace sim::pcie
