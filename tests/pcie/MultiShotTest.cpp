// Captures on a worker thread.
#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

using Events = MultiShot::Events;

class PcieMultiShot : public PcieFixture {
 protected:
  // A frame of a counted capture is frame `number` of the sensor, whole.
  void expectFrames(const MultiShot& capture, std::uint64_t first) {
    for (std::uint32_t i = 0; i < capture.frameCount; ++i) {
      const auto frame = board.frameBytes(first + i);
      ASSERT_TRUE(std::equal(frame.begin(), frame.end(), capture.frame(i))) << i;
    }
    EXPECT_EQ(0xA5, capture.buffer.back());
  }

  static std::string captureRequest(const MultiShot& capture, std::uint32_t bytes, std::uint32_t continuous,
                                    std::uint32_t timeout) {
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(capture.buffer.data()));
    return request("capture", {0, address, bytes, 1, continuous, timeout, 2});
  }

  static std::string armed() { return pending(request("interval", {0, 0})); }

  // Everything that the worker sends before the capture.
  std::string prepared(std::uint32_t frames, std::uint32_t interval) const {
    return writeRegister(0x310, frames) + intervalsCancelled(handle) + writeRegister(0x40, interval) +
           armed();
  }

  // The end of a worker, whose interval is still armed.
  std::string ended() const { return intervalsCancelled(handle) + complete("interval", 0x1000) + stopped(); }
};

TEST_F(PcieMultiShot, OrderOfRequestsWithAFrameEvent) {
  stream(128, 8);
  MultiShot capture(1024, 3);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  const std::string frame = complete("interval") + armed();
  EXPECT_EQ(prepared(3, 1024) + pending(captureRequest(capture, 3072, 0, 500)) + frame + frame + frame +
                complete("capture") + ended() + intervalsCancelled(handle) + stopped(),
            trace());
  expectFrames(capture, 0);
}

TEST_F(PcieMultiShot, OrderOfRequestsWithoutAFrameEvent) {
  stream(128, 8);
  MultiShot capture(1024, 3, Events::endOnly);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(writeRegister(0x310, 3) + armed() + pending(captureRequest(capture, 3072, 0, 500)) +
                complete("capture") + ended() + intervalsCancelled(handle) + stopped(),
            trace());
  expectFrames(capture, 0);
}

TEST_F(PcieMultiShot, FrameCountOfZeroRepeatsOneFrameUntilTheAbort) {
  stream(128, 8);
  MultiShot capture(1024, 0);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
  for (int i = 0; i < 10; ++i) capture.awaitFrame();
  EXPECT_EQ(0U, trace().find(prepared(1, 1024) + pending(captureRequest(capture, 1024, 1, 500)) +
                             complete("interval") + armed()));
  EXPECT_EQ(MultiShot::unset, capture.resultWord);
  EXPECT_FALSE(capture.endIsSignalled());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(capture.endIsSignalled());
  EXPECT_TRUE(capture.resultWord == KVEXA_OK || capture.resultWord == KVEXA_ABORTED) << capture.resultWord;
  EXPECT_EQ(0U, board.pending());
  EXPECT_EQ(0xA5, capture.buffer.back());
}

TEST_F(PcieMultiShot, FrameSizeIsRoundedUpToFour) {
  stream(143, 7);  // 1001 bytes, which the board fills up to 1004
  MultiShot capture(1001, 2);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(0U, trace().find(prepared(2, 1004) + pending(captureRequest(capture, 2008, 0, 500))));
  expectFrames(capture, 0);
}

TEST_F(PcieMultiShot, SecondFormPassesCountAndRepetitionAsGiven) {
  stream(128, 8);
  const struct {
    std::uint32_t count;
    std::uint32_t continuous;
  } rows[] = {{3, 0}, {2, 1}, {1, 7}};
  for (const auto& row : rows) {
    MultiShot capture(1024, row.count);
    ASSERT_EQ(KVEXA_OK,
              kVexaMultiShotCapture2(&handle, 1024, row.count, row.continuous, capture.buffer.data(), 500,
                                     capture.frameEvent, capture.endEvent, &capture.resultWord));
    capture.awaitFrame();
    if (row.continuous == 0) {
      EXPECT_EQ(KVEXA_OK, capture.result());
    }
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    const auto lines = trace();
    EXPECT_EQ(0U, lines.find(prepared(row.count, 1024) +
                             pending(captureRequest(capture, 1024 * row.count, row.continuous, 500))))
        << lines.substr(0, 600);
  }
}

