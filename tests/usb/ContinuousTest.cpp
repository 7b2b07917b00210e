// The endless capture into one buffer.
#include "tests/files/GuardedMemory.h"
#include "tests/usb/EngineFixture.h"

namespace kvexa::test {
namespace {

class Endless : public EngineFixture {
 protected:
  void SetUp() override {
    EngineFixture::SetUp();
    nameBuffer(buffer.data(), "0");
  }

  std::int32_t start(HANDLE frame, HANDLE end, std::int32_t* result) {
    return kVexaMultiShotCaptureEx(&handle, frameBytes, 0, buffer.data(), timeout, frame, end, result);
  }

  std::int32_t start() { return start(frameEvent.get(), endEvent.get(), wordAddress()); }

  std::int32_t abort() {
    const auto code = kVexaAbortCapture(&handle);
    join();
    return code;
  }

  GuardedMemory buffer{frameBytes, MemoryEdge::upper, mark};
};

std::string setUp(unsigned control) {
  return holdAndFlush(control) + boardWrite(0x0404, 0) + boardWrite(0x0402, 65534 - 2) +
         releaseHold(control) + boardWrite(0x0102, 2);
}

TEST_F(Endless, OrderOfRequests) {
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(setUp(0), trace());

  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(imageRead(frameBytes, timeout) + abortTransfers(0), trace());
}

TEST_F(Endless, OtherBitsOfTheControlRegisterAreKept) {
  board.setBoardRegister(0x0104, 0x0032);
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(setUp(0x0032), trace());
  EXPECT_EQ(0x0030, board.boardRegister(0x0104));
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(0x0032, board.boardRegister(0x0104));
}

TEST_F(Endless, SequenceThatTheCallerSees) {
  holdRead(3);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(line("read 0", -59) + line("frame", 0) + line("read 0", -59) + line("frame", 0) +
                line("read 0", -59) + line("frame", 0) + line("read 0", -59),
            log());
  EXPECT_EQ(KVEXA_OK, abort());
  // The frame that was on its way is not signalled any more.
  EXPECT_EQ(line("end", -58), log());
  EXPECT_EQ(KVEXA_ABORTED, word);
}

TEST_F(Endless, EventsAreResetBeforeTheWorkerStarts) {
  frameEvent.set();
  endEvent.set();
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_FALSE(frameEvent.isSet());
  EXPECT_FALSE(endEvent.isSet());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_TRUE(endEvent.isSet());
}

TEST_F(Endless, AbortBeforeTheFirstFrameReadsNothing) {
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
  EXPECT_EQ(setUp(0) + abortTransfers(0), trace());
}

TEST_F(Endless, FramesFollowOneAnother) {
  std::uint32_t expected = 0;
  unsigned frames = 0;
  calls.afterRead = [&](const FrameRead& read) {
    const auto number = numberOf(read.address);
    EXPECT_EQ(frames == 0 ? number : expected, number);
    EXPECT_TRUE(isFrame(read.address, number));
    expected = number + 1;
    ++frames;
  };
  holdRead(100);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(100U, frames);
  EXPECT_EQ(KVEXA_OK, abort());
}

// The frame event and the result 0 come although the frame did not; who wants to know looks at the
// buffer.
TEST_F(Endless, FrameThatDoesNotComeIsSignalledAllTheSame) {
  board.faults().holdFrames(true);
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(
      line("read 0", -59) + line("frame", 0) + line("read 0", -59) + line("frame", 0) + line("read 0", -59),
      log());
  EXPECT_EQ(bytesOf(buffer), std::vector<std::uint8_t>(frameBytes, mark));
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
}

TEST_F(Endless, FramesThatComeAgainGoOn) {
  board.faults().holdFrames(true);
  holdRead(3);
  calls.afterRead = [&, reads = 0](const FrameRead&) mutable {
    if (++reads == 2) board.faults().holdFrames(false);
  };
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_TRUE(isFrame(buffer.data(), numberOf(buffer.data())));
  EXPECT_EQ(KVEXA_OK, abort());
}

TEST_F(Endless, WithoutFrameEventTheResultIsNeverZero) {
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start(nullptr, endEvent.get(), wordAddress()));
  awaitHeld();
  EXPECT_EQ(line("read 0", -59) + line("read 0", -59) + line("read 0", -59), log());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -58), log());
}

// Without an end event the result of the last frame stays.
TEST_F(Endless, WithoutEndEventTheResultOfTheLastFrameStays) {
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start(frameEvent.get(), nullptr, wordAddress()));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(KVEXA_BUSY, word);

  holdRead(1);
  board.faults().holdFrames(true);
  ASSERT_EQ(KVEXA_OK, start(nullptr, nullptr, wordAddress()));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(KVEXA_TIMED_OUT, word);
}

