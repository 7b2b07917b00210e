// The array capture: start, worker, and its ways to end.
#include "tests/usb/ArrayFixture.h"

namespace kvexa::test {
namespace {

using Array = ArrayFixture;

TEST_F(Array, OrderOfRequests) {
  prepare(3);
  board.setBoardRegister(0x0104, 0x0030);
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(startTransfers(0x0030) + repeat(2, imageRead(frameBytes, timeout) + sleep(0)), trace());

  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(imageRead(frameBytes, timeout) + sleep(0) + stopTransfers(0x0030, 1), trace());
  EXPECT_EQ(0x0030, board.boardRegister(0x0104));
  EXPECT_EQ(std::vector<DWORD>{timeout + 2000}, waits());
}

TEST_F(Array, SequenceThatTheCallerSees) {
  prepare(2);
  calls.afterRead = [&](const FrameRead&) { ring->full(0).reset(); };
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(
      line("read 0", unset) + line("full 0", 0) + line("read 1", 0) + line("full 1", 0) + line("read 0", 0),
      log());
  EXPECT_EQ(KVEXA_OK, stop());
  // The frame that was on its way is still signalled.
  EXPECT_EQ(line("full 0", 0) + line("end", 0), log());
  EXPECT_EQ(KVEXA_OK, word);
}

TEST_F(Array, StopBeforeTheFirstFrameReadsNothing) {
  prepare(3);
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(line("end", 0), log());
  const auto text = trace();
  EXPECT_EQ(std::string::npos, text.find("pipe2"));
}

TEST_F(Array, EventsAreResetBeforeTheWorkerStarts) {
  prepare(3);
  for (const auto& event : ring->events) event.set();
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  for (const auto& event : ring->events) EXPECT_FALSE(event.isSet());
  EXPECT_EQ(KVEXA_OK, stop());
}

TEST_F(Array, BufferSizeIsTheCallers) {
  prepare(2);
  board.setBoardRegister(0x0402, 0x1234);
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(0x1234, board.boardRegister(0x0402));
}

TEST_F(Array, EveryArgumentMustBeThere) {
  prepare(2);
  void** const buffers = ring->buffers.data();
  void** const events = ring->handles.data();
  const auto tried = [&](std::uint32_t bytes, std::uint32_t size, void** to, std::uint32_t milliseconds,
                         void** signals, std::int32_t* result) {
    return kVexaMultiShotCapArrayStart(&handle, bytes, size, to, milliseconds, signals, result);
  };
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(0, 2, buffers, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(frameBytes, 0, buffers, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(frameBytes, 2, nullptr, timeout, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(frameBytes, 2, buffers, 0, events, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(frameBytes, 2, buffers, timeout, nullptr, wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, tried(frameBytes, 2, buffers, timeout, events, nullptr));
  EXPECT_EQ("", trace());
  EXPECT_EQ(0U, calls.workerCount());
}

TEST_F(Array, SecondStartIsRefusedAndTheFirstGoesOn) {
  prepare(2);
  // Both buffers are full, and what the worker does after a frame is done.
  Event looked;
  calls.onWait = [&, wait = calls.onWait](HANDLE object, DWORD milliseconds) {
    if (object == ring->full(0).get() && ring->full(1).isSet()) looked.set();
    return wait(object, milliseconds);
  };
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(looked.await());
  trace();
  EXPECT_EQ(KVEXA_FAILED, start());
  EXPECT_EQ("", trace());
  EXPECT_TRUE(ring->full(1).isSet());
  ring->full(0).reset();
  EXPECT_TRUE(ring->full(0).await());
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_OK, start());
  EXPECT_EQ(KVEXA_OK, stop());
}

TEST_F(Array, HeldBufferIsNotWrittenAndTestedWithoutAPause) {
  prepare(3);
  std::atomic<unsigned> looks{0};
  calls.onWait = [&, wait = calls.onWait](HANDLE object, DWORD milliseconds) {
    if (object == ring->full(1).get() && ring->full(1).isSet()) ++looks;
    return wait(object, milliseconds);
  };
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  ring->full(1).set();
  release();
  until([&] { return looks >= 10; });
  EXPECT_EQ(line("read 0", unset) + line("full 0", 0), log());
  EXPECT_EQ(startTransfers(0) + imageRead(frameBytes, timeout) + sleep(0), trace());
  EXPECT_EQ(mark, *ring->frame(1));
  EXPECT_EQ(mark, *ring->frame(2));

  ring->full(1).reset();
  ASSERT_TRUE(ring->full(2).await());
  EXPECT_EQ(line("read 1", 0) + line("full 1", 0) + line("read 2", 0) + line("full 2", 0), log());
  EXPECT_EQ(KVEXA_OK, stop());
}

TEST_F(Array, StopEndsAWorkerThatFindsNoFreeBuffer) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_OK, word);
  EXPECT_TRUE(ring->end().isSet());
}

// The capture is over then, but runs for the caller until it is stopped.
TEST_F(Array, FrameThatDoesNotComeEndsTheCapture) {
  prepare(2);
  board.faults().holdFrames(true);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->end().await());
  EXPECT_EQ(line("read 0", unset) + line("end", -52), log());
  EXPECT_FALSE(ring->full(0).isSet());
  EXPECT_EQ(KVEXA_FAILED, start());
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_TIMED_OUT, word);
  EXPECT_EQ("", log());
  board.faults().holdFrames(false);
  expectWorkingBoard();
}

TEST_F(Array, StalledFrameEndsTheCapture) {
  prepare(2);
  holdRead(2);
  calls.afterRead = [&](const FrameRead&) { ring->full(0).reset(); };
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  refuse(1);
  release();
  ASSERT_TRUE(ring->end().await());
  EXPECT_EQ(KVEXA_TIMED_OUT, word);
  EXPECT_FALSE(ring->full(0).isSet());
  EXPECT_EQ(KVEXA_OK, stop());
  expectWorkingBoard();
}

TEST_F(Array, EventThatCannotBeTestedEndsTheCapture) {
  prepare(2);
  calls.onWait = [&, wait = calls.onWait](HANDLE object, DWORD milliseconds) -> std::optional<DWORD> {
    if (object == ring->full(1).get()) return WAIT_FAILED;
    return wait(object, milliseconds);
  };
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->end().await());
  EXPECT_EQ(line("read 0", unset) + line("full 0", 0) + line("end", -59), log());
  EXPECT_EQ(mark, *ring->frame(1));
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_BUSY, word);
}

