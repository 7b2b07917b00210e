// The abort and the completion of the capture that it stops: when the buffer is the caller's again.
#include <algorithm>
#include <atomic>

#include "tests/pcie/PcieFixture.h"
#include "tests/pcie/WorkerWaits.h"
#include "tests/usb/LibraryCalls.h"

namespace kvexa::test {
namespace {

using Events = MultiShot::Events;
using sim::pcie::Wait;

constexpr std::uint32_t frameBytes = 1024;
constexpr sim::Fault hold{sim::Fault::Kind::hold};

class PcieAbortCompletion : public PcieFixture {
 protected:
  // What the driver completes, it completes when the test says so.
  void SetUp() override {
    PcieFixture::SetUp();
    stream(128, 8);
    board.hold(Wait::capture, true);
    calls.onWait = [this](HANDLE, DWORD milliseconds) -> std::optional<DWORD> {
      if (milliseconds == completionLimit && onCompletionWait) onCompletionWait();
      return std::nullopt;
    };
  }

  void TearDown() override {
    board.hold(Wait::capture, false);
    PcieFixture::TearDown();
  }

  // Comes back when the worker has begun to wait, so that it does not see the abort's mark by itself.
  void start(MultiShot& capture) {
    const unsigned before = waits.count();
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    until([&] { return waits.count() == before + 2; });  // for the mutex, and for the capture
    ASSERT_EQ(1U, board.pending(Wait::capture));
  }

  Thread abortOnThread() {
    return Thread([this] {
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
      isOver = true;
    });
  }

  static bool isMarked(const MultiShot& capture, std::uint8_t mark) {
    return std::ranges::all_of(capture.buffer, [mark](std::uint8_t byte) { return byte == mark; });
  }

  static constexpr DWORD completionLimit = 1000;

  LibraryCalls calls{libraryModule()};
  WorkerWaits waits;
  std::function<void()> onCompletionWait;  // the worker begins to wait for the completion
  std::atomic<bool> isOver{false};
};

TEST_F(PcieAbortCompletion, RefusedCaptureIsAbortedAtOnce) {
  for (const auto events : {Events::both, Events::endOnly}) {
    const unsigned captureNumber = events == Events::both ? 5 : 3;
    refuse(captureNumber);
    MultiShot capture(frameBytes, 0, events);
    const unsigned before = board.faults().requestCount();
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    until([&] { return board.faults().requestCount() == before + captureNumber; });
    const auto time = machine.clock().now();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
    EXPECT_EQ(time, machine.clock().now());
  }
}

// The stop was taken: the worker leaves through the completion, and reports what it says.
TEST_F(PcieAbortCompletion, ResultIsTheStatusOfTheCompletion) {
  const struct {
    std::uint32_t status;
    std::int32_t result;
  } rows[] = {{0, KVEXA_OK},
              {0x1000, KVEXA_ABORTED},
              {0x1003, KVEXA_TIMED_OUT},
              {0x1004, KVEXA_DRIVER_1004},
              {0x3000, KVEXA_OK}};
  board.hold(Wait::capture, false);
  for (const auto& row : rows) {
    board.setStopStatus(row.status);
    // Without a frame event there is no interval that the worker could hear of first.
    MultiShot capture(frameBytes, 0, Events::endOnly);
    start(capture);
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_EQ(row.result, capture.resultWord) << row.status;
  }
  board.setStopStatus(std::nullopt);
}

TEST_F(PcieAbortCompletion, AbortReturnsBehindTheCompletion) {
  for (int round = 0; round < 20; ++round) {
    MultiShot capture(frameBytes, 0, Events::endOnly);
    start(capture);
    const unsigned before = board.faults().requestCount();
    unsigned completions = 0;
    isOver = false;
    onCompletionWait = [&] {
      // The abort's requests are sent, the worker's own not yet; nothing tells of an end.
      EXPECT_EQ(before + 2, board.faults().requestCount());
      EXPECT_EQ(MultiShot::unset, capture.resultWord);
      EXPECT_FALSE(capture.endIsSignalled());
      EXPECT_FALSE(isOver);
      completions += board.complete(Wait::capture, 0) ? 1 : 0;
    };
    abortOnThread().join();
    EXPECT_EQ(1U, completions);
    EXPECT_EQ(KVEXA_OK, capture.resultWord);
    EXPECT_EQ(0U, board.pending());
    std::ranges::fill(capture.buffer, 0x3C);
    machine.clock().advance(1000000);
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(isMarked(capture, 0x3C));
  }
}

TEST_F(PcieAbortCompletion, LimitEndsTheWaitForACompletionThatDoesNotCome) {
  for (const auto events : {Events::both, Events::endOnly}) {
    board.hold(Wait::interval, true);
    MultiShot capture(frameBytes, 0, events);
    start(capture);
    const auto before = machine.clock().now();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_LE(before + 1000000, machine.clock().now());
    EXPECT_EQ(1U, board.pending(Wait::capture));
    ASSERT_TRUE(board.complete(Wait::capture, 0));
    board.hold(Wait::interval, false);
    EXPECT_EQ(0U, board.pending());
  }
}

// A late completion finds its record; the buffer is the program's risk then.
TEST_F(PcieAbortCompletion, CompletionBeyondTheLimitIsKept) {
  {
    MultiShot capture(frameBytes, 0, Events::endOnly);
    start(capture);
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  }
  EXPECT_EQ(1U, machine.resources().open(sim::Resources::Kind::event));
  ASSERT_TRUE(board.complete(Wait::capture, 0));
  EXPECT_EQ(0U, machine.loans().lostLoans());
  std::uint32_t word = 0;
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, 0x36, 0, 1, 1, &word));
  EXPECT_EQ(0U, machine.resources().open(sim::Resources::Kind::event));
}

