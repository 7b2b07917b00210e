// How captures end: aborted at any moment, timed out, and started and stopped a hundred times.
#include <algorithm>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t usbModeRegister = 0x0102;

std::string milliseconds(std::uint64_t time) { return std::to_string(time) + " ms"; }

// An endless capture into one buffer.
struct Endless {
  explicit Endless(const Rig& rig) : memory(rig.newCapture(rig.layout().bytes, 2)) {
    expectOk("kVexaMultiShotCaptureEx",
             kVexaMultiShotCaptureEx(rig.board(), static_cast<std::uint32_t>(memory.frames.size()), 0,
                                     memory.frames.data(), timeout, frame(), end(), &memory.result));
  }

  HANDLE frame() const { return memory.handles[0]; }
  HANDLE end() const { return memory.handles[1]; }

  static constexpr std::uint32_t timeout = 1000;

  CaptureMemory& memory;
};

// What must hold once a capture has been aborted.
void expectEnded(const Rig& rig, const Endless& capture, double period, const std::string& when) {
  expect(rig.pace().wait(capture.end(), 2 * Endless::timeout + 500), "the end event behind an abort " + when,
         "none");
  if (rig.isUsb())
    expectHex("as the capture mode behind an abort " + when, 0, rig.boardRegister(usbModeRegister));
  std::ranges::fill(capture.memory.frames, guardMark);
  rig.pace().sleep(static_cast<DWORD>(3 * period));
  expect(isMarked(capture.memory.frames), "no frame behind an abort " + when, "one");
  capture.memory.isOver = true;
}

void aborts(Rig& rig) {
  rig.stream();
  const double period = rig.framePeriod();
  for (const double part : {0.0, 0.1, 0.5, 0.97, 1.0, 1.03, 2.0, 3.4}) {
    const auto moment = static_cast<DWORD>(part * period);
    const std::string when = milliseconds(moment) + " behind the start";
    const Endless capture(rig);
    rig.pace().sleep(moment);
    const std::uint64_t begin = rig.pace().now();
    const std::int32_t aborted = kVexaAbortCapture(rig.board());
    const std::uint64_t lasted = (rig.pace().now() - begin) / 1000;
    // The memory is the capture's until it has ended.
    expectEnded(rig, capture, period, when);
    expectOk("kVexaAbortCapture " + when, aborted);
    const auto longest = static_cast<std::uint64_t>(3 * period) + 100;
    expect(lasted <= longest, "an abort " + when + " within " + milliseconds(longest), milliseconds(lasted));
  }
}

void captureBehindAbort(Rig& rig) {
  rig.stream();
  for (unsigned i = 0; i < 3; ++i) {
    {
      const Endless capture(rig);
      rig.pace().sleep(70);
      expectOk("kVexaAbortCapture", kVexaAbortCapture(rig.board()));
      expect(rig.pace().wait(capture.end(), 2 * Endless::timeout + 500), "the end event behind an abort",
             "none");
      capture.memory.isOver = rig.isUsb() || capture.memory.result == KVEXA_OK;
    }
    const auto frame = rig.oneShot(rig.layout().bytes, guardMark);
    expect(!isMarked(frame), "a frame behind an abort", "none");
  }
}

void abortOfNothing(Rig& rig) {
  expectOk("kVexaAbortCapture while nothing runs", kVexaAbortCapture(rig.board()));
}

// A USB board's frame comes in reads of 1 MiB and one for the rest, which share the time among the whole
// ones.
std::uint32_t timeoutOf(const Rig& rig, std::uint32_t bytes, std::uint32_t timeout) {
  constexpr std::uint32_t oneRead = 1U << 20;
  if (!rig.isUsb() || bytes <= oneRead) return timeout;
  const std::uint32_t whole = bytes / oneRead;
  return timeout / whole * (whole + (bytes % oneRead != 0 ? 1 : 0));
}

