// Frame after frame: counted, endless, through a ring, an array, the board's memory; and what is told of
// drops.
#include <algorithm>
#include <atomic>
#include <vector>

#include "selftest/Check.h"
#include "selftest/Frames.h"
#include "selftest/Rig.h"

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
  std::vector<std::uint8_t> memory(bytes);
  const kvexa::Event frame;
  const kvexa::Event end;
  std::int32_t result = KVEXA_OK;
  expectOk("kVexaMultiShotCaptureEx",
           kVexaMultiShotCaptureEx(rig.board(), bytes, 0, memory.data(), Rig::patience, frame.get(),
                                   end.get(), &result));
  unsigned seen = 0;
  while (seen < manyFrames && rig.pace().wait(frame.get(), Rig::patience)) {
    frame.reset();
    ++seen;
  }
  const std::int32_t aborted = kVexaAbortCapture(rig.board());
  expectEqual("frames of an endless capture", manyFrames, seen);
  expectOk("kVexaAbortCapture", aborted);
  expect(rig.pace().wait(end.get(), Rig::patience), "the end event behind the abort", "none");
  if (rig.isUsb()) expectResult("the capture", KVEXA_ABORTED, result);
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
  std::vector<std::uint8_t> memory(std::size_t{bytes} * frames + guardBytes, guardMark);
  std::int32_t result = KVEXA_OK;
  {
    const Rescue rescue(rig, 3 * Rig::patience);
    result = kVexaMultiShotStorage(rig.board(), bytes, frames, memory.data(), Rig::patience);
  }
  expectOk("kVexaMultiShotStorage within " + std::to_string(3 * Rig::patience) + " ms", result);
  std::vector<Arrival> seen;
  for (std::uint32_t i = 0; i < frames; ++i) {
    const auto begin = memory.begin() + static_cast<std::ptrdiff_t>(std::size_t{i} * bytes);
    Arrival frame{0, 0, {begin, begin + static_cast<std::ptrdiff_t>(bytes)}};
    if (showsNumbers(rig, *rig.sensor().parameters)) frame.number = drawnNumber(frame.bytes);
    seen.push_back(std::move(frame));
  }
  expectNumbers(rig, seen);
  const bool isGuarded = std::all_of(memory.end() - guardBytes, memory.end(),
                                     [](std::uint8_t byte) { return byte == guardMark; });
  expect(isGuarded, "nothing behind the stored frames", "bytes that changed there");
}

// An array capture whose reader sleeps, so that the board's memory fills up.
class SleepyReader {
 public:
  explicit SleepyReader(const Rig& rig)
      : rig_(rig), bytes_(rig.layout().bytes), memory_(2, std::vector<std::uint8_t>(bytes_)), events_(3) {
    const double period = rig.framePeriod();
    constexpr double mebibyte = 1048576.0;
    constexpr double boardFrames = 3.2;
    expectOk("kVexaSetBufSize", kVexaSetBufSize(rig.board(), boardFrames * bytes_ / mebibyte));
    for (auto& each : memory_) buffers_.push_back(each.data());
    for (const auto& each : events_) handles_.push_back(each.get());
    expectOk("kVexaMultiShotCapArrayStart",
             kVexaMultiShotCapArrayStart(rig.board(), bytes_, 2, buffers_.data(), timeout, handles_.data(),
                                         &result_));
    rig.pace().sleep(static_cast<DWORD>(12 * period));
  }
  ~SleepyReader() { kVexaMultiShotCapArrayStop(rig_.board()); }
  SleepyReader(const SleepyReader&) = delete;
  SleepyReader& operator=(const SleepyReader&) = delete;

  // The numbers of the frames that come until none does.
  std::vector<std::uint32_t> numbers() {
    std::vector<std::uint32_t> all;
    constexpr std::size_t most = 40;
    while (all.size() < most && rig_.pace().wait(handles_[all.size() % 2], timeout + 100)) {
      const std::size_t index = all.size() % 2;
      all.push_back(drawnNumber(memory_[index]));
      events_[index].reset();
    }
    return all;
  }

 private:
  static constexpr std::uint32_t timeout = 500;

  const Rig& rig_;
  std::uint32_t bytes_;
  std::vector<std::vector<std::uint8_t>> memory_;
  std::vector<kvexa::Event> events_;
  std::vector<void*> buffers_;
  std::vector<void*> handles_;
  std::int32_t result_ = KVEXA_OK;
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
    expectEqual("in frame-drop mode behind frame " + std::to_string(numbers[i - 1]) + " frame",
                std::uint64_t{numbers[i - 1]} + 1 + rig.sensor().parameters->FRMSKP, numbers[i]);
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