TEST_F(Array, EventThatCannotBeSignalledEndsTheCapture) {
  prepare(2);
  calls.onSignal = [&, signal = calls.onSignal](HANDLE event) {
    signal(event);
    return event != ring->full(1).get();
  };
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->end().await());
  EXPECT_EQ(
      line("read 0", unset) + line("full 0", 0) + line("read 1", 0) + line("full 1", 0) + line("end", -59),
      log());
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ(KVEXA_BUSY, word);
}

TEST_F(Array, BoardPulledOutInTheMiddleOfAFrame) {
  prepare(2);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  board.unplug();
  release();
  ASSERT_TRUE(ring->end().await());
  EXPECT_EQ(KVEXA_TIMED_OUT, word);
  EXPECT_EQ(mark, *ring->frame(1));
  EXPECT_EQ(KVEXA_REQUEST_FAILED, stop());

  board.plug();
  ASSERT_EQ(KVEXA_OK, start());
  EXPECT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, stop());
  expectWorkingBoard();
}

// An abort is for the other captures.
TEST_F(Array, AbortDoesNotEndTheWorker) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
  EXPECT_FALSE(ring->end().isSet());
  EXPECT_EQ(KVEXA_FAILED, start());
  // The abort has stopped the engine, so the stop sees it drain no more.
  EXPECT_EQ(KVEXA_BUSY, stop());
  EXPECT_EQ(KVEXA_OK, word);
  EXPECT_TRUE(ring->end().isSet());
}

TEST_F(Array, WithoutMemoryForTheWorkerNothingIsSent) {
  prepare(2);
  expectRefusedWithoutMemory([this] { return start(); });
}

TEST_F(Array, WorkerThatCannotBeCreatedLeavesTheBoardStoppedAndNothingRuns) {
  prepare(2);
  calls.refuseWorkers = true;
  EXPECT_EQ(KVEXA_BUSY, start());
  calls.refuseWorkers = false;
  EXPECT_EQ("", log());
  EXPECT_EQ(unset, word);
  EXPECT_NE(0, board.boardRegister(0x0104) & 2);
  trace();
  EXPECT_EQ(KVEXA_OK, stop());
  EXPECT_EQ("", trace());
  ASSERT_EQ(KVEXA_OK, start());
  EXPECT_TRUE(ring->full(1).await());
  EXPECT_EQ(KVEXA_OK, stop());
}

// Frames that the board has no room for are lost, and those that come stay in order.
TEST_F(Array, ConsumerThatIsTooLateLosesFramesOnTheBoard) {
  prepare(2);
  ASSERT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, 0.0625));
  ASSERT_EQ(KVEXA_OK, start());
  ASSERT_TRUE(ring->full(1).await());
  machine.clock().advance(600000);
  EXPECT_EQ(0, kVexaIsDropFrame(&handle));
  machine.clock().advance(600000);
  EXPECT_EQ(1, kVexaIsDropFrame(&handle));

  // 64 frames of a kibibyte and two in the ring.
  const std::uint32_t first = numberOf(ring->frame(0));
  for (unsigned k = 0; k < 68; ++k) {
    ASSERT_TRUE(ring->full(k % 2).await());
    const auto number = numberOf(ring->frame(k % 2));
    if (k < 66) {
      EXPECT_EQ(first + k, number);
    } else {
      EXPECT_GT(number, first + 100);
    }
    ring->full(k % 2).reset();
  }
  EXPECT_EQ(KVEXA_OK, stop());
}

}  // namespace
}  // namespace kvexa::test
