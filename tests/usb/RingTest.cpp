// The endless capture into a ring of buffers, ended by the abort.
#include "tests/usb/FrameRing.h"

namespace kvexa::test {
namespace {

class Ring : public FrameRingTest {
 protected:
  std::int32_t start() {
    return kVexaMultiShotCaptureArratEx(&handle, frameBytes, ring->size(), ring->buffers.data(), timeout,
                                        ring->handles.data(), wordAddress());
  }

  // The worker is held: the abort does not wait for it, so it is let go afterwards.
  std::int32_t abort() {
    const auto code = kVexaAbortCapture(&handle);
    release();
    join();
    return code;
  }
};

std::string setUp(unsigned control, unsigned bufferSize) {
  return holdAndFlush(control) + boardWrite(0x0404, 0) + boardWrite(0x0402, bufferSize) +
         releaseHold(control) + boardWrite(0x0102, 2);
}

TEST_F(Ring, OrderOfRequests) {
  prepare(3);
  board.setBoardRegister(0x0104, 0x0030);
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(setUp(0x0030, 65534 - 6) + repeat(2, imageRead(frameBytes, timeout)), trace());

  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(abortTransfers(0x0030), trace());
  release();
  join();
  // The frame that it waited for does not come any more.
  const auto text = trace();
  EXPECT_EQ(workerStop(0x0032), text.substr(text.find('\n') + 1));
}

TEST_F(Ring, SequenceThatTheCallerSees) {
  prepare(2);
  holdRead(2);
  calls.afterRead = [&](const FrameRead&) { ring->full(0).reset(); };
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(
      line("read 0", unset) + line("full 0", 0) + line("read 1", 0) + line("full 1", 0) + line("read 0", 0),
      log());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
  EXPECT_EQ(KVEXA_ABORTED, word);
}

TEST_F(Ring, EndEventComesBeforeTheBoardIsStopped) {
  prepare(2);
  calls.onSignal = [&](HANDLE event) {
    if (event == ring->end().get()) {
      EXPECT_EQ(std::string::npos, trace().find(workerStop(2)));
    }
    return true;
  };
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(workerStop(2), trace());
}

TEST_F(Ring, AbortBeforeTheFirstFrameReadsNothing) {
  prepare(3);
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
  EXPECT_EQ(setUp(0, 65534 - 6) + abortTransfers(0) + workerStop(2), trace());
  for (unsigned i = 0; i < 3; ++i) EXPECT_EQ(mark, *ring->frame(i));
}

TEST_F(Ring, AbortDoesNotWaitForTheWorker) {
  prepare(2);
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
  EXPECT_FALSE(ring->end().isSet());
  release();
  EXPECT_TRUE(ring->end().await());
}

TEST_F(Ring, EventsAreResetBeforeTheWorkerStarts) {
  prepare(3);
  for (const auto& event : ring->events) event.set();
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  for (const auto& event : ring->events) EXPECT_FALSE(event.isSet());
  EXPECT_EQ(KVEXA_OK, abort());
}

// The worker stops at a buffer that the caller holds, and does not pass it over either.
TEST_F(Ring, HeldBufferIsNotWritten) {
  prepare(3);
  std::atomic<unsigned> looks{0};
  calls.onWait = [&](HANDLE object, DWORD) -> std::optional<DWORD> {
    if (object == ring->full(1).get() && ring->full(1).isSet()) ++looks;
    return std::nullopt;
  };
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  ring->full(1).set();
  release();
  until([&] { return looks >= 10; });
  EXPECT_EQ(line("read 0", unset) + line("full 0", 0), log());
  EXPECT_EQ(mark, *ring->frame(1));
  EXPECT_EQ(mark, *ring->frame(2));

  ring->full(1).reset();
  ASSERT_TRUE(ring->full(2).await());
  EXPECT_EQ(line("read 1", 0) + line("full 1", 0) + line("read 2", 0) + line("full 2", 0), log());
  EXPECT_EQ(KVEXA_OK, abort());
}

TEST_F(Ring, AbortEndsAWorkerThatFindsNoFreeBuffer) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  log();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
}

TEST_F(Ring, FrameThatDoesNotComeIsTriedAgainIntoTheSameBuffer) {
  prepare(2);
  board.faults().holdFrames(true);
  calls.afterRead = [&, reads = 0](const FrameRead&) mutable {
    if (++reads == 2) board.faults().holdFrames(false);
  };
  holdRead(3);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(line("read 0", unset) + line("read 0", -52) + line("read 0", -52) + line("full 0", 0) +
                line("read 1", 0),
            log());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_TRUE(isFrame(ring->frame(0), numberOf(ring->frame(0))));
}

TEST_F(Ring, AbortWhileFramesDoNotCome) {
  prepare(2);
  board.faults().holdFrames(true);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("read 0", unset) + line("read 0", -52) + line("end", -58), log());
}

