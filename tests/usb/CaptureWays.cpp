#include "tests/usb/CaptureWays.h"

#include <algorithm>

namespace kvexa::test {

namespace {

constexpr unsigned ringSize = 4;
constexpr unsigned mostPolls = 60;
constexpr unsigned addressPort = 0;
constexpr unsigned dataPort = 1;
constexpr unsigned packetRequests = 3;  // a packet, and two for its status

bool holds(const std::string& line, const std::string& part) { return line.find(part) != std::string::npos; }

unsigned byteOf(const std::string& packet, unsigned i) {
  return static_cast<unsigned>(std::stoul(packet.substr(packet.find('[') + 1 + 3 * i, 2), nullptr, 16));
}

}  // namespace

void CaptureWays::SetUp() {
  EngineFixture::SetUp();
  buffers = std::make_unique<FrameRing>(ringSize, frameBytes * (countedFrames + 1), mark);
  for (unsigned i = 0; i < ringSize; ++i) {
    nameBuffer(buffers->frame(i), std::to_string(i));
    nameEvent(buffers->full(i).get(), "full " + std::to_string(i));
  }
  for (unsigned k = 1; k <= countedFrames; ++k) {
    nameBuffer(buffers->frame(0) + k * frameBytes, std::string("+").append(std::to_string(k)));
  }
  nameEvent(buffers->end().get(), "end");
}

void CaptureWays::begin() {
  log();
  waits();
  word = static_cast<std::int32_t>(untouched);
  frameEvent.reset();
  endEvent.reset();
  for (const auto& event : buffers->events) event.reset();
  board.setBoardRegister(0x0102, 0);
}

CaptureWays::Run CaptureWays::finish(std::int32_t start, std::int32_t end, const Event& last) {
  release();
  EXPECT_TRUE(start == KVEXA_OK || calls.workerCount() == 0);
  join();
  return {start, end, log(), word, last.isSet(), false};
}

CaptureWays::Run CaptureWays::endless() {
  begin();
  holdRead(2);
  const auto start = kVexaMultiShotCaptureEx(&handle, frameBytes, 0, buffers->frame(0), timeout,
                                             frameEvent.get(), endEvent.get(), wordAddress());
  if (start != KVEXA_OK) return finish(start, 0, endEvent);
  awaitHeld();
  return finish(start, kVexaAbortCapture(&handle), endEvent);
}

CaptureWays::Run CaptureWays::counted() {
  begin();
  const auto start = kVexaMultiShotCaptureEx(&handle, frameBytes, countedFrames, buffers->frame(0), timeout,
                                             frameEvent.get(), endEvent.get(), wordAddress());
  if (start != KVEXA_OK) return finish(start, 0, endEvent);
  join();
  return finish(start, kVexaAbortCapture(&handle), endEvent);
}

CaptureWays::Run CaptureWays::ring() {
  begin();
  holdRead(2);
  const auto start =
      kVexaMultiShotCaptureArratEx(&handle, frameBytes, buffers->size(), buffers->buffers.data(), timeout,
                                   buffers->handles.data(), wordAddress());
  if (start != KVEXA_OK) return finish(start, 0, buffers->end());
  awaitHeld();
  return finish(start, kVexaAbortCapture(&handle), buffers->end());
}

CaptureWays::Run CaptureWays::array() {
  begin();
  holdRead(2);
  // A frame that fails ends the capture before it comes to where it is held.
  const auto before = calls.onSignal;
  calls.onSignal = [&](HANDLE event) {
    before(event);
    if (event == buffers->end().get()) doNotAwaitHeld();
    return true;
  };
  const auto start =
      kVexaMultiShotCapArrayStart(&handle, frameBytes, buffers->size(), buffers->buffers.data(), timeout,
                                  buffers->handles.data(), wordAddress());
  std::int32_t end = 0;
  if (start == KVEXA_OK) {
    awaitHeld();
    end = kVexaMultiShotCapArrayStop(&handle);
  }
  const auto run = finish(start, end, buffers->end());
  calls.onSignal = before;
  return run;
}

CaptureWays::Run CaptureWays::storage() {
  begin();
  bool aborted = false;
  calls.onSleep = [&, polls = 0U](DWORD milliseconds) mutable {
    if (milliseconds == 0 || ++polls != mostPolls) return;
    Thread([this] { kVexaAbortCapture(&handle); }).join();
    aborted = true;
  };
  const auto start = kVexaMultiShotStorage(&handle, frameBytes, countedFrames, buffers->frame(0), timeout);
  calls.onSleep = nullptr;
  auto run = finish(start, 0, endEvent);
  run.abortedByTimeout = aborted;
  return run;
}

std::vector<CaptureWays::Request> CaptureWays::requestsOf(Run (CaptureWays::*way)()) {
  machine.trace().take();
  (this->*way)();
  auto lines = machine.trace().take();
  std::erase_if(lines, [](const std::string& line) { return !holds(line, " pipe"); });

  std::vector<Request> requests;
  unsigned address = 0;
  for (const auto& line : lines) {
    Request request{Request::Kind::transfer, 0, false};
    if (holds(line, "pipe0") || holds(line, "pipe1")) request.kind = Request::Kind::status;
    if (holds(line, "pipe2")) request.kind = Request::Kind::frame;
    if (holds(line, "[01 81 ")) request.kind = Request::Kind::command;
    if (holds(line, "pipe3") && request.kind == Request::Kind::transfer) {
      const unsigned subAddress = byteOf(line, 2);
      if (subAddress == addressPort) address = byteOf(line, 5) | byteOf(line, 6) << 8;
      request.address = subAddress <= dataPort ? address : 0;
      request.isWrite = byteOf(line, 0) == 1;
      // The address goes out for what is done at it.
      if (subAddress == dataPort) requests[requests.size() - packetRequests].isWrite = request.isWrite;
    }
    requests.push_back(request);
  }
  return requests;
}

}  // namespace kvexa::test
