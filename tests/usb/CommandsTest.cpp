// Extended commands.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

using Commands = BoardFixture;

TEST_F(Commands, EachFunctionSendsItsPacketAndNothingElse) {
  EXPECT_EQ(KVEXA_OK, kVexaLocalReset(&handle));
  EXPECT_EQ(command(0), trace());
  EXPECT_EQ(KVEXA_OK, kVexaEp2Flash(&handle));
  EXPECT_EQ(command(1), trace());
  EXPECT_EQ(KVEXA_OK, kVexaWaitVSync(&handle, 0));
  EXPECT_EQ(command(2), trace());
  EXPECT_EQ(KVEXA_OK, kVexaWaitVSync(&handle, 1));
  EXPECT_EQ(command(3), trace());
  EXPECT_EQ(KVEXA_OK, kVexaStatusClear(&handle));
  EXPECT_EQ(command(5), trace());
  EXPECT_EQ(KVEXA_OK, kVexaSetI2Cspeed(&handle, 1));
  EXPECT_EQ(command(7), trace());
  EXPECT_EQ(KVEXA_OK, kVexaSetI2Cspeed(&handle, 0));
  EXPECT_EQ(command(8), trace());
}

TEST_F(Commands, TheBoardReceivesThem) {
  kVexaLocalReset(&handle);
  kVexaStatusClear(&handle);
  kVexaSetI2Cspeed(&handle, 1);
  EXPECT_EQ((std::vector<std::uint8_t>{0, 5, 7}), board.commands());
}

TEST_F(Commands, WaitVSyncRefusesOtherModes) {
  EXPECT_EQ(KVEXA_FAILED, kVexaWaitVSync(&handle, 2));
  EXPECT_EQ(KVEXA_FAILED, kVexaWaitVSync(&handle, 0xFFFFFFFF));
  EXPECT_EQ("", trace());
}

TEST_F(Commands, WaitVSyncLooksAtTheHandleBeforeTheMode) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaWaitVSync(nullptr, 2));
}

TEST_F(Commands, RefusedCommandIsNotReported) {
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kVexaLocalReset(&handle));
  EXPECT_EQ(refused(command(0)), trace());
}

TEST_F(Commands, RawCommandTakesItsNumberFromTheFirstByte) {
  const std::uint8_t bytes[] = {5, 6};
  EXPECT_EQ(KVEXA_OK, kUsbExCmd(handle.driverHandle, bytes));
  EXPECT_EQ(command(5), trace());
}

TEST_F(Commands, RawCommandSucceedsEvenOnAnUnpluggedBoard) {
  const std::uint8_t number = 5;
  board.unplug();
  EXPECT_EQ(KVEXA_OK, kUsbExCmd(handle.driverHandle, &number));
}

TEST_F(Commands, RawCommandSucceedsWithNullPointersAndSendsNothing) {
  const std::uint8_t number = 5;
  EXPECT_EQ(KVEXA_OK, kUsbExCmd(nullptr, &number));
  EXPECT_EQ(KVEXA_OK, kUsbExCmd(handle.driverHandle, nullptr));
  EXPECT_EQ("", trace());
}

class StatusRead : public BoardFixture {
 protected:
  std::int32_t read() { return kVexaStatusRead(&handle, &status); }

  std::uint32_t status = untouched;
};

TEST_F(StatusRead, LatchesThenReadsTwoBytesThenChecksTheStatus) {
  board.setTargetWord(2, 0xBEEF);
  EXPECT_EQ(KVEXA_OK, read());
  EXPECT_EQ(0xBEEFU, status);
  EXPECT_EQ(command(6) + simpleRead(2), trace());
}

TEST_F(StatusRead, RefusedLatchDoesNotStopIt) {
  refuse(1);
  EXPECT_EQ(KVEXA_OK, read());
  EXPECT_EQ(refused(command(6)) + simpleRead(2), trace());
}

TEST_F(StatusRead, WithoutItsHeaderTheAnswerIsNotRead) {
  board.setTargetWord(2, 0xBEEF);
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read());
  EXPECT_EQ(0U, status);
  EXPECT_EQ(command(6) + refused(out(3, {0x00, 0x80, 0x02, 0x02, 0x00})) + statusReading(), trace());
}

TEST_F(StatusRead, RefusedAnswerIsReportedAndGivesZero) {
  board.setTargetWord(2, 0xBEEF);
  refuse(3);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read());
  EXPECT_EQ(0U, status);
}

TEST_F(StatusRead, BusErrorInTheStatusCheckIsNoAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, read());
  EXPECT_EQ(command(6) + simpleRead(2) + sleep(0) + statusReading() + pipeReset(), trace());
}

TEST_F(StatusRead, BusErrorOutranksARefusedAnswer) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  refuse(3);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, read());
}

TEST_F(StatusRead, AnotherLastingStatusIsNotReported) {
  queueStatus(11, 0x01);
  EXPECT_EQ(KVEXA_OK, read());
}

}  // namespace
}  // namespace kvexa::test
