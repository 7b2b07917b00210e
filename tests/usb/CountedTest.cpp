// The continuous capture of a number of frames.
#include "tests/files/GuardedMemory.h"
#include "tests/usb/EngineFixture.h"

namespace kvexa::test {
namespace {

class Counted : public EngineFixture {
 protected:
  // Room for one frame more than is asked for, to the byte.
  void prepare(unsigned count, std::uint32_t bytes = frameBytes, MemoryEdge edge = MemoryEdge::upper) {
    frames = count;
    length = bytes;
    step = bytes & ~3U;
    buffer = std::make_unique<GuardedMemory>(step * count + bytes, edge, mark);
    for (unsigned k = 0; k <= count; ++k) nameBuffer(slot(k), std::to_string(k));
  }

  std::uint8_t* slot(unsigned k) { return buffer->data() + k * step; }

  std::int32_t start(HANDLE frame, HANDLE end, std::int32_t* result) {
    return kVexaMultiShotCaptureEx(&handle, length, frames, buffer->data(), timeout, frame, end, result);
  }

  std::int32_t start() { return start(frameEvent.get(), endEvent.get(), wordAddress()); }

  std::int32_t abort() {
    const auto code = kVexaAbortCapture(&handle);
    join();
    return code;
  }

  unsigned frames = 0;
  std::uint32_t length = 0;
  std::uint32_t step = 0;
  std::unique_ptr<GuardedMemory> buffer;
};

std::string setUp(unsigned control, unsigned bufferSize) {
  return holdAndFlush(control) + boardWrite(0x0404, 0) + boardWrite(0x0402, bufferSize) +
         releaseHold(control) + boardWrite(0x0102, 2);
}

std::string frameOf(const std::string& slot, std::int32_t result) {
  return "read " + slot + ":-59\nframe:" + std::to_string(result) + "\n";
}

TEST_F(Counted, OrderOfRequests) {
  prepare(3);
  board.setBoardRegister(0x0104, 0x0030);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(setUp(0x0030, 65534 - 6) + repeat(4, imageRead(frameBytes, timeout)) + workerStop(0x0030),
            trace());
}

// The end event comes twice, and one frame more is read behind the last one.
TEST_F(Counted, SequenceThatTheCallerSees) {
  prepare(3);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -59) + frameOf("2", -59) + line("end", 0) + line("read 3", -59) +
                line("end", -59),
            log());
  EXPECT_EQ(KVEXA_BUSY, word);
  EXPECT_TRUE(frameEvent.isSet());
  EXPECT_TRUE(endEvent.isSet());
}

TEST_F(Counted, FramesStandOneBehindAnother) {
  prepare(5);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  const std::uint32_t first = numberOf(slot(0));
  for (unsigned k = 0; k <= 5; ++k) EXPECT_TRUE(isFrame(slot(k), first + k)) << "frame " << k;
}

TEST_F(Counted, NothingIsWrittenBeforeTheBuffer) {
  prepare(2, frameBytes, MemoryEdge::lower);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_TRUE(isFrame(slot(2), numberOf(slot(2))));
}

// Frames of an odd length start at steps of whole words.
TEST_F(Counted, StepIsRoundedDownToWords) {
  prepare(3, frameBytes + 3);
  ASSERT_EQ(frameBytes, step);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -59) + frameOf("2", -59) + line("end", 0) + line("read 3", -59) +
                line("end", -59),
            log());
  const std::uint32_t first = numberOf(slot(0));
  for (unsigned k = 0; k <= 3; ++k) EXPECT_TRUE(isFrame(slot(k), first + k)) << "frame " << k;
}

TEST_F(Counted, OneFrame) {
  prepare(1);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + line("end", 0) + line("read 1", -59) + line("end", -59), log());
}

TEST_F(Counted, BufferSizeIsThatOfAllFramesKeptToSixteenBits) {
  struct Size {
    std::uint32_t bytes;
    std::uint32_t count;
    std::uint16_t expected;
  };
  const Size sizes[] = {{511, 1, 65534},      {512, 1, 65533}, {100, 51, 65534 - 9}, {0x100000, 32, 65534},
                        {1U << 20, 31, 2046}, {4, 0, 65534},   {1023, 0, 65533},     {600, 3, 65534 - 3}};
  std::uint8_t unused = 0;
  for (const auto& size : sizes) {
    holdWorkerStart();
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, size.bytes, size.count, &unused, timeout, nullptr,
                                                nullptr, nullptr));
    awaitHeld();
    EXPECT_EQ(size.expected, board.boardRegister(0x0402)) << size.bytes << " x " << size.count;
    EXPECT_EQ(KVEXA_OK, abort());
  }
  EXPECT_EQ(0U, unused);
}

TEST_F(Counted, AbortBeforeTheFirstFrameReadsNothing) {
  prepare(3);
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(line("end", -59), log());
  EXPECT_EQ(setUp(0, 65534 - 6) + workerStop(0) + abortTransfers(2), trace());
  EXPECT_EQ(KVEXA_BUSY, word);
}

