// Results of playing a register table: refusals, transfers that fail, errors on the sensor bus.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/files/RegisterPlayFixture.h"

namespace kvexa::test {
namespace {

class RegisterPlayResult : public RegisterPlayFixture {
 protected:
  const std::vector<SettingLine> threeWrites_ = {{0x30, {0}}, {1, {0x11}}, {2, {0x22}}, {3, {0x33}}};

  std::string write(unsigned number) const { return out(3, {0x01, 0x30, number, 0x01, 0x00, number * 0x11}); }

  std::string refused(const std::string& line) const {
    return line.substr(0, line.size() - 1) + " -> error 31\n";
  }
};

TEST_F(RegisterPlayResult, unknownTypeWithALineIsRefusedAtOnce) {
  for (const unsigned type : {6u, 7u, 8u, 0x80u, 0xFFu, 0x0107u}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, play({{0x30, {static_cast<std::uint16_t>(type)}}, {1, {2}}})) << type;
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, play({{0x80, {static_cast<std::uint16_t>(type)}}, {0, {}}})) << type;
  }
  EXPECT_EQ("", trace()) << "nothing is sent, and neither pause nor status follow";
}

TEST_F(RegisterPlayResult, refusedTransferEndsThePlay) {
  refuse(2);
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play(threeWrites_));
  EXPECT_EQ(write(1) + refused(write(2)) + playEnd(4), trace()) << "the pause and the status still follow";
}

TEST_F(RegisterPlayResult, refusedFirstTransferEndsThePlay) {
  refuse(1);
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play(threeWrites_));
  EXPECT_EQ(refused(write(1)) + playEnd(4), trace());
}

TEST_F(RegisterPlayResult, transferThatKeepsItsStatusWordFails) {
  board.faults().at(3, {sim::Fault::Kind::keepStatus});
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play(threeWrites_));
  const auto third = write(3);
  EXPECT_EQ(write(1) + write(2) + third.substr(0, third.size() - 1) + " -> status kept\n" + playEnd(4),
            trace());
}

TEST_F(RegisterPlayResult, refusedBoardCommandsFail) {
  refuse(1);
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play({{0x81, {}}, {5, {}}}));
  EXPECT_EQ(refused(command(5)) + playEnd(2), trace());
}

TEST_F(RegisterPlayResult, busErrorAfterThePlayIsNoAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play(threeWrites_));
  EXPECT_EQ(
      write(1) + write(2) + write(3) + sleep(4) + statusReading() + sleep(0) + statusReading() + pipeReset(),
      trace());
}

// The digit of the status block decides nothing here.
TEST_F(RegisterPlayResult, busErrorWithAnyDigitIsNoAcknowledge) {
  board.setRecoveryAnswer(0);
  for (const char digit : {'0', '5', '6', '9', 'x'}) {
    queueStatus(2, 0x60, digit);
    EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play(threeWrites_)) << digit;
  }
}

TEST_F(RegisterPlayResult, busErrorAfterAHeaderAloneIsNoAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play({{0x30, {0}}}));
}

TEST_F(RegisterPlayResult, busErrorAfterBoardCommandsIsNoAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play({{0x81, {}}, {5, {}}}));
}

TEST_F(RegisterPlayResult, failedTransferWinsOverABusError) {
  refuse(1);
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play(threeWrites_));
  EXPECT_EQ(refused(write(1)) + sleep(4) + statusReading() + sleep(0) + statusReading() + pipeReset(),
            trace());
}

TEST_F(RegisterPlayResult, busErrorThatPassesIsSuccess) {
  board.queueStatus(0x60);
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_OK, play(threeWrites_));
}

// The status check then reports the board's answer to the reset in the place of the bus error.
TEST_F(RegisterPlayResult, busErrorWhoseResetFailsIsSuccess) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0x11);
  EXPECT_EQ(KVEXA_OK, play(threeWrites_));
}

TEST_F(RegisterPlayResult, otherStatusThatStaysIsSuccess) {
  queueStatus(11, 0x23);
  EXPECT_EQ(KVEXA_OK, play({{0x30, {0}}, {1, {0x11}}}));
  EXPECT_EQ(write(1) + playEnd(2) + repeat(10, sleep(0) + statusReading()), trace());
}