TEST_F(PcieMultiShot, ArgumentsThatMakeNoSenseAreRefusedAndNothingRuns) {
  MultiShot c(1024, 1);
  const auto* b = &handle;
  void* const to = c.buffer.data();
  const auto first = [&](std::uint32_t bytes, std::uint32_t count, void* buffer) {
    return kVexaMultiShotCaptureEx(b, bytes, count, buffer, 500, c.frameEvent, c.endEvent, &c.resultWord);
  };
  const auto second = [&](std::uint32_t bytes, std::uint32_t count, void* buffer) {
    return kVexaMultiShotCapture2(b, bytes, count, 0, buffer, 500, c.frameEvent, c.endEvent, &c.resultWord);
  };
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, first(0, 1, to));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, second(0, 1, to));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, second(1024, 0, to));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, first(1024, 1, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, second(1024, 1, nullptr));
  // More bytes than the address space has, also by rounding and by multiplication.
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, first(0xFFFFFFFE, 1, to));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, first(0x10000, 0x10000, to));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, second(0x80000001, 2, to));
  EXPECT_EQ(MultiShot::unset, c.resultWord);
  EXPECT_EQ("", trace());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
}

TEST_F(PcieMultiShot, StartResetsBothEvents) {
  MultiShot capture(1024, 1);
  SetEvent(capture.frameEvent);
  SetEvent(capture.endEvent);
  board.hold(sim::pcie::Wait::capture, true);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  EXPECT_FALSE(capture.frameIsSignalled());
  EXPECT_FALSE(capture.endIsSignalled());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  board.hold(sim::pcie::Wait::capture, false);
}

TEST_F(PcieMultiShot, EndComesAfterTheResultAndBothEventsAreSet) {
  stream(128, 8);
  for (int i = 0; i < 50; ++i) {
    MultiShot capture(1024, 1 + i % 3);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    ASSERT_EQ(KVEXA_OK, capture.result());  // the word as it is when the end event is set
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.frameIsSignalled());
  }
}

TEST_F(PcieMultiShot, WithoutAnEndEventTheWorkerFails) {
  MultiShot capture(1024, 1, Events::frameOnly);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  EXPECT_TRUE(await(capture.frameEvent));
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(KVEXA_BUSY, capture.resultWord);
  EXPECT_EQ(intervalsCancelled(handle) + stopped(), trace());  // those of the abort
}

TEST_F(PcieMultiShot, NullResultWordIsNoResultWord) {
  stream(128, 8);
  MultiShot capture(1024, 2);
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, 1024, 2, capture.buffer.data(), 0, capture.frameEvent,
                                              capture.endEvent, nullptr));
  capture.result();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  expectFrames(capture, 0);
}

// The worker's events are its second and third; the first is made by the start.
TEST_F(PcieMultiShot, WorkerWithoutResourcesFailsAndSignalsBothEvents) {
  const struct {
    sim::Resources::Kind kind;
    unsigned number;
  } rows[] = {{sim::Resources::Kind::event, 2},
              {sim::Resources::Kind::event, 3},
              {sim::Resources::Kind::globalMemory, 1},
              {sim::Resources::Kind::globalMemory, 2}};
  for (const auto& row : rows) {
    MultiShot capture(1024, 1);
    machine.resources().fail(row.kind, row.number);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    EXPECT_EQ(KVEXA_BUSY, capture.result()) << row.number;
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.frameIsSignalled());
    EXPECT_EQ(intervalsCancelled(handle) + stopped(), trace());
  }
}

TEST_F(PcieMultiShot, WorkerThatCannotBeMadeIsTold) {
  MultiShot capture(1024, 1);
  for (const auto kind : {sim::Resources::Kind::thread, sim::Resources::Kind::event}) {
    machine.resources().fail(kind, 1);
    EXPECT_EQ(KVEXA_BUSY, capture.start(handle));
    EXPECT_EQ(MultiShot::unset, capture.resultWord);
    EXPECT_EQ("", trace());
  }
  stream(128, 8);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
}

struct StatusResult {
  std::uint32_t status;
  std::int32_t atStart;
  std::int32_t atEnd;
};

const StatusResult results[] = {
    {0x0000, KVEXA_OK, KVEXA_OK},
    {0x1000, KVEXA_ABORTED, KVEXA_ABORTED},
    {0x1001, KVEXA_DRIVER_1001, KVEXA_OK},
    {0x1002, KVEXA_OK, KVEXA_OK},
    {0x1003, KVEXA_TIMED_OUT, KVEXA_TIMED_OUT},
    {0x1004, KVEXA_DRIVER_1004, KVEXA_DRIVER_1004},
    {0x2000, KVEXA_OK, KVEXA_OK},
    {0x2009, KVEXA_OK, KVEXA_OK},
    {0x3000, KVEXA_DRIVER_3000, KVEXA_OK},
    {0x3001, KVEXA_DRIVER_3001, KVEXA_OK},
    {0x6666, KVEXA_OK, KVEXA_OK},
};

