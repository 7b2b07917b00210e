// Ten thousand frames through the ring and the array capture, with a consumer that is sometimes late.
#include <algorithm>
#include <functional>

#include "tests/files/RandomSource.h"
#include "tests/usb/FrameRing.h"

namespace kvexa::test {
namespace {

constexpr unsigned frameTotal = 10000;
constexpr unsigned ringSize = 4;
constexpr std::uint64_t framePeriod = 10000;  // microseconds

class RingStress : public EngineFixture {
 protected:
  void SetUp() override {
    EngineFixture::SetUp();
    // No frame may come into a buffer that is held, at no moment of its transfer.
    const auto expectFree = [this](const FrameRead& read) {
      for (unsigned i = 0; i < ringSize; ++i) {
        if (read.address == buffers.frame(i) && buffers.full(i).isSet()) ++heldWrites;
      }
    };
    calls.beforeRead = expectFree;
    calls.afterRead = expectFree;
    calls.onSignal = nullptr;
  }

  std::int32_t startRing() {
    return kVexaMultiShotCaptureArratEx(&handle, frameBytes, ringSize, buffers.buffers.data(), timeout,
                                        buffers.handles.data(), wordAddress());
  }

  std::int32_t startArray() {
    EXPECT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, 1.0));
    return kVexaMultiShotCapArrayStart(&handle, frameBytes, ringSize, buffers.buffers.data(), timeout,
                                       buffers.handles.data(), wordAddress());
  }

  // Keeps a full buffer for a while, in which so many frame periods pass at most.
  void beLate(unsigned buffer, std::uint32_t periods) {
    const std::vector<std::uint8_t> content(buffers.frame(buffer), buffers.frame(buffer) + frameBytes);
    if (periods > 0) machine.clock().advance(random.below(periods * framePeriod));
    for (unsigned yields = random.below(50); yields > 0; --yields) SwitchToThread();
    ASSERT_TRUE(std::equal(content.begin(), content.end(), buffers.frame(buffer)));
  }

  // Frame periods that may pass until the board's buffer, which has room for so many frames, loses one.
  std::uint32_t periodsLeft(std::uint32_t number, std::uint32_t room) {
    const auto now = (machine.clock().now() - board.sensor().streamStart()) / framePeriod;
    const std::uint64_t last = std::uint64_t{number} + room - 1;
    return last > now ? static_cast<std::uint32_t>(last - now) : 0;
  }

  // Takes frames in the ring's order; `judge` looks at each number and the one before.
  void consume(const std::function<std::uint32_t(std::uint32_t number)>& latest,
               const std::function<void(std::uint32_t before, std::uint32_t number)>& judge) {
    std::uint32_t before = 0;
    for (unsigned k = 0; k < frameTotal; ++k) {
      const unsigned i = k % ringSize;
      ASSERT_TRUE(buffers.full(i).await()) << "frame " << k << ", result " << word;
      const auto number = numberOf(buffers.frame(i));
      if (k > 0) judge(before, number);
      if (k % 97 == 0) {
        ASSERT_TRUE(isFrame(buffers.frame(i), number)) << "frame " << k;
      }
      if (random.below(10) == 0) beLate(i, latest(number));
      before = number;
      buffers.full(i).reset();
    }
  }

  void expectAllFrames(std::uint32_t room) {
    unsigned gaps = 0;
    consume([&](std::uint32_t number) { return periodsLeft(number, room); },
            [&](std::uint32_t before, std::uint32_t number) { gaps += number == before + 1 ? 0U : 1U; });
    EXPECT_EQ(0U, gaps);
    EXPECT_EQ(0U, heldWrites);
  }

  void expectOrder(std::uint32_t periods) {
    unsigned gaps = 0;
    unsigned disorders = 0;
    consume([&](std::uint32_t) { return periods; },
            [&](std::uint32_t before, std::uint32_t number) {
              disorders += number > before ? 0U : 1U;
              gaps += number > before + 1 ? 1U : 0U;
            });
    EXPECT_EQ(0U, disorders);
    EXPECT_GT(gaps, 0U);
    EXPECT_LT(gaps, frameTotal / 4);
    EXPECT_EQ(0U, heldWrites);
  }

  RandomSource random;
  FrameRing buffers{ringSize, frameBytes, mark};
  std::atomic<unsigned> heldWrites{0};
};

TEST_F(RingStress, RingKeepsEveryFrameAndTheirOrder) {
  ASSERT_EQ(KVEXA_OK, startRing());
  // The board's buffer is a kibibyte larger than the ring.
  expectAllFrames(ringSize + 1);
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(buffers.end().await());
  EXPECT_EQ(KVEXA_ABORTED, word);
}

TEST_F(RingStress, ArrayKeepsEveryFrameAndTheirOrder) {
  ASSERT_EQ(KVEXA_OK, startArray());
  expectAllFrames(1024);
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ(KVEXA_OK, word);
}

TEST_F(RingStress, RingKeepsTheOrderWhenFramesAreLost) {
  ASSERT_EQ(KVEXA_OK, startRing());
  expectOrder(30);
  EXPECT_EQ(1, kVexaIsDropFrame(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(buffers.end().await());
}

TEST_F(RingStress, ArrayKeepsTheOrderWhenFramesAreLost) {
  ASSERT_EQ(KVEXA_OK, startArray());
  expectOrder(3000);
  EXPECT_EQ(1, kVexaIsDropFrame(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
}

}  // namespace
}  // namespace kvexa::test
