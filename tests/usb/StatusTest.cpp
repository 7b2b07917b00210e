// The board's status block and the recovery from errors on the sensor bus.
#include <algorithm>
#include <cstring>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class UsbStatus : public BoardFixture {
 protected:
  UsbStatus() { std::memset(block, 0xA5, sizeof block); }

  std::int32_t get() { return kVexaGetUsbStatus(&handle, block); }

  bool blockIsUntouched() const {
    return std::all_of(std::begin(block), std::end(block), [](auto byte) { return byte == 0xA5; });
  }

  std::uint8_t block[KVEXA_STATUS_BLOCK_BYTES];
};

TEST_F(UsbStatus, IsOneReadingOfTheBlock) {
  EXPECT_EQ(0, get());
  EXPECT_EQ(0, block[4]);
  EXPECT_EQ(statusReading(), trace());
}

TEST_F(UsbStatus, CopiesTheBlockAndReturnsItsStatusByte) {
  queueStatus(1, 0x60, '3');
  EXPECT_EQ(0x60, get());
  EXPECT_EQ(0x60, block[4]);
  EXPECT_EQ('3', block[6]);
}

TEST_F(UsbStatus, StatusIsUnsigned) {
  queueStatus(1, 0xFF);
  EXPECT_EQ(255, get());
}

TEST_F(UsbStatus, RefusedRequestLeavesTheBlockUntouched) {
  for (const unsigned k : {1U, 2U}) {
    refuse(k);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, get()) << "request " << k;
    EXPECT_TRUE(blockIsUntouched()) << "request " << k;
    board.faults().clear();
  }
}

TEST_F(UsbStatus, UnpluggedBoardIsReported) {
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get());
  EXPECT_TRUE(blockIsUntouched());
}

// A request counts as done when the driver wrote 0 to its status word, which is the word of the pipe
// number: on pipe 0 the word is 0 from the beginning, so a driver that keeps it is believed. Intended.
TEST_F(UsbStatus, RequestWhoseStatusWordIsKeptFailsButOnPipeZero) {
  board.faults().at(2, {sim::Fault::Kind::keepStatus});
  EXPECT_EQ(KVEXA_REQUEST_FAILED, get());
  EXPECT_TRUE(blockIsUntouched());
  board.faults().at(1, {sim::Fault::Kind::keepStatus});
  EXPECT_EQ(0, get());
}

// The status is byte 4: an answer that holds it counts, and what it lacks behind it reads as zeros.
TEST_F(UsbStatus, AnswerThatHoldsItsStatusCounts) {
  for (const std::uint32_t bytes : {5U, 6U, 7U, 63U}) {
    SCOPED_TRACE(bytes);
    queueStatus(1, 0x23, '3');
    board.faults().at(2, {sim::Fault::Kind::shorten, bytes});
    std::memset(block, 0xA5, sizeof block);
    EXPECT_EQ(0x23, get());
    EXPECT_EQ(0x23, block[4]);
    EXPECT_EQ(bytes > 6 ? '3' : 0, block[6]);
    EXPECT_TRUE(std::all_of(block + 7, std::end(block), [](auto byte) { return byte == 0; }));
  }
}

TEST_F(UsbStatus, AnswerWithoutItsStatusIsRefused) {
  for (const std::uint32_t bytes : {0U, 1U, 3U, 4U}) {
    board.faults().at(2, {sim::Fault::Kind::shorten, bytes});
    EXPECT_EQ(KVEXA_REQUEST_FAILED, get()) << bytes;
    EXPECT_TRUE(blockIsUntouched()) << bytes;
  }
}

// The same inside a register transfer: five bytes end its polling, four are one more poll, and a bus error
// without its digit is none that names the device.
TEST_F(UsbStatus, ShortAnswersWhileATransferIsPolled) {
  board.setBoardRegister(0x0904, 0);
  board.faults().at(3, {sim::Fault::Kind::shorten, 5});
  EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handle, 0x1234));
  EXPECT_EQ(6, std::ranges::count(trace(), '\n'));
  board.faults().at(3, {sim::Fault::Kind::shorten, 4});
  EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handle, 0x1234));
  EXPECT_EQ(8, std::ranges::count(trace(), '\n'));
  std::uint32_t value = untouched;
  for (const std::uint32_t bytes : {6U, 7U}) {
    queueStatus(1, 0);
    queueStatus(1, 0x60, '3');
    board.faults().at(6, {sim::Fault::Kind::shorten, bytes});
    EXPECT_EQ(bytes > 6 ? KVEXA_NO_ACKNOWLEDGE : KVEXA_FAILED, kVexaGetDout(&handle, &value)) << bytes;
  }
  EXPECT_EQ(untouched, value);
}

