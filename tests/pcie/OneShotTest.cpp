// Capture of one frame.
#include <algorithm>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

class PcieOneShot : public PcieFixture {
 protected:
  std::int32_t capture(std::uint32_t length, std::uint32_t timeout = 700) {
    buffer.assign(length + 1, 0xA5);
    return kVexaOneShotCapture(&handle, length, buffer.data(), timeout);
  }

  std::string captureRequest(std::uint32_t length, std::uint32_t timeout) const {
    const auto address = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(buffer.data()));
    return request("capture", {0, address, length, 1, 0, timeout, 1});
  }

  bool isAFrame() const {
    for (std::uint64_t number = 0; number < 100; ++number) {
      const auto frame = board.frameBytes(number);
      if (std::equal(frame.begin(), frame.end(), buffer.begin())) return true;
    }
    return false;
  }

  bool isUntouched() const {
    return std::ranges::all_of(buffer, [](std::uint8_t byte) { return byte == 0xA5; });
  }

  std::vector<std::uint8_t> buffer;
};

TEST_F(PcieOneShot, OneRequestWithTheWholeRecord) {
  stream(160, 8);
  EXPECT_EQ(KVEXA_OK, capture(1280));
  EXPECT_EQ(pending(captureRequest(1280, 700)) + complete("capture"), trace());
}

TEST_F(PcieOneShot, ByteCountAndTimeOutGoOutUnchanged) {
  answer(1, 0);
  EXPECT_EQ(KVEXA_OK, capture(1001, 0xFEDCBA98));
  EXPECT_EQ(done(captureRequest(1001, 0xFEDCBA98)), trace());
}

TEST_F(PcieOneShot, FrameArrivesAndNothingBehindIt) {
  stream(160, 8);
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(KVEXA_OK, capture(1280));
    EXPECT_TRUE(isAFrame()) << "capture " << i;
    EXPECT_EQ(0xA5, buffer[1280]);
  }
}

TEST_F(PcieOneShot, EveryStatusHasItsResultAtOnceAndLater) {
  stream(160, 8);
  const struct {
    std::uint32_t status;
    std::int32_t result;
  } rows[] = {{0x0000, KVEXA_OK},          {0x1000, KVEXA_ABORTED},   {0x1001, KVEXA_DRIVER_1001},
              {0x1002, KVEXA_OK},          {0x1003, KVEXA_TIMED_OUT}, {0x1004, KVEXA_DRIVER_1004},
              {0x2000, KVEXA_OK},          {0x2009, KVEXA_OK},        {0x3000, KVEXA_DRIVER_3000},
              {0x3001, KVEXA_DRIVER_3001}, {0x5555, KVEXA_OK}};
  for (const auto& row : rows) {
    answer(1, row.status);
    EXPECT_EQ(row.result, capture(1280)) << row.status << " at once";
    answerLater(1, row.status);
    EXPECT_EQ(row.result, capture(1280)) << row.status << " later";
  }
}

TEST_F(PcieOneShot, RefusalIsReturnedAndTheNextCaptureWorks) {
  stream(160, 8);
  for (int i = 0; i < 3; ++i) {
    refuse(1);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, capture(1280));
    EXPECT_TRUE(isUntouched());
    EXPECT_EQ(KVEXA_OK, capture(1280));
    EXPECT_TRUE(isAFrame());
  }
}

TEST_F(PcieOneShot, FrameThatDoesNotComeTimesOut) {
  const auto start = machine.clock().now();
  EXPECT_EQ(KVEXA_TIMED_OUT, capture(1280, 700));
  EXPECT_EQ(start + 700000, machine.clock().now());
  EXPECT_TRUE(isUntouched());
  stream(160, 8);
  board.faults().holdFrames(true);
  EXPECT_EQ(KVEXA_TIMED_OUT, capture(1280, 700));
  board.faults().holdFrames(false);
  EXPECT_EQ(KVEXA_OK, capture(1280));
}

TEST_F(PcieOneShot, AbortFromAnotherThreadEndsIt) {
  std::int32_t result = 1;
  Thread capturing([&] { result = capture(1280, 0); });
  until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  capturing.join();
  EXPECT_EQ(KVEXA_ABORTED, result);
  EXPECT_TRUE(isUntouched());
}

// The mutex is held for the whole transfer: a worker of another board does not even write a register.
TEST_F(PcieOneShot, ExcludesTheStartOfEveryOtherCapture) {
  auto& other = machine.addPcieBoard();
  BoardHandle otherHandle{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 1, &otherHandle));
  streamOn(otherHandle, 160, 8);
  std::int32_t result = 1;
  Thread capturing([&] { result = capture(1280, 0); });
  until([&] { return board.pending(sim::pcie::Wait::capture) == 1; });

  MultiShot multiShot(1280, 2);
  const unsigned before = other.faults().requestCount();
  ASSERT_EQ(KVEXA_OK, multiShot.start(otherHandle));
  for (int i = 0; i < 1000; ++i) SwitchToThread();
  EXPECT_EQ(before, other.faults().requestCount());

  ASSERT_TRUE(board.complete(sim::pcie::Wait::capture, 0));
  capturing.join();
  EXPECT_EQ(KVEXA_OK, result);
  EXPECT_EQ(KVEXA_OK, multiShot.result());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&otherHandle));
}

TEST_F(PcieOneShot, ZeroLengthAndNullBufferAreRefusedAndNothingIsSent) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, capture(0));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaOneShotCapture(&handle, 1280, nullptr, 700));
  EXPECT_EQ("", trace());
}

TEST_F(PcieOneShot, WithoutMemoryForTheRequestNothingIsSent) {
  for (const auto kind : {sim::Resources::Kind::event, sim::Resources::Kind::globalMemory}) {
    machine.resources().fail(kind, 1);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, capture(1280));
    EXPECT_EQ("", trace());
  }
  machine.resources().failBlocksFrom(1);
  std::int32_t result = 0;
  // A thread that has never run short before.
  Thread([&] { result = kVexaOneShotCapture(&handle, 1280, buffer.data(), 700); }).join();
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, result);
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test