TEST_F(Endless, WithoutEventsAndResultWordItRunsAndEnds) {
  holdRead(5);
  ASSERT_EQ(KVEXA_OK, start(nullptr, nullptr, nullptr));
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_TRUE(isFrame(buffer.data(), numberOf(buffer.data())));
  EXPECT_EQ(untouched, static_cast<std::uint32_t>(word.load()));
}

TEST_F(Endless, NamedEventIsLookedUpAndNotKept) {
  struct Opened {
    DWORD access;
    BOOL inherit;
    std::string name;
  };
  std::vector<Opened> opened;
  calls.onOpenEvent = [&](DWORD access, BOOL inherit, const char* name) {
    opened.push_back({access, inherit, name});
    return name;
  };
  holdRead(0);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  ASSERT_EQ(1U, opened.size());
  EXPECT_EQ(static_cast<DWORD>(EVENT_ALL_ACCESS), opened[0].access);
  EXPECT_EQ(TRUE, opened[0].inherit);
  EXPECT_EQ("KVEXA_capture", opened[0].name);
}

TEST_F(Endless, NamedEventOfTheApplicationIsLeftAlone) {
  // Other programs that capture look for the library's name too: here it is one that they do not know.
  const std::string name = "KVEXA_capture " + std::to_string(GetCurrentProcessId());
  const HANDLE named = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
  ASSERT_NE(nullptr, named);
  bool isLookedFor = false;
  calls.onOpenEvent = [&](DWORD, BOOL, const char*) {
    isLookedFor = true;
    return name;
  };
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(static_cast<DWORD>(WAIT_TIMEOUT), WaitForSingleObject(named, 0));
  EXPECT_TRUE(isLookedFor);
  CloseHandle(named);
  // Were it still open somewhere, it would be there.
  EXPECT_EQ(nullptr, OpenEventA(EVENT_ALL_ACCESS, FALSE, name.c_str()));
}

TEST_F(Endless, BadArgumentsAreRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaMultiShotCaptureEx(&handle, 0, 0, buffer.data(), timeout, nullptr,
                                                        endEvent.get(), wordAddress()));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaMultiShotCaptureEx(&handle, frameBytes, 0, nullptr, timeout, nullptr,
                                                        endEvent.get(), wordAddress()));
  EXPECT_EQ("", trace());
  EXPECT_EQ("", log());
  EXPECT_EQ(0U, calls.workerCount());
}

// No time-out is no frame, again and again.
TEST_F(Endless, ZeroTimeoutReadsNothing) {
  ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, frameBytes, 0, buffer.data(), 0, frameEvent.get(),
                                              endEvent.get(), wordAddress()));
  EXPECT_TRUE(frameEvent.await());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(bytesOf(buffer), std::vector<std::uint8_t>(frameBytes, mark));
  EXPECT_EQ(KVEXA_ABORTED, word);
  EXPECT_EQ(std::vector<DWORD>{500}, waits());
}

TEST_F(Endless, BoardPulledOutInTheMiddleOfAFrame) {
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  log();
  board.unplug();
  frameEvent.reset();
  release();
  ASSERT_TRUE(frameEvent.await());
  EXPECT_EQ(KVEXA_REQUEST_FAILED, abort());
  EXPECT_EQ(KVEXA_ABORTED, word);
  board.plug();
  expectWorkingBoard();
}

TEST_F(Endless, WithoutMemoryForTheWorkerNothingIsSent) {
  expectRefusedWithoutMemory([this] { return start(); });
}

TEST_F(Endless, WorkerThatCannotBeCreatedLeavesTheBoardStopped) {
  calls.refuseWorkers = true;
  EXPECT_EQ(KVEXA_BUSY, start());
  calls.refuseWorkers = false;
  EXPECT_EQ(0U, calls.workerCount());
  EXPECT_EQ("", log());
  EXPECT_EQ(untouched, static_cast<std::uint32_t>(word.load()));
  EXPECT_NE(0, board.boardRegister(0x0104) & 2);

  // Nothing is left to wait for.
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
  expectWorkingBoard();
}

TEST_F(Endless, RunsAgainAndAgain) {
  for (int round = 0; round < 5; ++round) {
    holdRead(1);
    ASSERT_EQ(KVEXA_OK, start());
    awaitHeld();
    EXPECT_EQ(KVEXA_OK, abort());
    EXPECT_EQ(line("read 0", -59) + line("frame", 0) + line("read 0", -59) + line("end", -58), log());
  }
}

}  // namespace
}  // namespace kvexa::test
