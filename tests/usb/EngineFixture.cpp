#include "tests/usb/EngineFixture.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "tests/support/HandleCount.h"

namespace kvexa::test {

namespace {

template <class Key>
std::string nameIn(const std::vector<std::pair<Key, std::string>>& names, Key key) {
  for (const auto& [named, name] : names) {
    if (named == key) return name;
  }
  return "unnamed";
}

// What else the library waits for are its own events.
bool isThread(HANDLE object) { return GetThreadId(object) != 0; }

}  // namespace

Event::Event() : handle_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {}
Event::~Event() { CloseHandle(handle_); }
bool Event::isSet() const { return WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0; }
void Event::set() const { setEvent(handle_); }
bool Event::await() const { return test::await(handle_); }

void EngineFixture::SetUp() {
  CaptureFixture::SetUp();
  stream(width, height);
  writeSensor(sim::SensorRegister::frameCounter, 1);
  calls.beforeRead = [this](const FrameRead& read) { noteRead(read); };
  calls.onSignal = [this](HANDLE event) { return noteSignal(event), true; };
  calls.onWait = [this](HANDLE object, DWORD milliseconds) {
    return isThread(object) ? noteWait(milliseconds) : std::nullopt;
  };
  calls.onWorkerStart = [this] {
    if (startIsHeld_.exchange(false)) passGate();
  };
  nameEvent(frameEvent.get(), "frame");
  nameEvent(endEvent.get(), "end");
}

void EngineFixture::TearDown() {
  release();
  join();
  CaptureFixture::TearDown();
}

// The number is a row of squares of black and white, the most significant bit first.
std::uint32_t EngineFixture::numberOf(const std::uint8_t* frame) {
  std::uint32_t number = 0;
  for (unsigned cell = 0; cell < sim::FrameCounter::cells; ++cell) {
    number = number << 1 | (frame[cell * sim::FrameCounter::cellSize] >> 7);
  }
  return number;
}

void EngineFixture::holdWorkerStart() {
  gate_.reset();
  arrived_.reset();
  startIsHeld_ = true;
}

void EngineFixture::holdRead(unsigned k) {
  gate_.reset();
  arrived_.reset();
  readsToGate_ = static_cast<int>(k);
}

void EngineFixture::awaitHeld() { ASSERT_TRUE(arrived_.await()) << "the worker does not come"; }

// A worker that does not end would use what the test is about to destroy: there is no going on.
void EngineFixture::join() {
  if (calls.joinWorkers()) return;
  ADD_FAILURE() << "a worker does not end";
  std::abort();
}

std::string EngineFixture::log() {
  const std::lock_guard lock(mutex_);
  return std::exchange(log_, {});
}

std::string EngineFixture::line(const std::string& what, std::int32_t result) {
  return what + ":" + std::to_string(result) + "\n";
}

void EngineFixture::nameEvent(HANDLE event, const std::string& name) { events_.emplace_back(event, name); }

void EngineFixture::nameBuffer(const std::uint8_t* address, const std::string& name) {
  buffers_.emplace_back(address, name);
}

std::vector<DWORD> EngineFixture::waits() {
  const std::lock_guard lock(mutex_);
  return std::exchange(waits_, {});
}

void EngineFixture::expectWorkingBoard() {
  board.faults().clear();
  std::vector<std::uint8_t> frame(frameBytes, mark);
  EXPECT_EQ(KVEXA_OK, kVexaOneShotCapture(&handle, frameBytes, frame.data(), timeout));
  EXPECT_TRUE(isFrame(frame.data(), numberOf(frame.data())));
  machine.trace().take();
  log();
}

void EngineFixture::expectHandles(unsigned before) {
  constexpr unsigned locks = 3;
  EXPECT_LE(processHandleCount(), before + locks);
}

bool EngineFixture::isFrame(const std::uint8_t* bytes, std::uint32_t number) const {
  const auto frame = board.frameBytes(number);
  return frame.size() == frameBytes && std::equal(frame.begin(), frame.end(), bytes);
}

void EngineFixture::passGate() {
  arrived_.set();
  EXPECT_TRUE(gate_.await()) << "nobody releases the worker";
}

void EngineFixture::noteRead(const FrameRead& read) {
  {
    const std::lock_guard lock(mutex_);
    log_ += line("read " + nameIn<const std::uint8_t*>(buffers_, read.address), word);
  }
  if (readsToGate_ >= 0 && readsToGate_-- == 0) passGate();
}

void EngineFixture::noteSignal(HANDLE event) {
  const std::lock_guard lock(mutex_);
  const bool isCallers =
      std::ranges::any_of(events_, [&](const auto& named) { return named.first == event; });
  if (isCallers) log_ += line(nameIn(events_, event), word);
}

std::optional<DWORD> EngineFixture::noteWait(DWORD milliseconds) {
  {
    const std::lock_guard lock(mutex_);
    waits_.push_back(milliseconds);
  }
  if (failWaits_) return WAIT_TIMEOUT;
  release();
  return std::nullopt;
}

std::string holdAndFlush(unsigned control) {
  return boardRead(0x0104) + boardWrite(0x0104, control | 2U) + command(1);
}

std::string releaseHold(unsigned control) { return boardRead(0x0104) + boardWrite(0x0104, control & ~2U); }

std::string workerStop(unsigned control) {
  return boardWrite(0x0102, 1) + simpleWrite(2, 0) + holdAndFlush(control);
}

std::string abortTransfers(unsigned control) {
  return boardWrite(0x0102, 0) + simpleWrite(2, 0) + boardRead(0x0104) + boardWrite(0x0104, control | 2U) +
         statusReading() + command(1) + statusReading();
}

}  // namespace kvexa::test
