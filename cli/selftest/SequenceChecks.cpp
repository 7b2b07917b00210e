// Frame after frame: counted, endless, through a ring, an array, the board's memory; and what is told of
// drops.
#include <cstdint>
#include <span>
#include <vector>

#include "cli/selftest/Check.h"
#include "cli/selftest/Frames.h"
#include "cli/selftest/Rig.h"

namespace cli::selftest {

namespace {

constexpr std::uint32_t manyFrames = 30;

void counted(Rig& rig) {
  rig.stream();
  expectSequence(rig, captureCounted(rig, 12));
}

void ring(Rig& rig) {
  rig.stream();
  expectSequence(rig, captureThrough(rig, Buffers::ring, manyFrames));
}

void array(Rig& rig) {
  rig.stream();
  expectSequence(rig, captureThrough(rig, Buffers::array, manyFrames));
}

// One buffer over and over: frames go on coming until the abort.
void endless(Rig& rig) {
  rig.stream();
  const std::uint32_t bytes = rig.layout().bytes;
  CaptureMemory& capture = rig.newCapture(bytes, 2);
  expectOk("kVexaMultiShotCaptureEx",
           kVexaMultiShotCaptureEx(rig.board(), bytes, 0, capture.frames.data(), Rig::patience,
                                   capture.handles[0], capture.handles[1], &capture.result));
  unsigned seen = 0;
  while (seen < manyFrames && rig.pace().wait(capture.handles[0], Rig::patience)) {
    capture.events[0].reset();
    ++seen;
  }
  const std::int32_t aborted = kVexaAbortCapture(rig.board());
  expectEqual("frames of an endless capture:", manyFrames, seen);
  expectOk("kVexaAbortCapture", aborted);
  expect(rig.pace().wait(capture.handles[1], Rig::patience), "the end event behind the abort", "none");
  if (rig.isUsb()) expectResult("the capture", KVEXA_ABORTED, capture.result);
  capture.isOver = rig.isUsb() || capture.result == KVEXA_OK;
}

// Ends a call that waits without limit.
class Rescue {
 public:
  Rescue(const Rig& rig, DWORD milliseconds)
      : rig_(rig), thread_(rig.pace(), [this, milliseconds] {
          if (!rig_.pace().wait(over_.get(), milliseconds)) kVexaAbortCapture(rig_.board());
        }) {}
  ~Rescue() { rig_.pace().set(over_.get()); }
  Rescue(const Rescue&) = delete;
  Rescue& operator=(const Rescue&) = delete;

 private:
  const Rig& rig_;
  kvexa::Event over_;
  Pace::Thread thread_;  // ends before the event
};

void storage(Rig& rig) {
  rig.stream();
  constexpr std::uint32_t frames = 8;
  const std::uint32_t bytes = rig.layout().bytes;
  CaptureMemory& capture = rig.newCapture(std::size_t{bytes} * frames + guardBytes, 0, guardMark);
  std::int32_t result = KVEXA_OK;
  {
    const Rescue rescue(rig, 3 * Rig::patience);
    result = kVexaMultiShotStorage(rig.board(), bytes, frames, capture.frames.data(), Rig::patience);
  }
  capture.isOver = true;
  expectOk("kVexaMultiShotStorage within " + std::to_string(3 * Rig::patience) + " ms", result);
  const std::span<const std::uint8_t> memory(capture.frames);
  std::vector<Arrival> seen;
  for (std::uint32_t i = 0; i < frames; ++i) {
    seen.push_back(arrivalOf(rig, memory.subspan(std::size_t{i} * bytes, bytes), 0));
  }
  expectNumbers(rig, seen);
  expect(isMarked(memory.last(guardBytes)), "nothing behind the stored frames", "bytes that changed there");
}

// An array capture whose reader sleeps, so that the board's memory fills up.
class SleepyReader {
 public:
  explicit SleepyReader(const Rig& rig)
      : rig_(rig), bytes_(rig.layout().bytes), capture_(rig.newCapture(std::size_t{bytes_} * 2, 3)) {
    const double period = rig.framePeriod();
    constexpr double mebibyte = 1048576.0;
    constexpr double boardFrames = 3.2;
    expectOk("kVexaSetBufSize", kVexaSetBufSize(rig.board(), boardFrames * bytes_ / mebibyte));
    capture_.buffers = {capture_.frames.data(), capture_.frames.data() + bytes_};
    expectOk("kVexaMultiShotCapArrayStart",
             kVexaMultiShotCapArrayStart(rig.board(), bytes_, 2, capture_.buffers.data(), timeout,
                                         capture_.handles.data(), &capture_.result));
    rig.pace().sleep(static_cast<DWORD>(12 * period));
  }
  ~SleepyReader() {
    kVexaMultiShotCapArrayStop(rig_.board());
    capture_.isOver = rig_.pace().wait(capture_.handles[2], Rig::patience);
  }
  SleepyReader(const SleepyReader&) = delete;
  SleepyReader& operator=(const SleepyReader&) = delete;

  // The numbers of the frames that come until none does.
  std::vector<std::uint32_t> numbers() {
    std::vector<std::uint32_t> all;
    constexpr std::size_t most = 40;
    while (all.size() < most && rig_.pace().wait(capture_.handles[all.size() % 2], timeout + 100)) {
      const std::size_t index = all.size() % 2;
      all.push_back(
          drawnNumber(std::span<const std::uint8_t>(capture_.frames).subspan(index * bytes_, bytes_)));
      capture_.events[index].reset();
    }
    return all;
  }

 private:
  static constexpr std::uint32_t timeout = 500;

  const Rig& rig_;
  std::uint32_t bytes_;
  CaptureMemory& capture_;
};

void dropReport(Rig& rig) {
  rig.stream();
  expectEqual(
      "kVexaIsDropFrame of frames that are all read to give", 0,
      (captureThrough(rig, Buffers::array, 10), static_cast<std::uint32_t>(kVexaIsDropFrame(rig.board()))));
  const SleepyReader reader(rig);
  expectEqual("kVexaIsDropFrame of a capture that nobody reads to give", 1,
              static_cast<std::uint32_t>(kVexaIsDropFrame(rig.board())));
}

// In frame-drop mode the first frame that finds no room ends the capture.
void frameDropMode(Rig& rig) {
  rig.stream();
  expectOk("kVexaFrmDropStop", kVexaFrmDropStop(rig.board(), 1));
  std::vector<std::uint32_t> numbers;
  {
    SleepyReader reader(rig);
    numbers = reader.numbers();
  }
  expectOk("kVexaFrmDropStop", kVexaFrmDropStop(rig.board(), 0));
  constexpr std::size_t most = 8;
  expect(!numbers.empty() && numbers.size() <= most, "2 to 8 frames, and then the end of the capture",
         std::to_string(numbers.size()));
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    expectBehind(numbers[i - 1], 1U + rig.sensor().parameters->FRMSKP, numbers[i]);
  }
}

constexpr Check checks[] = {
    {"counted", bothBoards, writes | frames, counted},
    {"endless", bothBoards, writes | frames, endless},
    {"ring", usbOnly, writes | frames, ring},
    {"array", usbOnly, writes | frames, array},
    {"storage", usbOnly, writes | frames, storage},
    {"drop-report", usbOnly, writes | frames, dropReport},
    {"frame-drop-mode", usbOnly, writes | frames | numbers, frameDropMode},
};

}  // namespace

std::span<const Check> sequenceChecks() { return checks; }

}  // namespace cli::selftest
