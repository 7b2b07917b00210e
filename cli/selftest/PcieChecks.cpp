// What PCIe boards alone have: locked memory, the look-up table, intervals, one capture at a time.
#include <windows.h>

#include <cstdint>
#include <span>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::int32_t notLocked = 0x3000;

void memoryLock(Rig& rig) {
  std::vector<std::uint8_t> memory(65536);
  const auto start = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(memory.data()));
  const auto length = static_cast<std::uint32_t>(memory.size());
  expectOk("kVexaLockMemory", kVexaLockMemory(rig.board(), start, length));
  expectOk("kVexaUnlockMemory", kVexaUnlockMemory(rig.board(), start, length));
  expectResult("kVexaUnlockMemory of memory that is not locked", notLocked,
               kVexaUnlockMemory(rig.board(), start, length));
}

std::vector<std::uint32_t> table(const Rig& rig, std::uint32_t words) {
  std::vector<std::uint32_t> read(words);
  expectOk("kDBGLutDataRead", kDBGLutDataRead(rig.board(), words, read.data()));
  return read;
}

// Blocks of 4096 words follow one another, and one that is not full ends the transfer.
void lookUpTable(Rig& rig) {
  constexpr std::uint32_t words = 3 * 4096 + 100;
  const std::vector<std::uint32_t> before = table(rig, words);
  std::vector<std::uint32_t> written(words);
  for (std::uint32_t i = 0; i < words; ++i) written[i] = i * 2654435761U;
  expectOk("kDBGLutDataWrite", kDBGLutDataWrite(rig.board(), words, written.data()));
  const std::vector<std::uint32_t> read = table(rig, words);
  expectOk("kDBGLutDataWrite", kDBGLutDataWrite(rig.board(), words, before.data()));
  for (std::uint32_t i = 0; i < words; ++i) {
    expect(written[i] == read[i],
           "word " + std::to_string(i) + " of the look-up table as " + hex(written[i], 8), hex(read[i], 8));
  }
}

void acknowledgeWait(Rig& rig) {
  constexpr std::uint32_t waitRegister = 0x11C;
  constexpr std::uint32_t longest = 2550;
  const Kept kept(rig, waitRegister);
  expectOk("kVexaSetI2Cspeed", kVexaSetI2Cspeed(rig.board(), 0));
  expectOk("kVexaSetWaitAckTimes", kVexaSetWaitAckTimes(rig.board(), longest));
  const std::uint32_t atLongest = rig.boardRegister(waitRegister);
  expectResult("kVexaSetWaitAckTimes beyond the longest time", KVEXA_BAD_ARGUMENT,
               kVexaSetWaitAckTimes(rig.board(), longest + 1));
  expectHex("as the acknowledge wait still", atLongest, rig.boardRegister(waitRegister));
  expectOk("kVexaSetWaitAckTimes", kVexaSetWaitAckTimes(rig.board(), 0));
  expect(rig.boardRegister(waitRegister) != atLongest, "the acknowledge wait to change with the time",
         "the same register");
}

// A capture without end, for as long as it lives.
class Running {
 public:
  explicit Running(const Rig& rig) : rig_(rig), capture_(rig.newCapture(rig.layout().bytes, 1)) {
    const auto bytes = static_cast<std::uint32_t>(capture_.frames.size());
    expectOk("kVexaMultiShotCaptureEx",
             kVexaMultiShotCaptureEx(rig.board(), bytes, 0, capture_.frames.data(), Rig::patience, nullptr,
                                     capture_.handles[0], &capture_.result));
    // The worker sends its request on a thread of its own.
    rig.pace().sleep(1);
  }
  ~Running() {
    kVexaAbortCapture(rig_.board());
    capture_.isOver = rig_.pace().isSet(capture_.handles[0]) && capture_.result == KVEXA_OK;
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  const Rig& rig_;
  CaptureMemory& capture_;
};

// The request to the driver, which is its own until it is over or cancelled.
class Interval {
 public:
  explicit Interval(const Rig& rig) : rig_(rig), memory_(rig.newCapture(0, 1)) {
    memory_.overlapped.hEvent = memory_.handles[0];
  }