TEST_F(RegisterPlayResult, sensorThatDoesNotAnswerIsNoAcknowledge) {
  bringUpSensor();
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, play({{0x37, {1}}, {0x0108, {1, 2}}}));
}

TEST_F(RegisterPlayResult, linesSentBeforeAFailureStayWritten) {
  bringUpSensor();
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play({{0x36, {1}}, {0x0108, {0x12}}, {0x0109, {0x34}}}));
  EXPECT_EQ(0x12, board.sensor().peek(0x0108));
  EXPECT_NE(0x34, board.sensor().peek(0x0109));
}

TEST_F(RegisterPlayResult, noLinesPlayNothing) {
  for (const std::uint32_t header : {0x30u, 0x80u, 0x81u}) {
    fill({{header, {7}}, {1, {0x11}}});
    board.queueStatus(0);
    EXPECT_EQ(KVEXA_OK, kUsbBufToReg(handle.driverHandle, entries(), 0));
    EXPECT_EQ(playEnd(0), trace());
  }
}

TEST_F(RegisterPlayResult, noLinesStillReportABusError) {
  fill({{0x30, {0}}});
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kUsbBufToReg(handle.driverHandle, entries(), 0));
}

TEST_F(RegisterPlayResult, moreThan1024LinesAreRefused) {
  fill(threeWrites_);
  for (const std::uint32_t count : {1025u, 2048u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbBufToReg(handle.driverHandle, entries(), count)) << count;
  }
  EXPECT_EQ("", trace());
}

TEST_F(RegisterPlayResult, entryOfMoreThan256ValuesIsRefusedBeforeAnythingIsSent) {
  for (const std::uint32_t header : {0x30u, 0x80u}) {
    for (const std::uint32_t count : {257u, 1000u, 0x10001u, 0x80000000u, 0xFFFFFFFFu}) {
      fill({{header, {0}}, {1, {0x11}}, {2, {0x22}}});
      entries()[2].valueCount = count;
      EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbBufToReg(handle.driverHandle, entries(), 3)) << count;
      EXPECT_EQ(std::string::npos, trace().find("pipe3")) << count;
    }
  }
}

TEST_F(RegisterPlayResult, entriesBehindTheLastLineAreNotLookedAt) {
  fill({{0x30, {0}}, {1, {0x11}}});  // the rest of the table is filled with large numbers
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_OK, kUsbBufToReg(handle.driverHandle, entries(), 2));
  EXPECT_EQ(write(1) + playEnd(2), trace());
}

TEST_F(RegisterPlayResult, nothingBehindTheLastEntryIsRead) {
  GuardedMemory memory(2 * sizeof(RegisterTableEntry), MemoryEdge::upper, tableFill);
  const auto table = expectedTable({{0x30, {0}}, {1, {0x11}}});
  std::memcpy(memory.data(), table.data(), memory.size());
  board.queueStatus(0);
  EXPECT_EQ(KVEXA_OK,
            kUsbBufToReg(handle.driverHandle, reinterpret_cast<const RegisterTableEntry*>(memory.data()), 2));
  EXPECT_EQ(write(1) + playEnd(2), trace());
}

TEST_F(RegisterPlayResult, nullTableIsRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kUsbBufToReg(handle.driverHandle, nullptr, 2));
  EXPECT_EQ("", trace());
}

TEST_F(RegisterPlayResult, tableMayBePlayedAgain) {
  fill(threeWrites_);
  const auto before =
      std::vector<std::uint8_t>(reinterpret_cast<std::uint8_t*>(entries()),
                                reinterpret_cast<std::uint8_t*>(entries()) + registerTableBytes);
  for (unsigned round = 0; round < 3; ++round) {
    board.queueStatus(0);
    EXPECT_EQ(KVEXA_OK, kUsbBufToReg(handle.driverHandle, entries(), 4));
    EXPECT_EQ(write(1) + write(2) + write(3) + playEnd(4), trace());
  }
  EXPECT_EQ(0, std::memcmp(before.data(), entries(), registerTableBytes));
}

TEST_F(RegisterPlayResult, unpluggedBoardFails) {
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, play(threeWrites_));
}

}  // namespace
}  // namespace kvexa::test
