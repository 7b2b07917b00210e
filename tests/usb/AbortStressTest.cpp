// Ten thousand captures that are ended at a random moment.

#include "tests/files/RandomSource.h"
#include "tests/support/HandleCount.h"
#include "tests/usb/FrameRing.h"

namespace kvexa::test {
namespace {

constexpr unsigned rounds = 10000;
constexpr unsigned ringSize = 3;
constexpr unsigned mostYields = 30;

class AbortStress : public EngineFixture {
 protected:
  void SetUp() override {
    EngineFixture::SetUp();
    calls.beforeRead = [this](const FrameRead& read) { noteFrame(read); };
    calls.afterRead = [this](const FrameRead& read) { noteFrame(read); };
    calls.onSignal = nullptr;
    calls.onWait = nullptr;
  }

  // The buffers are the library's from the start of a capture to its end, each only while it is free.
  void noteFrame(const FrameRead& read) {
    if (!lent) ++intrusions;
    for (unsigned i = 0; i < ringSize; ++i) {
      if (ringRuns && read.address == buffers.frame(i) && buffers.full(i).isSet()) ++intrusions;
    }
  }

  // The caller's own use of a buffer between captures.
  void expectBuffersAreLeftAlone() {
    for (unsigned i = 0; i < ringSize; ++i) {
      std::fill_n(buffers.frame(i), buffers.memory[i]->size(), std::uint8_t{0x3C});
    }
    yield();
    for (unsigned i = 0; i < ringSize; ++i) {
      const auto bytes = bytesOf(*buffers.memory[i]);
      ASSERT_EQ(bytes, std::vector<std::uint8_t>(bytes.size(), 0x3C));
    }
  }

  void yield() {
    for (unsigned count = random.below(mostYields); count > 0; --count) SwitchToThread();
  }

  // Lets the capture run until a signal, or for a random number of turns.
  void letRun(HANDLE first, HANDLE second) {
    if (random.below(2) == 0) return yield();
    const HANDLE signals[] = {first, second};
    ASSERT_NE(static_cast<DWORD>(WAIT_TIMEOUT), awaitAny(signals));
  }

  void single(unsigned frames) {
    lent = true;
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, frameBytes, frames, buffers.frame(0), timeout,
                                                frameEvent.get(), endEvent.get(), wordAddress()));
    letRun(frameEvent.get(), endEvent.get());
    ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    lent = false;
    ASSERT_TRUE(endEvent.isSet());
    ASSERT_EQ(frames == 0 ? KVEXA_ABORTED : KVEXA_BUSY, word);
  }

  void ring() {
    lent = true;
    ringRuns = true;
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureArratEx(&handle, frameBytes, ringSize, buffers.buffers.data(),
                                                     timeout, buffers.handles.data(), wordAddress()));
    letRun(buffers.full(0).get(), buffers.full(1).get());
    ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    ASSERT_TRUE(buffers.end().await());
    lent = false;
    ringRuns = false;
    ASSERT_EQ(KVEXA_ABORTED, word);
    // Its worker is stopping the board still, and the next capture starts on a board that stands.
    join();
  }

  void array() {
    lent = true;
    ringRuns = true;
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStart(&handle, frameBytes, ringSize, buffers.buffers.data(),
                                                    timeout, buffers.handles.data(), wordAddress()));
    letRun(buffers.full(0).get(), buffers.full(1).get());
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
    lent = false;
    ringRuns = false;
    ASSERT_TRUE(buffers.end().isSet());
    ASSERT_EQ(KVEXA_OK, word);
  }

  // An abort that comes before the capture has begun does not end it.
  void storage() {
    lent = true;
    endEvent.reset();
    std::int32_t result = 1;
    Thread capture([&] {
      result = kVexaMultiShotStorage(&handle, frameBytes, ringSize, buffers.frame(0), timeout);
      endEvent.set();
    });
    yield();
    unsigned aborts = 0;
    do {
      ++aborts;
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
      currentTimeline->sleep(100);  // as long as the capture sleeps between two looks
    } while (!endEvent.isSet() && aborts < 1000000);
    capture.join();
    lent = false;
    ASSERT_TRUE(result == KVEXA_OK || result == KVEXA_ABORTED) << result;
  }

  void playRound() {
    frameEvent.reset();
    endEvent.reset();
    switch (random.below(5)) {
      case 0: return single(0);
      case 1: return single(1 + random.below(ringSize - 1));
      case 2: return ring();
      case 3: return array();
      default: return storage();
    }
  }

  RandomSource random;
  FrameRing buffers{ringSize, frameBytes* ringSize, mark};
  std::atomic<bool> lent{false};
  std::atomic<bool> ringRuns{false};
  std::atomic<unsigned> intrusions{0};
};

TEST_F(AbortStress, StartsAndAborts) {
  unsigned handlesEarly = 0;
  for (unsigned round = 0; round < rounds; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    playRound();
    if (HasFatalFailure()) return;
    if (round % 10 == 0) expectBuffersAreLeftAlone();
    join();
    machine.trace().take();
    if (round == rounds / 5) handlesEarly = processHandleCount();
  }
  expectHandles(handlesEarly);
  EXPECT_EQ(0U, intrusions);
  EXPECT_EQ(1U, machine.devices().openFiles());
  expectWorkingBoard();
}

}  // namespace
}  // namespace kvexa::test
