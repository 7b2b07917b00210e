#include "selftest/Frames.h"

#include <algorithm>
#include <cstring>

namespace cli::selftest {

namespace {

constexpr unsigned cells = 32;
constexpr unsigned cellSize = 4;

struct Events {
  explicit Events(std::size_t count) : owned(count) {
    for (const kvexa::Event& each : owned) handles.push_back(each.get());
  }
  std::vector<kvexa::Event> owned;
  std::vector<void*> handles;
};

[[noreturn]] void missed(const Rig& rig, std::size_t frames, std::size_t wanted, std::int32_t result) {
  kVexaAbortCapture(rig.board());
  throw Departure(std::to_string(wanted) + " frames", std::to_string(frames) + ", then none within " +
                                                          std::to_string(Rig::patience) + " ms and result " +
                                                          resultText(result));
}

Arrival arrivalOf(const Rig& rig, std::vector<std::uint8_t> bytes, std::uint64_t at) {
  Arrival arrival{at, 0, std::move(bytes)};
  if (showsNumbers(rig, *rig.sensor().parameters)) arrival.number = drawnNumber(arrival.bytes);
  return arrival;
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

std::uint32_t usualTimeout() { return Rig::patience; }

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

std::vector<Arrival> captureCounted(const Rig& rig, std::uint32_t frames) {
  const std::uint32_t bytes = rig.layout().bytes;
  const std::uint32_t stride = bytes / 4 * 4;
  // A USB board's worker reads one frame more than it was asked for.
  const std::size_t room = std::size_t{stride} * (rig.isUsb() ? frames + 1 : frames);
  std::vector<std::uint8_t> memory(room + guardBytes, guardMark);
  Events events(2);
  std::int32_t result = KVEXA_OK;
  expectOk("kVexaMultiShotCaptureEx",
           kVexaMultiShotCaptureEx(rig.board(), bytes, frames, memory.data(), usualTimeout(),
                                   events.handles[0], events.handles[1], &result));
  std::vector<std::uint64_t> moments;
  while (moments.size() < frames && rig.pace().wait(events.handles[0], Rig::patience)) {
    events.owned[0].reset();
    moments.push_back(rig.pace().now());
  }
  if (moments.size() < frames) missed(rig, moments.size(), frames, result);
  const bool ended = rig.pace().wait(events.handles[1], Rig::patience);
  const std::int32_t atEnd = result;
  expectOk("kVexaAbortCapture", kVexaAbortCapture(rig.board()));
  expect(ended, "the end of a counted capture", "none within " + std::to_string(Rig::patience) + " ms");
  // On a USB board the word says busy while the frame more is on its way.
  if (!rig.isUsb()) expectResult("a counted capture", KVEXA_OK, atEnd);
  const bool isWhole = std::all_of(memory.end() - guardBytes, memory.end(),
                                   [](std::uint8_t byte) { return byte == guardMark; });
  expect(isWhole, "nothing behind the frames", "bytes that changed there");
  std::vector<Arrival> seen;
  for (std::uint32_t i = 0; i < frames; ++i) {
    const auto begin = memory.begin() + static_cast<std::ptrdiff_t>(std::size_t{i} * stride);
    seen.push_back(arrivalOf(rig, {begin, begin + static_cast<std::ptrdiff_t>(stride)}, moments[i]));
  }
  return seen;
}

std::vector<Arrival> captureThrough(const Rig& rig, Buffers kind, std::uint32_t frames) {
  constexpr std::size_t ringSize = 4;
  constexpr double boardMemory = 8.0;
  const std::uint32_t bytes = rig.layout().bytes;
  std::vector<std::vector<std::uint8_t>> memory(ringSize,
                                                std::vector<std::uint8_t>(bytes + guardBytes, guardMark));
  std::vector<void*> buffers;
  for (auto& each : memory) buffers.push_back(each.data());
  Events events(ringSize + 1);
  std::int32_t result = KVEXA_OK;
  const bool isArray = kind == Buffers::array;
  if (isArray) expectOk("kVexaSetBufSize", kVexaSetBufSize(rig.board(), boardMemory));
  const auto start = isArray ? kVexaMultiShotCapArrayStart : kVexaMultiShotCaptureArratEx;
  expectOk("the start", start(rig.board(), bytes, ringSize, buffers.data(), usualTimeout(),
                              events.handles.data(), &result));
  std::vector<Arrival> seen;
  bool isGuarded = true;
  while (seen.size() < frames && rig.pace().wait(events.handles[seen.size() % ringSize], Rig::patience)) {
    const std::size_t index = seen.size() % ringSize;
    const auto end = memory[index].end() - guardBytes;
    isGuarded = isGuarded &&
                std::all_of(end, memory[index].end(), [](std::uint8_t byte) { return byte == guardMark; });
    seen.push_back(arrivalOf(rig, {memory[index].begin(), end}, rig.pace().now()));
    events.owned[index].reset();
  }
  const bool dropped = kVexaIsDropFrame(rig.board()) != 0;
  const std::int32_t stopped =
      isArray ? kVexaMultiShotCapArrayStop(rig.board()) : kVexaAbortCapture(rig.board());
  const bool ended = rig.pace().wait(events.handles[ringSize], Rig::patience * 2);
  if (seen.size() < frames) missed(rig, seen.size(), frames, result);
  expectOk("the stop", stopped);
  expect(ended, "the end of the capture", "none within " + std::to_string(Rig::patience * 2) + " ms");
  expectResult("the capture", isArray ? KVEXA_OK : KVEXA_ABORTED, result);
  expect(isGuarded, "nothing behind the frames", "bytes that changed there");
  expect(!dropped, "no report of dropped frames", "one");
  return seen;
}

void expectNumbers(const Rig& rig, const std::vector<Arrival>& frames) {
  if (!showsNumbers(rig, *rig.sensor().parameters)) return;
  const std::uint32_t step = rig.sensor().parameters->FRMSKP + 1U;
  for (std::size_t i = 1; i < frames.size(); ++i) {
    expectEqual("behind frame " + std::to_string(frames[i - 1].number) + " frame",
                frames[i - 1].number + step, frames[i].number);
  }
}

void expectSequence(const Rig& rig, const std::vector<Arrival>& frames) {
  expectNumbers(rig, frames);
  constexpr double mostPeriods = 1.4;
  const double period = rig.framePeriod() * (rig.sensor().parameters->FRMSKP + 1);
  for (std::size_t i = 1; i < frames.size(); ++i) {
    const double milliseconds = static_cast<double>(frames[i].at - frames[i - 1].at) / 1000.0;
    expect(
        milliseconds <= mostPeriods * period,
        "a frame every " + std::to_string(static_cast<int>(period + 0.5)) + " ms",
        std::to_string(static_cast<int>(milliseconds + 0.5)) + " ms in front of frame " + std::to_string(i));
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