// A start that failed leaves the board-access mutex behind; the next capture takes it over.
TEST_F(PcieMultiShot, StatusAtTheStartHasItsResultAndTheNextCaptureWorks) {
  stream(128, 8);
  for (const auto& row : results) {
    SCOPED_TRACE(row.status);
    trace();
    MultiShot capture(1024, 2);
    answer(5, row.status);
    ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
    EXPECT_EQ(row.atStart, capture.result());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    const std::string start = prepared(2, 1024) + done(captureRequest(capture, 2048, 0, 500), row.status);
    // A failed start is followed by nothing of the worker's own: the interval's end is the abort's doing.
    const std::string atAbort = intervalsCancelled(handle) + stopped();
    EXPECT_EQ(row.atStart == KVEXA_OK
                  ? start + ended() + atAbort
                  : start + intervalsCancelled(handle) + complete("interval", 0x1000) + stopped(),
              trace());
    EXPECT_TRUE(capture.frameIsSignalled());

    std::vector<std::uint8_t> frame(1024);
    ASSERT_EQ(KVEXA_OK, kVexaOneShotCapture(&handle, 1024, frame.data(), 500));
    MultiShot next(1024, 2);
    ASSERT_EQ(KVEXA_OK, next.start(handle, 500));
    EXPECT_EQ(KVEXA_OK, next.result());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  }
}

TEST_F(PcieMultiShot, StatusAtTheEndHasItsResult) {
  stream(128, 8);
  for (const auto& row : results) {
    SCOPED_TRACE(row.status);
    MultiShot capture(1024, 0);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    capture.awaitFrame();  // the worker has looked at the status of the start by now
    ASSERT_TRUE(board.complete(sim::pcie::Wait::capture, row.status));
    EXPECT_EQ(row.atEnd, capture.result());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  }
}

TEST_F(PcieMultiShot, FramesThatStayAwayTimeOut) {
  stream(128, 8);
  MultiShot capture(1024, 0);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 300));
  capture.awaitFrame();
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_TIMED_OUT, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  board.faults().holdFrames(false);
  ASSERT_EQ(KVEXA_OK, capture.start(handle, 300));
  capture.awaitFrame();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
}

TEST_F(PcieMultiShot, RefusedRequestsBeforeTheCaptureDoNotMatter) {
  stream(128, 8);
  for (unsigned k = 1; k <= 4; ++k) {
    refuse(k);
    MultiShot capture(1024, 3);
    ASSERT_EQ(KVEXA_OK, capture.start(handle, 500)) << k;
    EXPECT_EQ(KVEXA_OK, capture.result()) << k;
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle)) << k;
  }
}

// A refused capture is no error to the worker: it waits on, until the abort.
TEST_F(PcieMultiShot, RefusedCaptureWaitsForTheAbort) {
  stream(128, 8);
  for (const auto events : {Events::both, Events::endOnly}) {
    trace();
    const unsigned number = events == Events::both ? 5 : 3;
    refuse(number);
    MultiShot capture(1024, 3, events);
    const unsigned before = board.faults().requestCount();
    ASSERT_EQ(KVEXA_OK, capture.start(handle, 500));
    until([&] { return board.faults().requestCount() == before + number; });
    for (int i = 0; i < 100; ++i) SwitchToThread();
    EXPECT_FALSE(capture.endIsSignalled());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
  }
}

TEST_F(PcieMultiShot, SecondStartRunsBesideTheFirstAndTheAbortEndsBoth) {
  stream(128, 8);
  board.hold(sim::pcie::Wait::interval, true);
  MultiShot first(1024, 0);
  MultiShot second(1024, 0);
  ASSERT_EQ(KVEXA_OK, first.start(handle));
  until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });
  ASSERT_EQ(KVEXA_OK, second.start(handle));
  EXPECT_EQ(KVEXA_DRIVER_1001, second.result());  // the board does one capture at a time
  EXPECT_FALSE(first.endIsSignalled());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(first.endIsSignalled());
  board.hold(sim::pcie::Wait::interval, false);
  EXPECT_EQ(0U, board.pending());
}

TEST_F(PcieMultiShot, BoardThatIsPulledOutEndsItsCapture) {
  stream(128, 8);
  MultiShot capture(1024, 0);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  capture.awaitFrame();
  board.unplug();
  EXPECT_EQ(KVEXA_ABORTED, capture.result());
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));
  board.plug();
}

}  // namespace
}  // namespace kvexa::test