// The driver refuses the abort's stop and takes the worker's: the worker waits behind its own.
TEST_F(PcieAbortCompletion, WorkersOwnStopIsWaitedForWhenTheAbortsWasRefused) {
  MultiShot capture(frameBytes, 0, Events::endOnly);
  start(capture);
  const unsigned before = board.faults().requestCount();
  unsigned completions = 0;
  onCompletionWait = [&] {
    EXPECT_EQ(before + 4, board.faults().requestCount());
    EXPECT_EQ(MultiShot::unset, capture.resultWord);
    completions += board.complete(Wait::capture, 0) ? 1 : 0;
  };
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));
  EXPECT_EQ(1U, completions);
  EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
  EXPECT_EQ(0U, board.pending());
}

// ---- The order of marks and requests ----

// The mark comes before the first request: a worker that hears of a frame meanwhile ends with it.
TEST_F(PcieAbortCompletion, MarkComesBeforeTheRequests) {
  board.hold(Wait::capture, false);
  board.hold(Wait::interval, true);
  MultiShot capture(frameBytes, 0);
  start(capture);
  until([&] { return board.pending(Wait::interval) == 1; });
  board.faults().at(1, hold);
  Thread aborting = abortOnThread();
  board.faults().held().await();
  ASSERT_TRUE(board.complete(Wait::interval, 0));
  EXPECT_EQ(KVEXA_ABORTED, capture.result());
  EXPECT_FALSE(isOver);
  board.faults().held().release();
  board.hold(Wait::interval, false);
  aborting.join();
  EXPECT_EQ(0U, board.pending());
}

// An interval that comes first: the outcome is set, but the worker leaves behind the completion.
TEST_F(PcieAbortCompletion, WorkerThatHearsOfAFrameFirstLeavesBehindTheCompletionToo) {
  board.hold(Wait::interval, true);
  MultiShot capture(frameBytes, 0);
  start(capture);
  until([&] { return board.pending(Wait::interval) == 1; });
  // The abort hangs in its first request, so that the worker sends its cancel and its stop alone.
  board.faults().at(1, hold);
  Thread aborting = abortOnThread();
  board.faults().held().await();
  const unsigned before = board.faults().requestCount();
  unsigned completions = 0;
  onCompletionWait = [&] {
    EXPECT_EQ(before + 3, board.faults().requestCount());  // armed again, cancelled, stopped
    EXPECT_EQ(MultiShot::unset, capture.resultWord);
    completions += board.complete(Wait::capture, 0) ? 1 : 0;
  };
  ASSERT_TRUE(board.complete(Wait::interval, 0));
  EXPECT_EQ(KVEXA_ABORTED, capture.result());
  EXPECT_EQ(1U, completions);
  board.faults().held().release();
  board.hold(Wait::interval, false);
  aborting.join();
  EXPECT_EQ(0U, board.pending());
}

// The worker is woken behind the stop, not before: else it would not find its capture complete.
TEST_F(PcieAbortCompletion, WakeUpComesBehindTheStop) {
  board.hold(Wait::capture, false);
  for (unsigned k = 1; k <= 2; ++k) {
    MultiShot capture(frameBytes, 0, Events::endOnly);
    start(capture);
    board.faults().at(k, hold);
    Thread aborting = abortOnThread();
    board.faults().held().await();
    const unsigned before = board.faults().requestCount();
    for (int turn = 0; turn < 50; ++turn) SwitchToThread();
    EXPECT_EQ(before, board.faults().requestCount());
    EXPECT_FALSE(capture.endIsSignalled());
    EXPECT_EQ(MultiShot::unset, capture.resultWord);
    board.faults().held().release();
    aborting.join();
    EXPECT_EQ(KVEXA_OK, capture.resultWord);
  }
}

// The event is set behind the word, and the thread has ended behind both.
TEST_F(PcieAbortCompletion, RequestsOfAnAbortedCapture) {
  board.hold(Wait::capture, false);
  MultiShot capture(frameBytes, 0, Events::endOnly);
  start(capture);
  trace();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  const std::string cancelAndStop = intervalsCancelled(handle);
  EXPECT_EQ(cancelAndStop + complete("interval", 0x1000) + stopped() + complete("capture") + cancelAndStop +
                stopped(),
            trace());
}

}  // namespace
}  // namespace kvexa::test
