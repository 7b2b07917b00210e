// Measurement of the incoming frames: rate and dimensions.
#include <cmath>

#include "tests/support/CaptureFixture.h"
#include "tests/usb/LibraryCalls.h"

namespace kvexa::test {
namespace {

constexpr unsigned periodRegister = 0x0108;

using FrameRate = CaptureFixture;

TEST_F(FrameRate, WithoutFramesIsZeroAfterElevenPolls) {
  const auto start = machine.clock().now();
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
  EXPECT_EQ(boardRead(periodRegister) + repeat(11, sleep(100) + boardRead(periodRegister)), trace());
  EXPECT_EQ(1100000U, machine.clock().now() - start);
}

TEST_F(FrameRate, SteadyToggleBitIsZeroWhateverThePeriod) {
  board.setBoardRegister(periodRegister, 0x8000 | 333);
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
}

// 33.3 ms a frame: every 100 ms three frames more, so the bit differs at each poll.
TEST_F(FrameRate, StopsAtTheSecondToggle) {
  startStreaming(64, 64, 333);
  EXPECT_DOUBLE_EQ(10000.0 / 333, kVexaGetFrameRate(&handle));
  EXPECT_EQ(boardRead(periodRegister) + repeat(2, sleep(100) + boardRead(periodRegister)), trace());
}

// 10 ms a frame: at each poll ten frames more, and the bit as before.
TEST_F(FrameRate, FramesInStepWithThePollsSeemToStandStill) {
  startStreaming(64, 64, 100);
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
  AutoActual actual{};
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_DOUBLE_EQ(100.0, actual.frameRate);
}

// 400 ms a frame: the bit changes at the fourth and at the eighth poll.
TEST_F(FrameRate, SlowFramesAreWaitedFor) {
  startStreaming(64, 64, 4000);
  EXPECT_DOUBLE_EQ(2.5, kVexaGetFrameRate(&handle));
  EXPECT_EQ(boardRead(periodRegister) + repeat(8, sleep(100) + boardRead(periodRegister)), trace());
}

// One frame in 1.1 s is one toggle only.
TEST_F(FrameRate, SingleToggleIsNoRate) {
  startStreaming(64, 64, 10000);
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
}

TEST_F(FrameRate, UnreadableRegisterIsZero) {
  board.unplug();
  EXPECT_EQ(0.0, kVexaGetFrameRate(&handle));
}

TEST_F(FrameRate, BadHandleIsADouble) {
  EXPECT_EQ(-54.0, kVexaGetFrameRate(nullptr));
  handle.boardType = 2;
  EXPECT_EQ(-54.0, kVexaGetFrameRate(&handle));
  handle.boardType = KVEXA_BOARD_USB;
}

class AutoActualTest : public CaptureFixture {
 protected:
  AutoActual actual{untouched, untouched, -1.0};
};

// The status word and the two measurement words are cleared. The words' addresses keep their low byte.
std::string start() {
  return polledWrite(2, 0) + polledWrite(0x0E, 0) + polledWrite(0x10, 0) + boardWrite(0x0102, 3);
}

std::string poll() { return sleep(10) + polledRead(2) + sleep(1); }

std::string result() { return boardRead(0x010E) + boardRead(0x0110) + boardRead(periodRegister); }

TEST_F(AutoActualTest, MeasuresTheFramesThatComeIn) {
  stream(640, 480);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_EQ(640U, actual.firstDimension);
  EXPECT_EQ(480U, actual.secondDimension);
  EXPECT_DOUBLE_EQ(100.0, actual.frameRate);
}

TEST_F(AutoActualTest, StopsPollingAtTheFirstMeasurement) {
  startStreaming(64, 64, 10);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_EQ(start() + poll() + polledWrite(2, 0) + result(), trace());
  EXPECT_DOUBLE_EQ(1000.0, actual.frameRate);
}

TEST_F(AutoActualTest, WithoutFramesSucceedsAfterThreeHundredPollsWithWhatTheRegistersHold) {
  board.setBoardRegister(0x010E, 1280);
  board.setBoardRegister(0x0110, 960);
  board.setBoardRegister(periodRegister, 0x8000 | 250);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handle, &actual));
  EXPECT_EQ(start() + repeat(300, poll()) + boardWrite(0x0102, 0) + result(), trace());
  EXPECT_EQ(1280U, actual.firstDimension);
  EXPECT_EQ(960U, actual.secondDimension);
  EXPECT_DOUBLE_EQ(40.0, actual.frameRate);
}

TEST_F(AutoActualTest, WithoutAPeriodTheRateIsZero) {
  board.setBoardRegister(periodRegister, 0);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 0));
  EXPECT_EQ(0.0, actual.frameRate);
}

// The whole word is tested for zero, but only its low 15 bits are the period: intended.
TEST_F(AutoActualTest, ToggleBitAloneIsAnInfiniteRate) {
  board.setBoardRegister(periodRegister, 0x8000);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 0));
  EXPECT_TRUE(std::isinf(actual.frameRate));
}

TEST_F(AutoActualTest, TimeoutAllowsOnePollMoreThanItsTensOfMilliseconds) {
  struct Limit {
    std::uint32_t timeout;
    unsigned polls;
  };
  for (const auto [timeout, polls] : {Limit{0, 1}, Limit{9, 1}, Limit{10, 2}, Limit{100, 11}}) {
    EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, timeout));
    EXPECT_EQ(start() + repeat(polls, poll()) + boardWrite(0x0102, 0) + result(), trace()) << timeout;
  }
}

// The other bits of the status word tell nothing about the measurement.
TEST_F(AutoActualTest, OnlyBitZeroOfTheStatusIsAMeasurement) {
  for (const bool isDone : {false, true}) {
    LibraryCalls calls(libraryModule());
    calls.onSleep = [&](DWORD milliseconds) {
      if (milliseconds == 10) board.setTargetWord(2, isDone ? 0x8001 : 0xFFFE);
    };
    EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 20));
    const std::string polls = isDone ? poll() + polledWrite(2, 0) : repeat(3, poll()) + boardWrite(0x0102, 0);
    EXPECT_EQ(start() + polls + result(), trace());
  }
}

TEST_F(AutoActualTest, MeasurementBeforeTheTimeoutEndsThePolling) {
  startStreaming(64, 64, 10);
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 1000));
  EXPECT_EQ(start() + poll() + polledWrite(2, 0) + result(), trace());
}

TEST_F(AutoActualTest, UnpluggedBoardStillGivesSuccess) {
  board.unplug();
  EXPECT_EQ(KVEXA_OK, kVexaAutoActualEx(&handle, &actual, 0));
}

}  // namespace
}  // namespace kvexa::test