using Recovery = BoardFixture;

TEST_F(Recovery, IdleBoardIsReadOnce) {
  EXPECT_EQ(KVEXA_OK, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading(), trace());
}

TEST_F(Recovery, BothNamesAreOneFunction) {
  EXPECT_EQ(KVEXA_OK, kVexaI2cRecovery(&handle));
  EXPECT_EQ(statusReading(), trace());
  queueStatus(11, 0x17);
  EXPECT_EQ(0x17, kVexaI2cRecovery(&handle));
}

TEST_F(Recovery, YieldsAndReadsAgainUntilTheBoardIsIdle) {
  queueStatus(3, 0x01);
  EXPECT_EQ(KVEXA_OK, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading() + repeat(3, sleep(0) + statusReading()), trace());
}

TEST_F(Recovery, LastingStatusIsReturnedAfterTenMoreReadings) {
  queueStatus(10, 0x01);
  queueStatus(1, 0x02);
  EXPECT_EQ(0x02, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading() + repeat(10, sleep(0) + statusReading()), trace());
}

TEST_F(Recovery, LastingStatusIsUnsigned) {
  queueStatus(11, 0xFE);
  EXPECT_EQ(0xFE, kVexaRecovery(&handle));
}

// The success codes of register reads mean nothing here.
TEST_F(Recovery, OnlyZeroIsIdle) {
  queueStatus(11, 0x23);
  EXPECT_EQ(0x23, kVexaRecovery(&handle));
}

TEST_F(Recovery, BusErrorResetsThePipes) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(0x60, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading() + sleep(0) + statusReading() + pipeReset(), trace());
}

// The first reading alone resets nothing, whatever it says.
TEST_F(Recovery, BusErrorThatIsGoneAtTheSecondReadingResetsNothing) {
  queueStatus(1, 0x60);
  EXPECT_EQ(KVEXA_OK, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading() + sleep(0) + statusReading(), trace());
}

TEST_F(Recovery, BusErrorAfterOtherStatusesResetsThePipes) {
  queueStatus(4, 0x01);
  queueStatus(1, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(0x60, kVexaRecovery(&handle));
  EXPECT_EQ(statusReading() + repeat(4, sleep(0) + statusReading()) + pipeReset(), trace());
}

TEST_F(Recovery, AnswerToTheResetIsReturnedWhenItIsNotZero) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0x05);
  EXPECT_EQ(0x05, kVexaRecovery(&handle));
}

TEST_F(Recovery, AnswerToTheResetIsUnsigned) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0x80);
  EXPECT_EQ(0x80, kVexaRecovery(&handle));
}

// One buffer serves both directions: without an answer the byte that was sent is still in it.
TEST_F(Recovery, RefusedAnswerToTheResetLeavesTheByteThatWasSent) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0x05);
  refuse(6);
  EXPECT_EQ(0x01, kVexaRecovery(&handle));
  EXPECT_EQ(
      statusReading() + sleep(0) + statusReading() + out(0, {0x01}) + refused("usb0 pipe1 in 1000ms 0/1\n"),
      trace());
}

TEST_F(Recovery, ReadingThatFailsCountsAsNotIdle) {
  refuse(2);
  EXPECT_EQ(KVEXA_OK, kVexaRecovery(&handle));
}

TEST_F(Recovery, UnreadableStatusIsReportedAfterTenMoreReadings) {
  board.faults().from(1, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRecovery(&handle));
  const auto lines = machine.trace().take();
  EXPECT_EQ(10, std::count(lines.begin(), lines.end(), "sleep 0"));
}

TEST_F(Recovery, UnpluggedBoardIsReported) {
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRecovery(&handle));
}

}  // namespace
}  // namespace kvexa::test