TEST_F(Counted, AbortInTheMiddleOfAFrame) {
  prepare(3);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(frameOf("0", -59) + line("read 1", -59) + line("end", -59), log());
  EXPECT_EQ(KVEXA_BUSY, word);
  EXPECT_EQ(mark, *slot(2));
}

// All frames are there then: it ends as a complete capture does, but for the signal of the last frame.
TEST_F(Counted, AbortInTheMiddleOfTheLastFrame) {
  prepare(2);
  holdRead(1);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(frameOf("0", -59) + line("read 1", -59) + line("end", 0) + line("read 2", -59) + line("end", -59),
            log());
}

TEST_F(Counted, AbortInTheMiddleOfTheFrameBehindTheLast) {
  prepare(2);
  holdRead(2);
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_TRUE(endEvent.isSet());
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -59) + line("end", 0) + line("read 2", -59) + line("end", -59),
            log());
}

TEST_F(Counted, AbortAfterTheEndStopsTheBoardAgain) {
  prepare(1);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  trace();
  log();
  EXPECT_EQ(KVEXA_OK, abort());
  EXPECT_EQ(abortTransfers(2), trace());
  EXPECT_EQ("", log());
  EXPECT_EQ(KVEXA_BUSY, word);
}

TEST_F(Counted, FramesThatDoNotComeCount) {
  prepare(2);
  board.faults().holdFrames(true);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -52) + frameOf("1", -52) + line("end", 0) + line("read 2", -59) + line("end", -59),
            log());
  EXPECT_EQ(bytesOf(*buffer), std::vector<std::uint8_t>(buffer->size(), mark));
}

TEST_F(Counted, ShortFrameCountsAsOne) {
  prepare(2);
  calls.beforeRead = [this, before = calls.beforeRead, reads = 0](const FrameRead& read) mutable {
    before(read);
    if (++reads == 1) board.faults().at(1, {sim::Fault::Kind::shorten, 100});
  };
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -59) + line("end", 0) + line("read 2", -59) + line("end", -59),
            log());
  EXPECT_NE(mark, slot(0)[99]);
  EXPECT_EQ(mark, slot(0)[100]);
}

TEST_F(Counted, StalledFrameIsReportedAndTheNextOneComes) {
  prepare(3);
  calls.beforeRead = [this, before = calls.beforeRead, reads = 0](const FrameRead& read) mutable {
    before(read);
    if (++reads == 2) board.faults().at(1, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
  };
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -52) + frameOf("2", -59) + line("end", 0) + line("read 3", -59) +
                line("end", -59),
            log());
  EXPECT_EQ(mark, *slot(1));
  EXPECT_TRUE(isFrame(slot(2), numberOf(slot(0)) + 1));
}

TEST_F(Counted, BoardPulledOutInTheMiddleOfAFrame) {
  prepare(3);
  calls.beforeRead = [this, before = calls.beforeRead, reads = 0](const FrameRead& read) mutable {
    before(read);
    if (++reads == 2) board.unplug();
  };
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_EQ(frameOf("0", -59) + frameOf("1", -52) + frameOf("2", -52) + line("end", 0) + line("read 3", -59) +
                line("end", -59),
            log());
  board.plug();
  EXPECT_EQ(KVEXA_OK, abort());
  expectWorkingBoard();
}

TEST_F(Counted, EveryCombinationOfMissingEventsAndResultWordRuns) {
  for (unsigned given = 0; given < 8; ++given) {
    SCOPED_TRACE(given);
    prepare(2);
    frameEvent.reset();
    endEvent.reset();
    ASSERT_EQ(KVEXA_OK,
              start((given & 1) != 0 ? frameEvent.get() : nullptr,
                    (given & 2) != 0 ? endEvent.get() : nullptr, (given & 4) != 0 ? wordAddress() : nullptr));
    join();
    EXPECT_EQ((given & 1) != 0, frameEvent.isSet());
    EXPECT_EQ((given & 2) != 0, endEvent.isSet());
    EXPECT_TRUE(isFrame(slot(2), numberOf(slot(2))));
  }
}

TEST_F(Counted, EventsAreResetBeforeTheWorkerStarts) {
  prepare(1);
  frameEvent.set();
  endEvent.set();
  holdWorkerStart();
  ASSERT_EQ(KVEXA_OK, start());
  awaitHeld();
  EXPECT_FALSE(frameEvent.isSet());
  EXPECT_FALSE(endEvent.isSet());
  release();
  join();
}

TEST_F(Counted, WorkerThatCannotBeCreatedLeavesTheBoardStopped) {
  prepare(2);
  calls.refuseWorkers = true;
  EXPECT_EQ(KVEXA_BUSY, start());
  calls.refuseWorkers = false;
  EXPECT_EQ("", log());
  EXPECT_NE(0, board.boardRegister(0x0104) & 2);
  ASSERT_EQ(KVEXA_OK, start());
  join();
  EXPECT_TRUE(isFrame(slot(2), numberOf(slot(2))));
}

}  // namespace
}  // namespace kvexa::test