TEST_F(Ring, BoardPulledOutInTheMiddleOfAFrame) {
  prepare(2);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  log();
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, abort());
  EXPECT_EQ(line("end", -58), log());
  EXPECT_EQ(mark, *ring->frame(1));
  board.plug();
  expectWorkingBoard();
}

TEST_F(Ring, OneBuffer) {
  prepare(1);
  ASSERT_EQ(KVEXA_OK, start());
  std::uint32_t last = 0;
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(ring->full(0).await());
    const auto number = numberOf(ring->frame(0));
    EXPECT_EQ(i == 0 ? number : last + 1, number);
    last = number;
    ring->full(0).reset();
  }
  EXPECT_EQ(KVEXA_OK, abort());
}

TEST_F(Ring, WithoutResultWordItRunsAndEnds) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureArratEx(&handle, frameBytes, 2, ring->buffers.data(), timeout,
                                                   ring->handles.data(), nullptr));
  ASSERT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_TRUE(ring->end().isSet());
}

TEST_F(Ring, BadArgumentsAreRefusedAndNothingIsSent) {
  prepare(2);
  void** const buffers = ring->buffers.data();
  void** const events = ring->handles.data();
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaMultiShotCaptureArratEx(&handle, 0, 2, buffers, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaMultiShotCaptureArratEx(&handle, frameBytes, 0, buffers, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaMultiShotCaptureArratEx(&handle, frameBytes, 2, nullptr, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaMultiShotCaptureArratEx(&handle, frameBytes, 2, buffers, timeout, nullptr, wordAddress()));
  EXPECT_EQ("", trace());
  EXPECT_EQ(0U, calls.workerCount());
}

TEST_F(Ring, WithoutMemoryForTheWorkerNothingIsSent) {
  prepare(2);
  expectRefusedWithoutMemory([this] { return start(); });
}

TEST_F(Ring, WorkerThatCannotBeCreatedLeavesTheBoardStopped) {
  prepare(2);
  calls.refuseWorkers = true;
  EXPECT_EQ(KVEXA_BUSY, start());
  calls.refuseWorkers = false;
  EXPECT_EQ("", log());
  EXPECT_NE(0, board.boardRegister(0x0104) & 2);
  expectWorkingBoard();
  ASSERT_EQ(KVEXA_OK, start());
  EXPECT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, abort());
}

// Each frame that finds no room is lost on the board, which tells; those that come stay in order.
TEST_F(Ring, ConsumerThatIsTooLateLosesFramesOnTheBoard) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  EXPECT_EQ(0, kVexaIsDropFrame(&handle));
  machine.clock().advance(1000000);
  EXPECT_EQ(1, kVexaIsDropFrame(&handle));

  std::uint32_t last = 0;
  unsigned gaps = 0;
  for (unsigned k = 0; k < 12; ++k) {
    ASSERT_TRUE(ring->full(k % 2).await());
    const auto number = numberOf(ring->frame(k % 2));
    if (k > 0) {
      EXPECT_GT(number, last);
      if (number != last + 1) ++gaps;
    }
    last = number;
    ring->full(k % 2).reset();
  }
  EXPECT_EQ(1U, gaps);
  EXPECT_EQ(KVEXA_OK, abort());
}

// In frame-drop mode the frames in the buffer follow one another, and no more come.
TEST_F(Ring, FrameDropModeEndsAtTheFirstFrameThatIsLost) {
  prepare(2);
  Event failed;
  calls.beforeRead = [&](const FrameRead&) {
    if (word == KVEXA_TIMED_OUT) failed.set();
  };
  ASSERT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 1));
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  machine.clock().advance(1000000);
  const std::uint32_t first = numberOf(ring->frame(0));
  // Two in the ring, two in the board's buffer and one in the kibibyte that it is larger.
  for (unsigned k = 0; k < 5; ++k) {
    ASSERT_TRUE(ring->full(k % 2).await());
    EXPECT_EQ(first + k, numberOf(ring->frame(k % 2)));
    ring->full(k % 2).reset();
  }
  EXPECT_TRUE(failed.await());
  EXPECT_FALSE(ring->full(1).isSet());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 0));
  expectWorkingBoard();
}

}  // namespace
}  // namespace kvexa::test
