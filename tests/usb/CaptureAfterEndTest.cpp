// Captures that start on the end event of another one, whose worker still has the board to stop.
#include <algorithm>
#include <atomic>
#include <optional>

#include "tests/usb/FrameRing.h"

namespace kvexa::test {
namespace {

// A way to capture, and what the caller does when it has its frame.
struct NextCapture {
  const char* name;
  std::int32_t (*run)(const BoardHandle& board, std::uint8_t* frame, FrameRing& ring);
};

constexpr std::uint32_t frameSize = 128 * 8;
constexpr std::uint32_t patience = 700;

std::int32_t oneShot(const BoardHandle& board, std::uint8_t* frame, FrameRing&) {
  return kVexaOneShotCapture(&board, frameSize, frame, patience);
}

std::int32_t storage(const BoardHandle& board, std::uint8_t* frame, FrameRing&) {
  return kVexaMultiShotStorage(&board, frameSize, 1, frame, patience);
}

std::int32_t continuous(const BoardHandle& board, std::uint8_t* frame, FrameRing&) {
  const Event arrived;
  if (kVexaMultiShotCaptureEx(&board, frameSize, 0, frame, patience, arrived.get(), nullptr, nullptr) != 0) {
    return KVEXA_FAILED;
  }
  arrived.await();
  return kVexaAbortCapture(&board);
}

std::int32_t array(const BoardHandle& board, std::uint8_t* frame, FrameRing& ring) {
  std::int32_t result = KVEXA_BUSY;
  if (kVexaMultiShotCapArrayStart(&board, frameSize, ring.size(), ring.buffers.data(), patience,
                                  ring.handles.data(), &result) != KVEXA_OK) {
    return KVEXA_FAILED;
  }
  ring.full(0).await();
  std::copy_n(ring.frame(0), frameSize, frame);
  return kVexaMultiShotCapArrayStop(&board);
}

constexpr NextCapture nextCaptures[] = {
    {"oneShot", oneShot}, {"storage", storage}, {"continuous", continuous}, {"array", array}};

class CaptureAfterEnd : public EngineFixture, public ::testing::WithParamInterface<NextCapture> {
 protected:
  void SetUp() override {
    EngineFixture::SetUp();
    // Started before the worker goes on to stop the board, and given all the turns that it would need to
    // go ahead.
    calls.onSignal = [this](HANDLE event) {
      if (event != last || next) return true;
      trace();
      std::atomic<bool> hasBegun = false;
      next.emplace([&] {
        hasBegun = true;
        result = GetParam().run(handle, frame.data(), nextRing);
      });
      while (!hasBegun) SwitchToThread();
      for (int turn = 0; turn < 1000; ++turn) SwitchToThread();
      return true;
    };
  }

  void expectWholeCaptureBehind(const std::string& restOfTheFirst) {
    ASSERT_TRUE(next);
    next->join();
    join();
    EXPECT_EQ(KVEXA_OK, result);
    EXPECT_TRUE(isFrame(frame.data(), numberOf(frame.data())));
    EXPECT_EQ(0U, trace().find(restOfTheFirst));
  }

  HANDLE last = nullptr;
  std::optional<Thread> next;
  std::int32_t result = KVEXA_FAILED;
  std::vector<std::uint8_t> frame = std::vector<std::uint8_t>(frameSize, mark);
  FrameRing nextRing{2, frameSize, mark};
};

TEST_P(CaptureAfterEnd, OfARingIsNotStoppedByIt) {
  FrameRing ring(2, frameBytes, mark);
  last = ring.end().get();
  holdRead(1);  // until the abort has sent what it sends
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureArratEx(&handle, frameBytes, 2, ring.buffers.data(), timeout,
                                                   ring.handles.data(), wordAddress()));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  release();
  ASSERT_TRUE(ring.end().await());
  expectWholeCaptureBehind(workerStop(2));
}

TEST_P(CaptureAfterEnd, OfACountedCaptureIsNotStoppedByIt) {
  std::vector<std::uint8_t> frames(2 * frameBytes);
  last = endEvent.get();
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, frameBytes, 1, frames.data(), timeout, nullptr,
                                              endEvent.get(), wordAddress()));
  ASSERT_TRUE(endEvent.await());
  // Its worker reads the one frame more in peace.
  expectWholeCaptureBehind(imageRead(frameBytes, timeout) + workerStop(0));
}

INSTANTIATE_TEST_SUITE_P(Each, CaptureAfterEnd, ::testing::ValuesIn(nextCaptures),
                         [](const auto& way) { return std::string(way.param.name); });

}  // namespace
}  // namespace kvexa::test
