// The capture that the board stores before the transfer.
#include <atomic>
#include <functional>
#include <memory>

#include "tests/files/GuardedMemory.h"
#include "tests/usb/EngineFixture.h"

namespace kvexa::test {
namespace {

class Storage : public EngineFixture {
 protected:
  std::int32_t capture(unsigned count, std::uint32_t milliseconds = timeout) {
    buffer = std::make_unique<GuardedMemory>(frameBytes * count, MemoryEdge::upper, mark);
    return kVexaMultiShotStorage(&handle, frameBytes, count, buffer->data(), milliseconds);
  }

  // Called at each wait for the frames, which are 100 ms; waits of 0 are yields of a status check.
  void atPoll(unsigned k, const std::function<void()>& action) {
    const auto polls = std::make_shared<std::atomic<unsigned>>(0);
    calls.onSleep = [=, next = calls.onSleep](DWORD milliseconds) {
      if (next) next(milliseconds);
      if (milliseconds == 0) return;
      EXPECT_EQ(100U, milliseconds);
      if (++*polls == k) action();
    };
  }

  void abortFromAnotherThread() {
    Thread([this] { abortResult = kVexaAbortCapture(&handle); }).join();
  }

  std::int32_t abortResult = 1;
  std::unique_ptr<GuardedMemory> buffer;
};

std::string setUp(unsigned control, unsigned bufferSize) {
  return holdAndFlush(control) + boardWrite(0x0402, bufferSize) + releaseHold(control) +
         boardWrite(0x0404, 0) + boardWrite(0x0102, 2);
}

std::string stop(unsigned control) {
  return boardWrite(0x0102, 0) + simpleWrite(2, 0) + holdAndFlush(control);
}

TEST_F(Storage, OrderOfRequests) {
  board.setBoardRegister(0x0104, 0x0030);
  EXPECT_EQ(KVEXA_OK, capture(3));
  // The room for five frames of 10 ms is full at the first poll.
  EXPECT_EQ(setUp(0x0030, 65534 - 6) + boardRead(0x0404) + sleep(100) + boardRead(0x0404) +
                imageRead(3 * frameBytes, timeout) + stop(0x0030),
            trace());
  EXPECT_EQ(0x0032, board.boardRegister(0x0104));
}

TEST_F(Storage, PollsUntilTheFramesAreThere) {
  EXPECT_EQ(KVEXA_OK, capture(200));
  // The frames' room and two units more hold 201 frames; the next one finds none, at 2.02 s or 2.03 s.
  EXPECT_EQ(setUp(0, 65534 - 400) + boardRead(0x0404) + repeat(21, sleep(100) + boardRead(0x0404)) +
                imageRead(200 * frameBytes, timeout) + stop(0),
            trace());
}

TEST_F(Storage, FramesFollowOneAnotherAndNothingIsBehindThem) {
  EXPECT_EQ(KVEXA_OK, capture(20));
  const auto first = numberOf(buffer->data());
  for (unsigned k = 0; k < 20; ++k) EXPECT_TRUE(isFrame(buffer->data() + k * frameBytes, first + k));
}

TEST_F(Storage, SecondCaptureGivesNewFrames) {
  EXPECT_EQ(KVEXA_OK, capture(2));
  const auto first = numberOf(buffer->data());
  EXPECT_EQ(KVEXA_OK, capture(2));
  EXPECT_GT(numberOf(buffer->data()), first + 1);
  expectWorkingBoard();
}

TEST_F(Storage, LargeTransferGoesInParts) {
  EXPECT_EQ(KVEXA_OK, capture(2048 + 512));
  const auto text = trace();
  EXPECT_NE(std::string::npos, text.find(imageRead(0x100000, 350) + imageRead(0x100000, 350) +
                                         imageRead(0x80000, 350) + stop(0)));
  const auto first = numberOf(buffer->data());
  for (unsigned k = 0; k < 2048 + 512; ++k) {
    ASSERT_EQ(first + k, numberOf(buffer->data() + k * frameBytes));
  }
}

TEST_F(Storage, NoFramesAreRefusedAfterTheBoardIsHeld) {
  std::uint8_t byte = mark;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaMultiShotStorage(&handle, frameBytes, 0, &byte, timeout));
  EXPECT_EQ(holdAndFlush(0), trace());
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaMultiShotStorage(&handle, 0, 3, &byte, timeout));
  EXPECT_EQ(holdAndFlush(2), trace());
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaMultiShotStorage(&handle, frameBytes, 3, nullptr, timeout));
  EXPECT_EQ(holdAndFlush(2), trace());
  EXPECT_EQ(mark, byte);
}

