// The stop of the array capture: its wait, its draining, its results.
#include "tests/usb/ArrayFixture.h"

namespace kvexa::test {

std::int32_t ArrayFixture::stopDrainingAt(unsigned n, std::uint32_t milliseconds) {
  writeSensorPair(sim::SensorRegister::framePeriod, n * 100);
  prepare(2);
  holdWorkerStart();
  EXPECT_EQ(KVEXA_OK, start(milliseconds));
  awaitHeld();
  // A frame begins now and ends after n polls of 10 ms.
  const auto period = board.sensor().framePeriod();
  const auto phase = (machine.clock().now() - board.sensor().streamStart()) % period;
  machine.clock().advance(period - phase);
  machine.trace().take();
  return stop();
}

namespace {

using ArrayStop = ArrayFixture;

TEST_F(ArrayStop, NothingRuns) {
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ("", trace());
}

TEST_F(ArrayStop, PollsUntilTheEngineHasDrained) {
  EXPECT_EQ(KVEXA_OK, stopDrainingAt(5, 700));
  EXPECT_EQ(stopTransfers(0, 5), trace());
}

TEST_F(ArrayStop, EngineThatHasDrainedAtTheLastPollIsTooLate) {
  EXPECT_EQ(KVEXA_BUSY, stopDrainingAt(5, 59));
  EXPECT_EQ(boardWrite(0x0102, 0) + drainPolls(5), trace());
}

TEST_F(ArrayStop, EngineThatHasDrainedOnePollEarlierIsInTime) {
  EXPECT_EQ(KVEXA_OK, stopDrainingAt(5, 60));
  EXPECT_EQ(stopTransfers(0, 5), trace());
}

TEST_F(ArrayStop, EngineThatDoesNotDrainInTime) {
  EXPECT_EQ(KVEXA_BUSY, stopDrainingAt(50, 40));
  EXPECT_EQ(boardWrite(0x0102, 0) + drainPolls(4), trace());
}

TEST_F(ArrayStop, OnlyPollIsAlwaysTooLate) {
  EXPECT_EQ(KVEXA_BUSY, stopDrainingAt(1, 19));
  EXPECT_EQ(boardWrite(0x0102, 0) + drainPolls(1), trace());
}

// The worker has ended and the mode is 0, but the board is not stopped.
TEST_F(ArrayStop, TimeoutBelowTenMillisecondsAllowsNoPoll) {
  EXPECT_EQ(KVEXA_BUSY, stopDrainingAt(1, 9));
  EXPECT_EQ(boardWrite(0x0102, 0), trace());
  EXPECT_TRUE(ring->end().isSet());
  EXPECT_EQ(KVEXA_OK, word);
  EXPECT_EQ(0, board.boardRegister(0x0102));
}

TEST_F(ArrayStop, StopThatFailedIsOverAllTheSame) {
  EXPECT_EQ(KVEXA_BUSY, stopDrainingAt(1, 9));
  trace();
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ("", trace());
  ASSERT_EQ(KVEXA_OK, start());
  EXPECT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, stop());
}

TEST_F(ArrayStop, WorkerThatDoesNotEndInTime) {
  prepare(2);
  holdRead(0);
  failWaits(true);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  trace();
  EXPECT_EQ(KVEXA_BUSY, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ("", trace());
  EXPECT_FALSE(ring->end().isSet());

  failWaits(false);
  log();
  release();
  join();
  EXPECT_EQ(line("full 0", 0) + line("end", 0), log());
  trace();
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ("", trace());
}

// It still ends, with its own buffers, and does not take the new capture's running for its own.
TEST_F(ArrayStop, WorkerThatDidNotEndInTimeDoesNotDisturbTheNextCapture) {
  prepare(2);
  holdRead(0);
  failWaits(true);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_BUSY, kVexaMultiShotCapArrayStop(&handle));
  failWaits(false);

  const auto old = std::move(ring);
  prepare(2);
  std::atomic<std::int32_t> newWord{unset};
  ASSERT_EQ(KVEXA_OK,
            kVexaMultiShotCapArrayStart(&handle, frameBytes, 2, ring->buffers.data(), timeout,
                                        ring->handles.data(), reinterpret_cast<std::int32_t*>(&newWord)));
  EXPECT_TRUE(ring->full(1).await());
  release();
  EXPECT_TRUE(old->end().await());
  EXPECT_EQ(mark, *old->frame(1));
  ring->full(0).reset();
  EXPECT_TRUE(ring->full(0).await());
  EXPECT_FALSE(ring->end().isSet());
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_OK, newWord);
  EXPECT_TRUE(ring->end().isSet());
}

TEST_F(ArrayStop, EngineThatCannotBeAskedIsReported) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  // The mode register takes its address and its data with two requests for the status of each; then
  // comes the poll, whose answer is the second request.
  refuse(8);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, stop());
  EXPECT_EQ(KVEXA_OK, stop());
  expectWorkingBoard();
}

}  // namespace
}  // namespace kvexa::test
