// What the PCIe board does while time passes: captures, intervals, measurements.
#include "tests/sim/pcie/BoardFixture.h"

namespace {

using sim::pcie::Wait;

class PcieCaptureTest : public PcieFixture {
 protected:
  using Bytes = std::vector<std::uint8_t>;

  void expectFrames(const Bytes& buffer, std::uint64_t first, std::uint64_t step = 1) {
    const std::size_t frameSize = board.frameBytes(0).size();
    for (std::size_t at = 0; at < buffer.size(); at += frameSize) {
      const Bytes frame = board.frameBytes(first);
      ASSERT_TRUE(std::equal(frame.begin(), frame.end(), buffer.begin() + static_cast<std::ptrdiff_t>(at)))
          << "frame " << first;
      first += step;
    }
  }
};

TEST_F(PcieCaptureTest, OneShotTakesTheNextWholeFrame) {
  stream(128, 4);
  machine.clock().advance(15000);  // in the middle of frame 1
  Bytes buffer(512);
  Overlapped capture(captureWords(buffer, 1));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(capture.status(), 0U);
  EXPECT_EQ(now(), 30000U);
  expectFrames(buffer, 2);
}

TEST_F(PcieCaptureTest, OneShotEndsWithItsFrame) {
  stream(128, 4);
  Bytes buffer(1000, 0xA5);
  Overlapped capture(captureWords(buffer, 1));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(now(), 10000U);
  EXPECT_EQ(buffer[511], board.frameBytes(0)[511]);
  EXPECT_EQ(buffer[512], 0xA5);
}

TEST_F(PcieCaptureTest, ShortOneShotEndsWithinTheFrame) {
  stream(128, 4);
  Bytes buffer(256);
  Overlapped capture(captureWords(buffer, 1));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(now(), 5000U);
  EXPECT_TRUE(std::equal(buffer.begin(), buffer.end(), board.frameBytes(0).begin()));
}

TEST_F(PcieCaptureTest, CountedFramesFollowOneAnother) {
  stream(128, 4);
  Bytes buffer(512 * 20);
  Overlapped capture(captureWords(buffer, 2));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(now(), 200000U);
  expectFrames(buffer, 0);
}

TEST_F(PcieCaptureTest, FramesArePassedOver) {
  stream(128, 4);
  writeRegister(0x30C, 2);
  Bytes buffer(512 * 3);
  Overlapped capture(captureWords(buffer, 2));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(now(), 90000U);
  expectFrames(buffer, 2, 3);
}

TEST_F(PcieCaptureTest, ContinuousCaptureStandsStillWhileNobodyListens) {
  stream(128, 4);
  Bytes buffer(512);
  Overlapped capture(captureWords(buffer, 2, 1, 1000));
  start(Request::capture, capture);
  for (int i = 0; i < 1000; ++i) SwitchToThread();
  EXPECT_EQ(now(), 0U);
  machine.clock().advance(10000U * 3600 * 100);  // an hour: frame 359999 is the last one
  EXPECT_EQ(board.boardRegister(0x508), 128U);
  expectFrames(buffer, 359999);
  EXPECT_TRUE(capture.isPending());
}

TEST_F(PcieCaptureTest, StopEndsTheCaptureWithItsStatus) {
  const struct {
    std::uint32_t mode;
    std::optional<std::uint32_t> set;
    std::uint32_t expected;
  } rows[] = {{1, {}, 0x1000}, {2, {}, 0}, {1, 0, 0}, {2, 0x1004, 0x1004}};
  for (const auto& row : rows) {
    board.setStopStatus(row.set);
    Bytes buffer(512);
    Overlapped capture(captureWords(buffer, row.mode, 1));
    start(Request::capture, capture);
    EXPECT_EQ(board.pending(Wait::capture), 1U);
    Words stop = {77};
    EXPECT_EQ(send(Request::stop, stop).error, 0U);
    EXPECT_EQ(stop[0], 0U);
    EXPECT_FALSE(capture.isPending());
    EXPECT_EQ(capture.status(), row.expected);
    EXPECT_EQ(board.pending(), 0U);
  }
}

TEST_F(PcieCaptureTest, OneCaptureAtATime) {
  Bytes buffer(512);
  Overlapped first(captureWords(buffer, 2, 1));
  start(Request::capture, first);
  Overlapped second(captureWords(buffer, 2, 1));
  EXPECT_EQ(send(Request::capture, second.words, &second.overlapped).error, 0U);
  EXPECT_EQ(second.status(), 0x1001U);
  EXPECT_TRUE(second.isSignalled());
  EXPECT_TRUE(first.isPending());
}

TEST_F(PcieCaptureTest, TimeOutCountsFromEachFrame) {
  stream(128, 4, 500);  // 50 ms
  Bytes buffer(512 * 10);
  Overlapped capture(captureWords(buffer, 2, 0, 60));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(capture.status(), 0U);
  Overlapped slow(captureWords(buffer, 2, 0, 40));
  const auto begin = now();
  start(Request::capture, slow);
  slow.wait();
  EXPECT_EQ(slow.status(), 0x1003U);
  EXPECT_EQ(now(), begin + 40000);
}

TEST_F(PcieCaptureTest, TimeOutOfAOneShotIsForAllOfIt) {
  Bytes buffer(512);
  Overlapped capture(captureWords(buffer, 1, 0, 250));
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(capture.status(), 0x1003U);
  EXPECT_EQ(now(), 250000U);
}

TEST_F(PcieCaptureTest, ZeroIsNoTimeOut) {
  Bytes buffer(512);
  Overlapped capture(captureWords(buffer, 1, 0, 0));
  start(Request::capture, capture);
  machine.clock().advance(sim::Microseconds{1000000} * 3600);
  board.boardRegister(0);
  EXPECT_TRUE(capture.isPending());
}

TEST_F(PcieCaptureTest, ChangeOfTheSensorBeginsANewWholeFrame) {
  stream(128, 4);
  Bytes buffer(512 * 4, 0xA5);
  Overlapped interval(Words{0, 0});
  Overlapped capture(captureWords(buffer, 2));
  writeRegister(0x40, 512 + 256);
  start(Request::interval, interval);
  start(Request::capture, capture);
  interval.wait();  // in the middle of frame 1
  EXPECT_EQ(now(), 15000U);
  Words write = {0, 0x36, 1, 0x10B, 9};  // another noise seed is another picture
  send(Request::writeSensor, write);
  Overlapped rearmed(Words{0, 0});
  start(Request::interval, rearmed);
  capture.wait();
  // Frame 1 was spoilt: frames 2 to 4 come behind frame 0.
  EXPECT_EQ(now(), 50000U);
  expectFrames(Bytes(buffer.begin(), buffer.begin() + 512), 0);
  expectFrames(Bytes(buffer.begin() + 512, buffer.end()), 2);
}

TEST_F(PcieCaptureTest, IntervalsPassEachTimeTheBytesHaveArrived) {
  stream(128, 4);
  writeRegister(0x40, 256);
  Bytes buffer(512 * 3);
  Overlapped capture(captureWords(buffer, 2));
  Overlapped interval(Words{0, 0});
  start(Request::interval, interval);
  start(Request::capture, capture);
  for (unsigned i = 1; i <= 6; ++i) {
    interval.wait();
    EXPECT_EQ(interval.status(), 0U);
    EXPECT_EQ(now(), i * 5000U);
    EXPECT_TRUE(capture.isPending()) << i;
    start(Request::interval, interval);
  }
  capture.wait();
  EXPECT_EQ(now(), 30000U);
  EXPECT_TRUE(interval.isPending());
}

TEST_F(PcieCaptureTest, HostThatDoesNotArmAgainHoldsNobody) {
  stream(128, 4);
  writeRegister(0x40, 512);
  Bytes buffer(512 * 3);
  Overlapped capture(captureWords(buffer, 2));
  Overlapped interval(Words{0, 0});
  start(Request::interval, interval);
  start(Request::capture, capture);
  capture.wait();
  EXPECT_EQ(capture.status(), 0U);
  EXPECT_FALSE(interval.isPending());
}

TEST_F(PcieCaptureTest, IntervalWaitsForACaptureAndIsCancelled) {
  stream(128, 4);
  Overlapped interval(Words{0, 0});
  start(Request::interval, interval);
  machine.clock().advance(1000000);
  Words cancel = {0x12345678};
  EXPECT_EQ(send(Request::cancelInterval, cancel).error, 0U);
  EXPECT_EQ(cancel[0], 0U);
  EXPECT_FALSE(interval.isPending());
  EXPECT_EQ(interval.status(), 0x1000U);
}

TEST_F(PcieCaptureTest, MeasurementTakesTwoFrames) {
  stream(320, 200, 333);
  machine.clock().advance(1000);
  Overlapped measurement(Words{0, 0, 0, 0});
  start(Request::autoActual, measurement);
  measurement.wait();
  EXPECT_EQ(now(), 1000U + 2 * 33300);
  EXPECT_EQ(measurement.words, (Words{0, 320, 200, 333}));
}

TEST_F(PcieCaptureTest, MeasurementWithoutFramesWaitsForTheStop) {
  Overlapped measurement(Words{0, 0, 0, 0});
  start(Request::autoActual, measurement);
  machine.clock().advance(100000000);
  EXPECT_TRUE(measurement.isPending());
  Words stop = {0};
  send(Request::stop, stop);
  EXPECT_EQ(measurement.status(), 0x1000U);
}

TEST_F(PcieCaptureTest, HeldRequestsStayPendingUntilTheyAreReleased) {
  stream(128, 4);
  board.hold(Wait::capture, true);
  Bytes buffer(512);
  Overlapped capture(captureWords(buffer, 1));
  start(Request::capture, capture);
  kvexa::test::currentTimeline->sleep(10);
  board.boardRegister(0);
  EXPECT_TRUE(capture.isPending());
  expectFrames(buffer, 0);
  std::fill(buffer.begin(), buffer.end(), std::uint8_t{0});
  machine.clock().advance(100000);
  board.hold(Wait::capture, false);
  EXPECT_FALSE(capture.isPending());
  EXPECT_EQ(buffer, Bytes(512));  // it was over before
}

TEST_F(PcieCaptureTest, CompletesAtTheTestsWill) {
  EXPECT_FALSE(board.complete(Wait::measurement, 1));
  Overlapped measurement(Words{0, 0, 0, 0});
  start(Request::autoActual, measurement);
  EXPECT_TRUE(board.complete(Wait::measurement, 0x3001));
  EXPECT_EQ(measurement.status(), 0x3001U);
  EXPECT_TRUE(measurement.isSignalled());
}

TEST_F(PcieCaptureTest, PulledOutOrClosedEverythingEnds) {
  for (const bool close : {false, true}) {
    Bytes buffer(512);
    Overlapped capture(captureWords(buffer, 1));
    Overlapped interval(Words{0, 0});
    start(Request::capture, capture);
    start(Request::interval, interval);
    close ? board.close() : board.unplug();
    EXPECT_EQ(board.pending(), 0U);
    EXPECT_EQ(capture.overlapped.Internal, 0xC0000120U);
    EXPECT_TRUE(interval.isSignalled());
    Words words = {0, 0x504, 0};
    EXPECT_EQ(send(Request::readRegister, words).error, close ? 0U : 1167U);
    board.plug();
  }
}

TEST_F(PcieCaptureTest, TenThousandCapturesInARow) {
  stream(128, 4);
  Bytes buffer(512);
  for (int i = 0; i < 10000; ++i) {
    Overlapped capture(captureWords(buffer, 1));
    start(Request::capture, capture);
    capture.wait();
    ASSERT_EQ(capture.status(), 0U);
    if (i % 100 == 0) machine.trace().take();
  }
  EXPECT_EQ(now(), 10000U * 10000);
}

}  // namespace