void expectLasted(std::uint64_t lasted, std::uint32_t timeout) {
  const std::uint32_t longest = timeout + timeout / 2 + 100;
  expect(lasted + 1 >= timeout && lasted <= longest,
         "a time-out within " + milliseconds(timeout) + " to " + milliseconds(longest), milliseconds(lasted));
}

// The sensor answers, and sends no frames.
void oneShotTimeout(Rig& rig) {
  rig.powerUp();
  expectOk("kVexaSetCapParam", kVexaSetCapParam(rig.board(), &*rig.sensor().parameters));
  constexpr std::uint32_t timeout = 400;
  std::vector<std::uint8_t> frame(rig.layout().bytes, guardMark);
  const std::uint64_t begin = rig.pace().now();
  const std::int32_t result = kVexaOneShotCapture(rig.board(), rig.layout().bytes, frame.data(), timeout);
  const std::uint64_t lasted = (rig.pace().now() - begin) / 1000;
  expectResult("kVexaOneShotCapture while no frames come", rig.isUsb() ? KVEXA_OK : KVEXA_TIMED_OUT, result);
  expect(isMarked(frame), "no frame of a sensor that sends none", "one");
  expectLasted(lasted, timeoutOf(rig, rig.layout().bytes, timeout));
}

void countedTimeout(Rig& rig) {
  rig.powerUp();
  expectOk("kVexaSetCapParam", kVexaSetCapParam(rig.board(), &*rig.sensor().parameters));
  constexpr std::uint32_t timeout = 400;
  const std::uint32_t bytes = rig.layout().bytes;
  CaptureMemory& capture = rig.newCapture(std::size_t{bytes} * 2, 2, guardMark);
  const std::uint64_t begin = rig.pace().now();
  expectOk("kVexaMultiShotCaptureEx",
           kVexaMultiShotCaptureEx(rig.board(), bytes, 1, capture.frames.data(), timeout, capture.handles[0],
                                   capture.handles[1], &capture.result));
  const bool ended = rig.pace().wait(capture.handles[1], 6 * timeout);
  const std::uint64_t lasted = (rig.pace().now() - begin) / 1000;
  const std::int32_t atEnd = capture.result;
  kVexaAbortCapture(rig.board());
  capture.isOver = ended;
  expect(ended, "the end of a capture that gets no frames", "none");
  if (!rig.isUsb()) expectResult("the capture", KVEXA_TIMED_OUT, atEnd);
  expect(isMarked(capture.frames), "no frame of a sensor that sends none", "one");
  expectLasted(lasted, timeoutOf(rig, bytes, timeout));
}

void startsAndStops(Rig& rig) {
  rig.stream();
  constexpr unsigned rounds = 100;
  for (unsigned round = 0; round < rounds; ++round) {
    const std::string which = "in round " + std::to_string(round + 1);
    const Endless capture(rig);
    const bool came = rig.pace().wait(capture.frame(), Rig::patience);
    const std::int32_t aborted = kVexaAbortCapture(rig.board());
    const bool ended = rig.pace().wait(capture.end(), 2 * Endless::timeout + 500);
    capture.memory.isOver = ended && (rig.isUsb() || capture.memory.result == KVEXA_OK);
    expect(came, "a frame " + which, "none");
    expectOk("kVexaAbortCapture " + which, aborted);
    expect(ended, "the end event " + which, "none");
  }
}

constexpr Check checks[] = {
    {"aborts", bothBoards, writes | frames, aborts},
    {"capture-behind-abort", bothBoards, writes | frames, captureBehindAbort},
    {"abort-of-nothing", bothBoards, writes, abortOfNothing},
    {"one-shot-time-out", bothBoards, writes | frames, oneShotTimeout},
    {"counted-time-out", bothBoards, writes | frames, countedTimeout},
    {"starts-and-stops", bothBoards, writes | frames, startsAndStops},
};

}  // namespace

std::span<const Check> endingChecks() { return checks; }

}  // namespace cli::selftest
