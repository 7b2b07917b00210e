// The abort by itself: its transfers, its result, and how long it waits.

#include "tests/support/HandleCount.h"
#include "tests/usb/EngineFixture.h"

namespace kvexa::test {
namespace {

class Abort : public EngineFixture {
 protected:
  std::int32_t startEndless(std::uint32_t milliseconds) {
    return kVexaMultiShotCaptureEx(&handle, frameBytes, 0, frame, milliseconds, frameEvent.get(),
                                   endEvent.get(), wordAddress());
  }

  std::int32_t startCounted() {
    return kVexaMultiShotCaptureEx(&handle, frameBytes, 1, frame, timeout, frameEvent.get(), endEvent.get(),
                                   wordAddress());
  }

  std::uint8_t frame[2 * frameBytes] = {};
};

TEST_F(Abort, OrderOfRequestsWhenNothingRuns) {
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(abortTransfers(0), trace());
  EXPECT_TRUE(waits().empty());
  board.setBoardRegister(0x0104, 0x0031);
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(abortTransfers(0x0031), trace());
  EXPECT_EQ(0x0033, board.boardRegister(0x0104));
}

TEST_F(Abort, ModeThatCannotBeWrittenIsReturnedAtOnce) {
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));
  const auto text = trace();
  EXPECT_EQ(std::string::npos, text.find(simpleWrite(2, 0)));
  EXPECT_EQ(std::string::npos, text.find(command(1)));
}

TEST_F(Abort, OtherTransfersAreMadeAfterAFailureAndTheirResultsMerged) {
  // Two readings of the status for the mode; then the board reports an error on the bus to the status
  // check of the next write.
  queueStatus(2, 0);
  queueStatus(2, 0x60, '3');
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaAbortCapture(&handle));
  EXPECT_NE(std::string::npos, trace().find(boardWrite(0x0104, 0x0002)));

  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  const unsigned before = board.faults().requestCount();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  const unsigned total = board.faults().requestCount() - before;
  // Behind the data of the control register: its status, a status check, a command, a status check.
  const unsigned controlData = total - 7;
  refuse(controlData);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle));

  queueStatus(2, 0);
  queueStatus(2, 0x60, '3');
  refuse(controlData + 4);  // a status reading more, and a recovery
  trace();
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE | KVEXA_REQUEST_FAILED, kVexaAbortCapture(&handle)) << trace();
}

TEST_F(Abort, StatusChecksDoNotCount) {
  // The statuses of the mode, of the transfer engine, of the control register's reading and writing.
  queueStatus(7, 0);
  queueStatus(2, 0x60, '3');
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_NE(std::string::npos, trace().find(pipeReset()));
}

TEST_F(Abort, WaitsForTheTimeoutOfTheCaptureAndHalfASecond) {
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, startEndless(1234));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(std::vector<DWORD>{1734}, waits());
}

// The time-out of a call that is refused counts as well.
TEST_F(Abort, WaitsForTheTimeoutThatWasGivenLast) {
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, startEndless(1234));
  awaitHeld();
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaOneShotCapture(nullptr, frameBytes, frame, 2000));
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(std::vector<DWORD>{2500}, waits());

  holdRead(0);
  ASSERT_EQ(KVEXA_OK, startEndless(1234));
  awaitHeld();
  BoardHandle closed{};
  EXPECT_EQ(KVEXA_BAD_ARGUMENT,
            kVexaMultiShotCaptureEx(&closed, frameBytes, 0, frame, 3000, nullptr, nullptr, nullptr));
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(std::vector<DWORD>{3500}, waits());
}

TEST_F(Abort, WaitsForAWorkerOnce) {
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, startEndless(timeout));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(1U, waits().size());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
}

// The board is stopped under it; it ends after its frame.
TEST_F(Abort, WorkerThatDoesNotEndInTimeEndsLater) {
  failWaits(true);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, startEndless(timeout));
  awaitHeld();
  log();
  trace();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(abortTransfers(0), trace());
  EXPECT_EQ("", log());
  EXPECT_FALSE(endEvent.isSet());
  failWaits(false);
  release();
  ASSERT_TRUE(endEvent.await());
  EXPECT_EQ(KVEXA_ABORTED, word);
  join();
  expectWorkingBoard();
}

// A capture that is started while such a worker still lives is not ended by it, nor does it go on.
TEST_F(Abort, WorkerThatDidNotEndInTimeDoesNotDisturbTheNextCapture) {
  failWaits(true);
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, startEndless(timeout));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  failWaits(false);

  Event newFrame;
  Event newEnd;
  std::atomic<std::int32_t> newWord{0};
  std::uint8_t newBuffer[frameBytes];
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, frameBytes, 0, newBuffer, timeout, newFrame.get(),
                                              newEnd.get(), reinterpret_cast<std::int32_t*>(&newWord)));
  ASSERT_TRUE(newFrame.await());
  release();
  ASSERT_TRUE(endEvent.await());
  EXPECT_FALSE(newEnd.isSet());
  newFrame.reset();
  ASSERT_TRUE(newFrame.await());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  join();
  EXPECT_TRUE(newEnd.isSet());
  EXPECT_EQ(KVEXA_ABORTED, newWord);
}

TEST_F(Abort, FromAnotherThread) {
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, startEndless(timeout));
  awaitHeld();
  std::int32_t result = 1;
  Thread([&] { result = kVexaAbortCapture(&handle); }).join();
  EXPECT_EQ(KVEXA_OK, result);
  EXPECT_EQ(KVEXA_ABORTED, word);
}

// The flag that ends captures is one for all boards of the process.
TEST_F(Abort, ThroughAPcieBoardEndsTheCaptureToo) {
  machine.addPcieBoards(1);
  BoardHandle pcie{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &pcie));
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, startEndless(timeout));
  awaitHeld();
  trace();
  kVexaAbortCapture(&pcie);
  EXPECT_EQ(std::string::npos, trace().find("usb0"));
  release();
  ASSERT_TRUE(endEvent.await());
  EXPECT_EQ(KVEXA_ABORTED, word);
  join();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&pcie));
}

TEST_F(Abort, NoHandleIsLeftByAnyEnd) {
  const auto round = [&](bool fails) {
    holdRead(0);
    failWaits(fails);
    EXPECT_EQ(KVEXA_OK, startEndless(timeout));
    awaitHeld();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    release();
    join();
    failWaits(false);
    EXPECT_EQ(KVEXA_OK, startCounted());
    join();
    // The next start forgets a worker that nobody waited for.
    EXPECT_EQ(KVEXA_OK, startCounted());
    join();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  };
  round(false);
  round(true);
  const auto before = processHandleCount();
  for (int i = 0; i < 5; ++i) {
    round(false);
    round(true);
  }
  expectHandles(before);
}

}  // namespace
}  // namespace kvexa::test
