#include "cli/selftest/Frames.h"

#include <algorithm>
#include <cmath>

namespace cli::selftest {

namespace {

constexpr unsigned cells = 32;
constexpr unsigned cellSize = 4;

[[noreturn]] void missed(const Rig& rig, std::size_t frames, std::size_t wanted, std::int32_t result) {
  kVexaAbortCapture(rig.board());
  throw Departure(std::to_string(wanted) + " frames", std::to_string(frames) + ", then none within " +
                                                          std::to_string(Rig::patience) + " ms and result " +
                                                          resultText(result));
}

// The picture without the row of cells in which the number stands.
bool isSamePicture(const kvexa::FrameLayout& layout, const Arrival& one, const Arrival& other) {
  const std::size_t row = std::size_t{layout.width} * layout.unit;
  const std::size_t begin = std::min(row * cellSize, one.bytes.size());
  return one.bytes.size() == other.bytes.size() &&
         std::equal(one.bytes.begin() + static_cast<std::ptrdiff_t>(begin), one.bytes.end(),
                    other.bytes.begin() + static_cast<std::ptrdiff_t>(begin));
}

std::string placeOfDifference(const kvexa::FrameLayout& layout, const Arrival& one, const Arrival& other) {
  const std::size_t row = std::size_t{layout.width} * layout.unit;
  std::size_t at = std::min(row * cellSize, one.bytes.size());
  while (at < one.bytes.size() && one.bytes[at] == other.bytes[at]) ++at;
  return "column " + std::to_string(at % row / layout.unit) + ", line " + std::to_string(at / row);
}

}  // namespace

bool showsNumbers(const Rig& rig, const CapParam& parameters) {
  const kvexa::FrameLayout layout = rig.layoutOf(parameters);
  return rig.sensor().drawsNumbers && layout.unit == 1 && layout.width >= cells * cellSize &&
         parameters.HOFF == 0 && parameters.VOFF == 0 && parameters.HREDUCT == 0;
}

std::uint32_t drawnNumber(std::span<const std::uint8_t> frame) {
  std::uint32_t number = 0;
  for (unsigned cell = 0; cell < cells; ++cell) number = number << 1 | frame[cell * cellSize] >> 7;
  return number;
}

Arrival arrivalOf(const Rig& rig, std::span<const std::uint8_t> bytes, std::uint64_t at) {
  Arrival arrival{at, 0, {bytes.begin(), bytes.end()}};
  if (showsNumbers(rig, *rig.sensor().parameters)) arrival.number = drawnNumber(arrival.bytes);
  return arrival;
}

bool isMarked(std::span<const std::uint8_t> bytes) {
  return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == guardMark; });
}

std::vector<Arrival> captureCounted(const Rig& rig, std::uint32_t frames) {
  const std::uint32_t bytes = rig.layout().bytes;
  const std::uint32_t stride = bytes / 4 * 4;
  // A USB board's worker reads one frame more than it was asked for.
  const std::size_t room = std::size_t{stride} * (rig.isUsb() ? frames + 1 : frames);
  CaptureMemory& capture = rig.newCapture(room + guardBytes, 2, guardMark);
  expectOk("kVexaMultiShotCaptureEx",
           kVexaMultiShotCaptureEx(rig.board(), bytes, frames, capture.frames.data(), Rig::patience,
                                   capture.handles[0], capture.handles[1], &capture.result));
  std::vector<std::uint64_t> moments;
  while (moments.size() < frames && rig.pace().wait(capture.handles[0], Rig::patience)) {
    capture.events[0].reset();
    moments.push_back(rig.pace().now());
  }
  if (moments.size() < frames) missed(rig, moments.size(), frames, capture.result);
  const bool ended = rig.pace().wait(capture.handles[1], Rig::patience);
  const std::int32_t atEnd = capture.result;
  expectOk("kVexaAbortCapture", kVexaAbortCapture(rig.board()));
  expect(ended, "the end of a counted capture", "none within " + std::to_string(Rig::patience) + " ms");
  // On a USB board the word says busy while the frame more is on its way.
  if (!rig.isUsb()) expectResult("a counted capture", KVEXA_OK, atEnd);
  capture.isOver = true;
  const std::span<const std::uint8_t> memory(capture.frames);
  expect(isMarked(memory.last(guardBytes)), "nothing behind the frames", "bytes that changed there");
  std::vector<Arrival> seen;
  for (std::uint32_t i = 0; i < frames; ++i) {
    seen.push_back(arrivalOf(rig, memory.subspan(std::size_t{i} * stride, stride), moments[i]));
  }
  return seen;
}

