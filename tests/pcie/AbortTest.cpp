// The end of captures from outside.
#include <memory>
#include <random>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

using Events = MultiShot::Events;

class PcieAbort : public PcieFixture {
 protected:
  std::string requests() const { return intervalsCancelled(handle) + stopped(); }
};

TEST_F(PcieAbort, WithoutACaptureItSendsTwoRequests) {
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(requests(), trace());
}

TEST_F(PcieAbort, ResultIsThatOfTheStopRequest) {
  answer(1, 0x3000);
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  answer(2, 0x3000);
  EXPECT_EQ(KVEXA_DRIVER_3000, kVexaAbortCapture(&handle));
  answer(2, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaAbortCapture(&handle));
  answer(2, 0x1000);
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));
}

TEST_F(PcieAbort, HandleThatIsNotAnOpenBoardsIsRefusedAndNothingIsSent) {
  BoardHandle stranger = handle;
  stranger.driverHandle = reinterpret_cast<void*>(0x1234);
  EXPECT_EQ(KVEXA_FAILED, kVexaAbortCapture(&stranger));
  EXPECT_EQ("", trace());
}

TEST_F(PcieAbort, ClosedBoardIsNoOpenBoard) {
  const BoardHandle before = handle;
  ASSERT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  trace();
  EXPECT_EQ(KVEXA_FAILED, kVexaAbortCapture(&before));
  EXPECT_EQ("", trace());
}

TEST_F(PcieAbort, EndsACaptureWithoutAFrameEvent) {
  stream(128, 8);
  for (int i = 0; i < 20; ++i) {
    MultiShot capture(1024, 0, Events::endOnly);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_TRUE(capture.resultWord == KVEXA_OK || capture.resultWord == KVEXA_ABORTED) << capture.resultWord;
    EXPECT_EQ(0U, board.pending());
  }
}

// The stop completes the transfer, which is no failure of it. The worker has no interval to hear of first.
TEST_F(PcieAbort, TransferThatTheStopCompletesIsASuccess) {
  stream(128, 8);
  std::vector<std::uint8_t> frame(1024);
  auto& other = machine.addPcieBoard();
  BoardHandle otherHandle{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 1, &otherHandle));
  other.faults().from(1, {sim::Fault::Kind::answer, 0});
  MultiShot capture(1024, 0, Events::endOnly);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });
  // It comes to its turn only when the worker has begun to wait.
  ASSERT_EQ(KVEXA_OK, kVexaOneShotCapture(&otherHandle, 1024, frame.data(), 10));
  for (int i = 0; i < 1000; ++i) SwitchToThread();
  ASSERT_TRUE(board.complete(sim::pcie::Wait::capture, 0));
  EXPECT_EQ(KVEXA_OK, capture.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&otherHandle));
}

// A driver that answers neither the stop nor the cancel cannot keep the worker.
TEST_F(PcieAbort, DriverThatCompletesNothingHoldsNobody) {
  stream(128, 8);
  for (const auto events : {Events::both, Events::endOnly}) {
    for (const auto kind : {sim::pcie::Wait::capture, sim::pcie::Wait::interval}) board.hold(kind, true);
    MultiShot capture(1024, 0, events);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
    EXPECT_EQ(2U, board.pending());
    for (const auto kind : {sim::pcie::Wait::capture, sim::pcie::Wait::interval}) board.hold(kind, false);
    EXPECT_EQ(0U, board.pending());
  }
}

TEST_F(PcieAbort, RefusedStopAndCancelHoldNobody) {
  stream(128, 8);
  for (const auto events : {Events::both, Events::endOnly}) {
    MultiShot capture(1024, 0, events);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });
    board.faults().from(1, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
    board.faults().clear();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_EQ(0U, board.pending());
  }
}

// The mutex is held by a capture of another board, so the worker has not even begun.
TEST_F(PcieAbort, EndsAWorkerThatWaitsForTheMutex) {
  auto& other = machine.addPcieBoard();
  BoardHandle otherHandle{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 1, &otherHandle));
  std::vector<std::uint8_t> frame(1024);
  Thread capturing([&] { kVexaOneShotCapture(&otherHandle, 1024, frame.data(), 0); });
  until([&] { return other.pending(sim::pcie::Wait::capture) == 1; });
  trace();
  MultiShot capture(1024, 1);
  ASSERT_EQ(KVEXA_OK, capture.start(handle));
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(capture.endIsSignalled());
  EXPECT_EQ(KVEXA_ABORTED, capture.resultWord);
  EXPECT_EQ(requests(), trace());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
  capturing.join();
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&otherHandle));
}