  void start() const {
    memory_.events[0].reset();
    expectOk("kVexaWaitInterval", kVexaWaitInterval(rig_.board(), &memory_.overlapped));
  }
  bool passes(double milliseconds) const {
    return rig_.pace().wait(memory_.handles[0], static_cast<DWORD>(milliseconds));
  }
  void forget() const { memory_.events[0].reset(); }

 private:
  const Rig& rig_;
  CaptureMemory& memory_;
};

void intervals(Rig& rig) {
  rig.stream();
  const double period = rig.framePeriod();
  expectOk("kVexaSetWaitIntervalParam", kVexaSetWaitIntervalParam(rig.board(), rig.layout().bytes));
  const Interval interval(rig);
  const Running capture(rig);
  for (unsigned i = 0; i < 5; ++i) {
    interval.start();
    const bool passed = interval.passes(3 * period);
    if (!passed) kVexaCancelInterval(rig.board());
    expect(passed, "an interval to pass within three frames", "none");
    interval.forget();
    expect(!interval.passes(2.5 * period), "an interval to be told once", "it told again");
  }
}

void intervalCancelled(Rig& rig) {
  rig.powerUp();
  expectOk("kVexaSetWaitIntervalParam", kVexaSetWaitIntervalParam(rig.board(), rig.layout().bytes));
  const Interval interval(rig);
  interval.start();
  expect(!interval.passes(100), "no interval while nothing is captured", "one");
  expectOk("kVexaCancelInterval", kVexaCancelInterval(rig.board()));
  expect(interval.passes(Rig::patience), "an interval that is cancelled to end", "it still waits");
}

void oneAtATime(Rig& rig) {
  rig.stream();
  std::vector<std::uint8_t> frame(rig.layout().bytes);
  const Running capture(rig);
  expectResult("kVexaOneShotCapture while another capture runs", KVEXA_DRIVER_1001,
               kVexaOneShotCapture(rig.board(), rig.layout().bytes, frame.data(), Rig::patience));
}

void multiShot2(Rig& rig) {
  rig.stream();
  constexpr std::uint32_t frames = 6;
  const std::uint32_t bytes = rig.layout().bytes;
  CaptureMemory& capture = rig.newCapture(std::size_t{bytes} * frames, 1);
  expectOk("kVexaMultiShotCapture2",
           kVexaMultiShotCapture2(rig.board(), bytes, frames, 0, capture.frames.data(), Rig::patience,
                                  nullptr, capture.handles[0], &capture.result));
  const bool ended = rig.pace().wait(capture.handles[0], 2 * Rig::patience);
  kVexaAbortCapture(rig.board());
  expect(ended, "the end of a counted capture", "none");
  expectResult("the capture", KVEXA_OK, capture.result);
  capture.isOver = true;
  std::vector<Arrival> seen;
  for (std::uint32_t i = 0; i < frames; ++i) {
    seen.push_back(arrivalOf(
        rig, std::span<const std::uint8_t>(capture.frames).subspan(std::size_t{i} * bytes, bytes), 0));
  }
  expectNumbers(rig, seen);
}

constexpr Check checks[] = {
    {"memory-lock", pcieOnly, nothing, memoryLock},
    {"look-up-table", pcieOnly, writes, lookUpTable},
    {"acknowledge-wait", pcieOnly, writes, acknowledgeWait},
    {"intervals", pcieOnly, writes | frames, intervals},
    {"interval-cancelled", pcieOnly, writes | frames, intervalCancelled},
    {"one-capture-at-a-time", pcieOnly, writes | frames, oneAtATime},
    {"multi-shot-2", pcieOnly, writes | frames, multiShot2},
};

}  // namespace

std::span<const Check> pcieChecks() { return checks; }

}  // namespace cli::selftest