TEST_F(Storage, MoreThanTheBoardsMemoryIsRefusedAfterTheBoardIsHeld) {
  struct Size {
    std::uint32_t bytes;
    std::uint32_t count;
  };
  const Size tooLarge[] = {{0x2000200, 1},           {0x200, 0x10001},   {0x80000000, 2},
                           {0xFFFFFFFF, 0xFFFFFFFF}, {0x10000, 0x10000}, {0x2000001, 2}};
  std::uint8_t byte = mark;
  trace();
  for (const auto& size : tooLarge) {
    SCOPED_TRACE(testing::Message() << size.bytes << " x " << size.count);
    board.setBoardRegister(0x0402, 0x1234);
    EXPECT_EQ(KVEXA_TOO_LARGE, kVexaMultiShotStorage(&handle, size.bytes, size.count, &byte, timeout));
    const auto text = trace();
    EXPECT_TRUE(text == holdAndFlush(0) || text == holdAndFlush(2)) << text;
    EXPECT_EQ(0x1234, board.boardRegister(0x0402));
  }
  EXPECT_EQ(mark, byte);
}

// A size is looked at in units of 512 bytes, so 511 bytes more than the memory are let through.
TEST_F(Storage, LargestSizeIsStarted) {
  std::uint8_t byte = mark;
  board.faults().holdFrames(true);
  for (const std::uint32_t bytes : {0x2000000U, 0x20001FFU}) {
    calls.onSleep = nullptr;
    atPoll(1, [this] { abortFromAnotherThread(); });
    EXPECT_EQ(KVEXA_ABORTED, kVexaMultiShotStorage(&handle, bytes, 1, &byte, timeout));
    EXPECT_EQ(65534, board.boardRegister(0x0402));
  }
  EXPECT_EQ(mark, byte);
}

TEST_F(Storage, AbortEndsThePolling) {
  board.faults().holdFrames(true);
  atPoll(25, [this] { abortFromAnotherThread(); });
  EXPECT_EQ(KVEXA_ABORTED, capture(3));
  EXPECT_EQ(KVEXA_OK, abortResult);
  EXPECT_TRUE(waits().empty());
  EXPECT_EQ(bytesOf(*buffer), std::vector<std::uint8_t>(3 * frameBytes, mark));
  const auto text = trace();
  EXPECT_EQ(std::string::npos, text.find("pipe2"));
  EXPECT_EQ(stop(2), text.substr(text.size() - stop(2).size()));
  expectWorkingBoard();
}

TEST_F(Storage, EarlierAbortDoesNotEndIt) {
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(KVEXA_OK, capture(3));
  EXPECT_TRUE(isFrame(buffer->data(), numberOf(buffer->data())));
}

TEST_F(Storage, AbortInTheMiddleOfTheTransferLetsItEnd) {
  calls.beforeRead = [this](const FrameRead&) { abortFromAnotherThread(); };
  EXPECT_EQ(KVEXA_OK, capture(3));
  EXPECT_EQ(KVEXA_OK, abortResult);
  calls.beforeRead = nullptr;
  expectWorkingBoard();
}

TEST_F(Storage, TransferThatFailsIsNotReported) {
  calls.beforeRead = [this](const FrameRead&) { board.faults().at(1, {sim::Fault::Kind::refuse, 31}); };
  EXPECT_EQ(KVEXA_OK, capture(3));
  EXPECT_EQ(bytesOf(*buffer), std::vector<std::uint8_t>(3 * frameBytes, mark));
  const auto text = trace();
  EXPECT_EQ(stop(0), text.substr(text.size() - stop(0).size()));
}

TEST_F(Storage, ZeroTimeoutTransfersNothing) {
  EXPECT_EQ(KVEXA_OK, capture(3, 0));
  EXPECT_EQ(std::string::npos, trace().find("pipe2"));
  EXPECT_EQ(bytesOf(*buffer), std::vector<std::uint8_t>(3 * frameBytes, mark));
}

TEST_F(Storage, BoardPulledOutWhileItStoresWaitsForAnAbort) {
  atPoll(1, [this] { board.unplug(); });
  atPoll(50, [this] { abortFromAnotherThread(); });
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_ABORTED, capture(3));
  EXPECT_EQ(KVEXA_REQUEST_FAILED, abortResult);
  EXPECT_EQ(bytesOf(*buffer), std::vector<std::uint8_t>(3 * frameBytes, mark));
  board.plug();
  calls.onSleep = nullptr;
  expectWorkingBoard();
}

TEST_F(Storage, BoardPulledOutBeforeTheTransfer) {
  calls.beforeRead = [this](const FrameRead&) { board.unplug(); };
  EXPECT_EQ(KVEXA_REQUEST_FAILED, capture(3));
  board.plug();
  calls.beforeRead = nullptr;
  expectWorkingBoard();
}

TEST_F(Storage, StopThatFailsIsReported) {
  EXPECT_EQ(KVEXA_OK, capture(3));
  const unsigned before = board.faults().requestCount();
  EXPECT_EQ(KVEXA_OK, capture(3));
  const unsigned total = board.faults().requestCount() - before;
  // Behind the data of the last register write come the two requests for its status and one command.
  refuse(total - 3);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, capture(3));
  expectWorkingBoard();
}

}  // namespace
}  // namespace kvexa::test