TEST_F(PcieAbort, FromSeveralThreadsAtOnceIsOneAbort) {
  stream(128, 8);
  for (int round = 0; round < 100; ++round) {
    MultiShot capture(1024, 0);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    std::vector<Thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] { EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle)); });
    }
    for (auto& thread : threads) thread.join();
    ASSERT_TRUE(capture.endIsSignalled());
  }
}

TEST_F(PcieAbort, StatusOfTheStoppedTransferCounts) {
  stream(128, 8);
  const struct {
    std::uint32_t status;
    std::int32_t result;
  } rows[] = {{0x1000, KVEXA_ABORTED}, {0x1003, KVEXA_TIMED_OUT}, {0x1004, KVEXA_DRIVER_1004}};
  for (const auto& row : rows) {
    board.setStopStatus(row.status);
    MultiShot capture(1024, 0);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    capture.awaitFrame();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    // An interval that ends first shows the abort.
    EXPECT_TRUE(capture.resultWord == row.result || capture.resultWord == KVEXA_ABORTED)
        << capture.resultWord;
  }
}

// ---- Many rounds ----

class PcieAbortRounds : public PcieFixture {
 protected:
  static constexpr unsigned seed = 20240611;

  unsigned pick(unsigned below) { return static_cast<unsigned>(random() % below); }

  // A fault for one of the next requests, or none.
  void pickFault() {
    static constexpr std::uint32_t statuses[] = {0x1000, 0x1001, 0x1002, 0x1003, 0x1004,
                                                 0x2000, 0x3000, 0x3001, 0x4321};
    const unsigned k = 1 + pick(12);
    switch (pick(8)) {
      case 0: refuse(k); break;
      case 1: answer(k, statuses[pick(9)]); break;
      case 2: answerLater(k, statuses[pick(9)]); break;
      default: break;
    }
  }

  void wait() {
    for (unsigned i = pick(3) == 0 ? pick(40) : pick(3); i > 0; --i) SwitchToThread();
  }

  static bool isDocumented(std::int32_t outcome) {
    return outcome == KVEXA_OK || outcome == KVEXA_TIMED_OUT ||
           (outcome <= KVEXA_ABORTED && outcome >= KVEXA_DRIVER_1004 && outcome != KVEXA_NO_DEVICE_PATH);
  }

  std::mt19937 random{seed};
};

TEST_F(PcieAbortRounds, TenThousandEndWithADocumentedOutcome) {
  RecordProperty("seed", seed);
  stream(128, 1);
  std::vector<std::unique_ptr<MultiShot>> captures;
  for (const auto events : {Events::both, Events::endOnly, Events::frameOnly}) {
    for (const std::uint32_t count : {0U, 1U, 5U})
      captures.push_back(std::make_unique<MultiShot>(128, count, events));
  }
  for (int round = 0; round < 10000; ++round) {
    MultiShot& capture = *captures[pick(static_cast<unsigned>(captures.size()))];
    capture.resultWord = MultiShot::unset;
    pickFault();
    ASSERT_EQ(KVEXA_OK, capture.start(handle, pick(2) == 0 ? 0 : 1000)) << "seed " << seed << ", " << round;
    wait();
    kVexaAbortCapture(&handle);
    board.faults().clear();
    const std::int32_t outcome = capture.resultWord;
    ASSERT_TRUE(isDocumented(outcome)) << outcome << ", seed " << seed << ", " << round;
    ASSERT_EQ(capture.endEvent == nullptr, outcome == KVEXA_BUSY) << "seed " << seed << ", " << round;
    ASSERT_TRUE(capture.endEvent == nullptr || capture.endIsSignalled()) << "seed " << seed << ", " << round;
    // What a fault left behind at the driver is few, and ends with the next stop and cancel.
    ASSERT_LE(board.pending(), 3U) << "seed " << seed << ", " << round;
    if (round % 64 == 0) trace();
  }
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(0U, board.pending());
}

}  // namespace
}  // namespace kvexa::test