std::vector<Arrival> captureThrough(const Rig& rig, Buffers kind, std::uint32_t frames) {
  constexpr std::size_t ringSize = 4;
  constexpr double boardMemory = 8.0;
  const std::uint32_t bytes = rig.layout().bytes;
  const std::size_t room = std::size_t{bytes} + guardBytes;
  CaptureMemory& capture = rig.newCapture(room * ringSize, ringSize + 1, guardMark);
  for (std::size_t i = 0; i < ringSize; ++i) capture.buffers.push_back(&capture.frames[i * room]);
  const bool isArray = kind == Buffers::array;
  if (isArray) expectOk("kVexaSetBufSize", kVexaSetBufSize(rig.board(), boardMemory));
  const auto start = isArray ? kVexaMultiShotCapArrayStart : kVexaMultiShotCaptureArratEx;
  expectOk(isArray ? "kVexaMultiShotCapArrayStart" : "kVexaMultiShotCaptureArratEx",
           start(rig.board(), bytes, ringSize, capture.buffers.data(), Rig::patience, capture.handles.data(),
                 &capture.result));
  std::vector<Arrival> seen;
  bool isGuarded = true;
  while (seen.size() < frames && rig.pace().wait(capture.handles[seen.size() % ringSize], Rig::patience)) {
    const std::size_t index = seen.size() % ringSize;
    const auto memory = std::span<const std::uint8_t>(capture.frames).subspan(index * room, room);
    isGuarded = isGuarded && isMarked(memory.last(guardBytes));
    seen.push_back(arrivalOf(rig, memory.first(bytes), rig.pace().now()));
    capture.events[index].reset();
  }
  const bool dropped = kVexaIsDropFrame(rig.board()) != 0;
  const std::int32_t stopped =
      isArray ? kVexaMultiShotCapArrayStop(rig.board()) : kVexaAbortCapture(rig.board());
  const bool ended = rig.pace().wait(capture.handles[ringSize], Rig::patience * 4);
  if (seen.size() < frames) missed(rig, seen.size(), frames, capture.result);
  expect(ended, "the end of the capture", "none within " + std::to_string(Rig::patience * 4) + " ms");
  capture.isOver = true;
  expectOk(isArray ? "kVexaMultiShotCapArrayStop" : "kVexaAbortCapture", stopped);
  expectResult("the capture", isArray ? KVEXA_OK : KVEXA_ABORTED, capture.result);
  expect(isGuarded, "nothing behind the frames", "bytes that changed there");
  expect(!dropped, "no report of dropped frames", "one");
  return seen;
}

void expectBehind(std::uint32_t before, std::uint32_t step, std::uint32_t found) {
  expect(found == before + step,
         "frame " + std::to_string(before + step) + " behind frame " + std::to_string(before),
         "frame " + std::to_string(found));
}

void expectNumbers(const Rig& rig, const std::vector<Arrival>& frames) {
  if (!showsNumbers(rig, *rig.sensor().parameters)) return;
  const std::uint32_t step = rig.sensor().parameters->FRMSKP + 1U;
  for (std::size_t i = 1; i < frames.size(); ++i) {
    expectBehind(frames[i - 1].number, step, frames[i].number);
  }
}

void expectSequence(const Rig& rig, const std::vector<Arrival>& frames) {
  expectNumbers(rig, frames);
  constexpr double mostPeriods = 1.4;
  const double period = rig.framePeriod() * (rig.sensor().parameters->FRMSKP + 1);
  for (std::size_t i = 1; i < frames.size(); ++i) {
    const double milliseconds = static_cast<double>(frames[i].at - frames[i - 1].at) / 1000.0;
    expect(milliseconds <= mostPeriods * period,
           "a frame every " + std::to_string(std::lround(period)) + " ms",
           std::to_string(std::lround(milliseconds)) + " ms in front of frame " + std::to_string(i));
  }
  if (!rig.sensor().standsStill) return;
  const kvexa::FrameLayout layout = rig.layout();
  for (std::size_t i = 1; i < frames.size(); ++i) {
    expect(isSamePicture(layout, frames[0], frames[i]), "the same picture in every frame",
           "another one in frame " + std::to_string(i) + " at " +
               placeOfDifference(layout, frames[0], frames[i]));
  }
}

}  // namespace cli::selftest
