// Requests that the driver completes when nobody waits for them any more.
#include "tests/pcie/PcieFixture.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

using sim::pcie::Wait;

class PcieLate : public PcieFixture {
 protected:
  std::int32_t measureInVain() {
    actual = {untouched, untouched, -1.0};
    const std::int32_t result = kVexaAutoActualEx(&handle, &actual, 5);
    EXPECT_EQ(untouched, actual.firstDimension);
    return result;
  }

  unsigned events() { return machine.resources().open(sim::Resources::Kind::event); }
  unsigned blocks() { return machine.resources().open(sim::Resources::Kind::globalMemory); }

  // The next request of the library clears away what the driver is done with.
  void expectNothingLeft() {
    std::vector<std::uint32_t> word(1);
    kVexaRegRead(&handle, 0x36, 0, 1, 1, word.data());
    EXPECT_EQ(0U, events());
    EXPECT_EQ(0U, blocks());
    EXPECT_EQ(0U, machine.loans().lostLoans());
  }

  AutoActual actual{};
};

TEST_F(PcieLate, MeasurementThatTimedOutKeepsItsRecordUntilItCompletes) {
  stream(64, 64);
  board.hold(Wait::measurement, true);
  EXPECT_EQ(KVEXA_TIMED_OUT, measureInVain());
  EXPECT_EQ(1U, board.pending(Wait::measurement));
  EXPECT_EQ(1U, events());
  EXPECT_EQ(1U, blocks());
  board.hold(Wait::measurement, false);
  EXPECT_EQ(0U, board.pending());
  EXPECT_EQ(untouched, actual.firstDimension);
  expectNothingLeft();
}

TEST_F(PcieLate, HundredOfThemAreKeptAndFreed) {
  board.hold(Wait::measurement, true);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(KVEXA_TIMED_OUT, measureInVain());
  EXPECT_EQ(100U, board.pending(Wait::measurement));
  board.hold(Wait::measurement, false);
  expectNothingLeft();
}

TEST_F(PcieLate, NothingPilesUpOverTenThousandMeasurements) {
  for (int round = 0; round < 10000; ++round) {
    board.hold(Wait::measurement, true);
    ASSERT_EQ(KVEXA_TIMED_OUT, measureInVain());
    // Every other time it completes before the next one is asked for.
    if (round % 2 == 0) board.hold(Wait::measurement, false);
    ASSERT_LE(events(), 3U) << round;
    ASSERT_LE(blocks(), 3U) << round;
    if (round % 64 == 0) trace();
  }
  board.hold(Wait::measurement, false);
  expectNothingLeft();
}

// The stop was refused too, so the measurement goes on.
TEST_F(PcieLate, MeasurementWhoseStopWasRefusedCompletesByItself) {
  stream(64, 64, 1000);
  refuse(2);
  board.hold(Wait::measurement, true);
  EXPECT_EQ(KVEXA_TIMED_OUT, measureInVain());
  EXPECT_EQ(1U, board.pending(Wait::measurement));
  board.hold(Wait::measurement, false);
  until([&] { return board.pending() == 0; });
  EXPECT_NE(std::string::npos, trace().find("autoActual complete 00000000 00000040 00000040"));
  EXPECT_EQ(untouched, actual.firstDimension);
  expectNothingLeft();
}

TEST_F(PcieLate, CaptureThatSurvivesItsAbortWritesNothingMore) {
  stream(128, 8);
  board.hold(Wait::capture, true);
  board.hold(Wait::interval, true);
  for (int round = 0; round < 100; ++round) {
    {
      MultiShot capture(1024, 0);
      ASSERT_EQ(KVEXA_OK, capture.start(handle));
      until([&] { return board.pending(Wait::capture) == 1; });
      ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    }
    ASSERT_EQ(2U, board.pending());
    machine.clock().advance(1000000);
    ASSERT_TRUE(board.complete(Wait::capture, 0));
    ASSERT_TRUE(board.complete(Wait::interval, 0));
  }
  expectNothingLeft();
}

// A start that failed leaves its interval armed; the next start cancels it.
TEST_F(PcieLate, IntervalThatIsStillArmedWhenItsWorkerEndsIsKept) {
  stream(128, 8);
  for (int round = 0; round < 50; ++round) {
    MultiShot capture(1024, 1);
    answer(5, 0x1003);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    ASSERT_EQ(KVEXA_TIMED_OUT, capture.result());
    ASSERT_EQ(1U, board.pending(Wait::interval)) << round;
    ASSERT_LE(events(), 4U) << round;
  }
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(0U, board.pending());
  expectNothingLeft();
}

TEST_F(PcieLate, ClosingTheBoardEndsWhatIsPending) {
  board.hold(Wait::measurement, true);
  EXPECT_EQ(KVEXA_TIMED_OUT, measureInVain());
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  EXPECT_EQ(0U, board.pending());
  board.hold(Wait::measurement, false);
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &handle));
  expectNothingLeft();
}

// The library's interval record is its own, so it may complete whenever it likes.
TEST_F(PcieLate, IntervalOfTheCallerMayEndAfterTheCallersUse) {
  OVERLAPPED overlapped{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(KVEXA_OK, kVexaWaitInterval(&handle, &overlapped));
    ASSERT_EQ(KVEXA_OK, kVexaCancelInterval(&handle));
    ASSERT_EQ(0U, board.pending());
  }
  CloseHandle(overlapped.hEvent);
  expectNothingLeft();
}

TEST_F(PcieLate, NoHandleIsLeft) {
  stream(128, 8);
  std::vector<std::uint8_t> frame(1024);
  const auto round = [&] {
    MultiShot capture(1024, 2);
    ASSERT_EQ(KVEXA_OK, capture.start(handle));
    capture.result();
    ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    ASSERT_EQ(KVEXA_OK, kVexaOneShotCapture(&handle, 1024, frame.data(), 100));
    ASSERT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
    board.faults().holdFrames(true);
    ASSERT_EQ(KVEXA_TIMED_OUT, measureInVain());
    board.faults().holdFrames(false);
    trace();
  };
  round();
  expectNothingLeft();
  const unsigned before = processHandleCount();
  for (int i = 0; i < 1000; ++i) round();
  expectNothingLeft();
  // A lock of the simulation takes a handle when two threads first meet at it; a leak would be a thousand.
  EXPECT_LT(processHandleCount(), before + 20);
}

}  // namespace
}  // namespace kvexa::test
