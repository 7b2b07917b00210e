// Capture of one frame.
#include "tests/support/CaptureFixture.h"

namespace kvexa::test {
namespace {

class OneShot : public CaptureFixture {
 protected:
  std::int32_t capture(std::uint32_t length, std::uint32_t timeout = 700) {
    buffer.assign(length + 1, mark);
    return kVexaOneShotCapture(&handle, length, buffer.data(), timeout);
  }

  std::vector<std::uint8_t> buffer;
};

std::string hold(unsigned control) {
  return boardRead(0x0104) + boardWrite(0x0104, control | 2U) + command(1);
}

// Everything before the frame, with register 0x104 at `control`.
std::string setUp(unsigned control, unsigned bufferSize) {
  return hold(control) + boardWrite(0x0404, 0) + boardWrite(0x0402, bufferSize) + boardRead(0x0104) +
         boardWrite(0x0104, control & ~2U) + boardWrite(0x0102, 1);
}

std::string stop(unsigned control) { return simpleWrite(2, 0) + hold(control); }

TEST_F(OneShot, OrderOfRequests) {
  stream(64, 64);
  EXPECT_EQ(KVEXA_OK, capture(4096));
  EXPECT_EQ(setUp(0, 65536 - 8) + imageRead(4096, 700) + stop(0), trace());
}

TEST_F(OneShot, FrameArrivesAndNothingBehindIt) {
  stream(64, 64);
  EXPECT_EQ(KVEXA_OK, capture(4096));
  EXPECT_TRUE(isAFrame(buffer.data(), 4096));
  EXPECT_EQ(mark, buffer[4096]);
}

TEST_F(OneShot, OtherBitsOfTheControlRegisterAreKept) {
  stream(64, 64);
  board.setBoardRegister(0x0104, 0x0032);
  EXPECT_EQ(KVEXA_OK, capture(4096));
  EXPECT_EQ(setUp(0x0032, 65536 - 8) + imageRead(4096, 700) + stop(0x0030), trace());
  EXPECT_EQ(0x0032, board.boardRegister(0x0104));
}

TEST_F(OneShot, FrameAboveOneMebibyteIsReadInParts) {
  stream(2048, 1280);
  EXPECT_EQ(KVEXA_OK, capture(0x280000));
  EXPECT_EQ(setUp(0, 65536 - 0x1400) + imageRead(0x100000, 350) + imageRead(0x100000, 350) +
                imageRead(0x80000, 350) + stop(0),
            trace());
  EXPECT_TRUE(isAFrame(buffer.data(), 0x280000));
}

TEST_F(OneShot, BufferSizeIsKeptToSixteenBits) {
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_OK, capture(511));
  EXPECT_EQ(0U, trace().find(setUp(0, 0)));
}

TEST_F(OneShot, RepeatedCapturesGiveFrames) {
  stream(64, 64);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(KVEXA_OK, capture(4096));
    EXPECT_TRUE(isAFrame(buffer.data(), 4096)) << "capture " << i;
  }
}

TEST_F(OneShot, ZeroLengthAndNullBufferAreRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, capture(0));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaOneShotCapture(&handle, 4096, nullptr, 700));
  EXPECT_EQ("", trace());
}

// The result is that of the register write that stops the board, whatever became of the frame.
TEST_F(OneShot, FrameThatDoesNotComeIsNotReportedAndLeavesTheBuffer) {
  stream(64, 64);
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_OK, capture(4096));
  EXPECT_EQ(buffer, std::vector<std::uint8_t>(4097, mark));
  const auto text = trace();
  EXPECT_EQ(stop(0), text.substr(text.size() - stop(0).size()));
}

// No time-out is no frame: the board is stopped all the same.
TEST_F(OneShot, ZeroTimeoutReadsNoFrame) {
  stream(64, 64);
  EXPECT_EQ(KVEXA_OK, capture(4096, 0));
  EXPECT_EQ(setUp(0, 65536 - 8) + stop(0), trace());
}

TEST_F(OneShot, RefusedRequestIsReportedOnlyInTheLastRegisterWrite) {
  stream(64, 64);
  const unsigned before = board.faults().requestCount();
  ASSERT_EQ(KVEXA_OK, capture(4096));
  const unsigned total = board.faults().requestCount() - before;

  // The stop ends with the write of 0x104 (address, two for its status, data, two for its status) and
  // one command.
  const unsigned lastAddress = total - 6;
  const unsigned lastData = total - 3;
  for (unsigned k = 1; k <= total; ++k) {
    refuse(k);
    const bool reported = k == lastAddress || k == lastData;
    EXPECT_EQ(reported ? KVEXA_REQUEST_FAILED : KVEXA_OK, capture(4096)) << "request " << k;
    board.faults().clear();
    ASSERT_EQ(KVEXA_OK, capture(4096)) << "after request " << k;
    ASSERT_TRUE(isAFrame(buffer.data(), 4096)) << "after request " << k;
  }
}

TEST_F(OneShot, ControlValueThatCannotBeReadCountsAsZero) {
  stream(64, 64);
  board.setBoardRegister(0x0104, 0x0030);
  refuse(7);  // the data of the first reading
  EXPECT_EQ(KVEXA_OK, capture(4096));
  EXPECT_NE(std::string::npos, trace().find(boardWrite(0x0104, 0x0002) + command(1)));
  EXPECT_EQ(0x0002, board.boardRegister(0x0104));
}

TEST_F(OneShot, BoardPulledOutAtAnyRequestEndsTheCapture) {
  stream(64, 64);
  const unsigned before = board.faults().requestCount();
  ASSERT_EQ(KVEXA_OK, capture(4096));
  const unsigned total = board.faults().requestCount() - before;
  for (unsigned k = 1; k <= total; ++k) {
    board.faults().at(k, {sim::Fault::Kind::unplug});
    const std::int32_t code = capture(4096);
    EXPECT_TRUE(code == KVEXA_REQUEST_FAILED || code == KVEXA_TIMED_OUT || k == total)
        << "request " << k << ": " << code;
    board.faults().clear();
    board.plug();
  }
}

}  // namespace
}  // namespace kvexa::test
