// The board's own registers: address port, data port, and the polling of the status in between.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class BoardRegister : public BoardFixture {
 protected:
  std::int32_t read(std::uint32_t address) { return kVexaFpgaRead(&handle, address, 2, &word); }

  std::int32_t write(std::uint32_t address, std::uint32_t value) {
    return kVexaFpgaWrite(&handle, address, 2, &value);
  }

  std::uint32_t word = untouched;
};

const std::string dataHeader = out(3, {0x00, 0x80, 0x01, 0x02, 0x00});

TEST_F(BoardRegister, ReadWritesTheAddressThenReadsTheData) {
  board.setBoardRegister(0x0504, 0xCAFE);
  EXPECT_EQ(KVEXA_OK, read(0x0504));
  EXPECT_EQ(0xCAFEU, word);
  EXPECT_EQ(out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + out(0, {0x00, 0x00}) + in(1, 64) +
                out(3, {0x00, 0x80, 0x01, 0x02, 0x00}) + out(0, {0x00, 0x00}) + in(1, 64) + in(4, 7),
            trace());
}

TEST_F(BoardRegister, WriteWritesTheAddressThenTheData) {
  EXPECT_EQ(KVEXA_OK, write(0x0504, 0xABCD1234));
  EXPECT_EQ(0x1234, board.boardRegister(0x0504));
  EXPECT_EQ(out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + out(0, {0x00, 0x00}) + in(1, 64) +
                out(3, {0x01, 0x80, 0x01, 0x02, 0x00, 0x34, 0x12}) + out(0, {0x00, 0x00}) + in(1, 64),
            trace());
}

TEST_F(BoardRegister, FourBytesAreTwoWords) {
  board.setBoardRegister(0x0504, 0x1122);
  board.setBoardRegister(0x0506, 0x3344);
  std::uint32_t words[3] = {untouched, untouched, untouched};
  EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x0504, 4, words));
  EXPECT_EQ(0x1122U, words[0]);
  EXPECT_EQ(0x3344U, words[1]);
  EXPECT_EQ(untouched, words[2]);
  EXPECT_EQ(polledWrite(0, 0x0504) + out(3, {0x00, 0x80, 0x01, 0x04, 0x00}) + statusReading() + in(4, 9),
            trace());

  const std::uint32_t data[2] = {0x99991122, 0x99993344};
  EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x0504, 4, data));
  EXPECT_EQ(polledWrite(0, 0x0504) + out(3, {0x01, 0x80, 0x01, 0x04, 0x00, 0x22, 0x11, 0x44, 0x33}) +
                statusReading(),
            trace());
}

TEST_F(BoardRegister, BusyBoardIsPolledUntilItIsIdle) {
  queueStatus(5, 0x01);
  EXPECT_EQ(KVEXA_OK, write(0x0504, 7));
  EXPECT_EQ(
      out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + repeat(6, statusReading()) + polledWrite(1, 7),
      trace());
}

TEST_F(BoardRegister, IdleAtTheThousandthPollIsInTime) {
  queueStatus(999, 0x01);
  EXPECT_EQ(KVEXA_OK, write(0x0504, 7));
}

TEST_F(BoardRegister, BusyThroughAThousandPollsTimesOutAndChecksTheStatus) {
  queueStatus(1000, 0x01);
  EXPECT_EQ(KVEXA_TIMED_OUT, write(0x0504, 7));
  EXPECT_EQ(out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + repeat(1001, statusReading()), trace());
  EXPECT_EQ(0, board.boardRegister(0x0504));
}

// Writes know one good status only; the further ones of reads keep them waiting.
TEST_F(BoardRegister, OnlyZeroEndsAWrite) {
  queueStatus(1000, 0x23);
  EXPECT_EQ(KVEXA_TIMED_OUT, write(0x0504, 7));
}

TEST_F(BoardRegister, WriteThatSeesABusErrorAndThenIdleSucceeds) {
  queueStatus(1, 0x60, '3');
  EXPECT_EQ(KVEXA_OK, write(0x0504, 7));
  EXPECT_EQ(7, board.boardRegister(0x0504));
  EXPECT_EQ(
      out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + repeat(2, statusReading()) + polledWrite(1, 7),
      trace());
}

TEST_F(BoardRegister, BusErrorOfAWriteThatNeverBecomesIdleIsTheResult) {
  struct Verdict {
    char digit;
    std::int32_t code;
  };
  for (const auto [digit, code] : {Verdict{'0', KVEXA_NO_ACKNOWLEDGE}, Verdict{'5', KVEXA_NO_ACKNOWLEDGE},
                                   Verdict{'6', KVEXA_FAILED}, Verdict{'/', KVEXA_FAILED}}) {
    queueStatus(1, 0x60, digit);
    queueStatus(999, 0x01);
    EXPECT_EQ(code, write(0x0504, 7)) << "digit " << digit;
    EXPECT_EQ(out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05}) + repeat(1001, statusReading()), trace());
  }
}

TEST_F(BoardRegister, LastBusErrorOfAWriteCounts) {
  queueStatus(1, 0x60, '3');
  queueStatus(1, 0x60, 'A');
  queueStatus(998, 0x01);
  EXPECT_EQ(KVEXA_FAILED, write(0x0504, 7));
}

TEST_F(BoardRegister, ReadAcceptsFurtherStatuses) {
  for (const auto code : std::initializer_list<std::uint8_t>{0x23, 0x24, 0x43, 0x44, 0x45}) {
    board.setBoardRegister(0x0504, code);
    queueStatus(1, 0);  // the address write
    queueStatus(1, code);
    EXPECT_EQ(KVEXA_OK, read(0x0504)) << unsigned{code};
    EXPECT_EQ(code, word);
    EXPECT_EQ(boardRead(0x0504), trace());
  }
}

TEST_F(BoardRegister, ReadStopsAtABusErrorAndLeavesTheDestination) {
  struct Verdict {
    char digit;
    std::int32_t code;
  };
  for (const auto [digit, code] : {Verdict{'0', KVEXA_NO_ACKNOWLEDGE}, Verdict{'5', KVEXA_NO_ACKNOWLEDGE},
                                   Verdict{'6', KVEXA_FAILED}, Verdict{'/', KVEXA_FAILED}}) {
    queueStatus(1, 0);
    queueStatus(1, 0x60, digit);
    EXPECT_EQ(code, read(0x0504)) << "digit " << digit;
    EXPECT_EQ(untouched, word);
    EXPECT_EQ(polledWrite(0, 0x0504) + dataHeader + repeat(2, statusReading()), trace());
  }
}

TEST_F(BoardRegister, BusyReadTimesOutChecksTheStatusAndLeavesTheDestination) {
  queueStatus(1, 0);
  queueStatus(1000, 0x01);
  EXPECT_EQ(KVEXA_TIMED_OUT, read(0x0504));
  EXPECT_EQ(untouched, word);
  EXPECT_EQ(polledWrite(0, 0x0504) + dataHeader + repeat(1001, statusReading()), trace());
}

TEST_F(BoardRegister, RefusedAddressIsReturnedAtOnceAfterAStatusCheck) {
  const std::string address = out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05});
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x0504, 7));
  EXPECT_EQ(refused(address) + statusReading(), trace());
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read(0x0504));
  EXPECT_EQ(refused(address) + statusReading(), trace());
  EXPECT_EQ(untouched, word);
}

TEST_F(BoardRegister, RefusedDataPacketIsReturnedAfterAStatusCheck) {
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x0504, 7));
  EXPECT_EQ(
      polledWrite(0, 0x0504) + refused(out(3, {0x01, 0x80, 0x01, 0x02, 0x00, 0x07, 0x00})) + statusReading(),
      trace());
}

TEST_F(BoardRegister, WithoutItsHeaderTheAnswerIsNotRead) {
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read(0x0504));
  EXPECT_EQ(untouched, word);
  EXPECT_EQ(polledWrite(0, 0x0504) + refused(dataHeader) + statusReading(), trace());
}

TEST_F(BoardRegister, RefusedAnswerIsReturnedAfterAStatusCheckAndLeavesTheDestination) {
  refuse(7);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read(0x0504));
  EXPECT_EQ(untouched, word);
  EXPECT_EQ(polledWrite(0, 0x0504) + dataHeader + statusReading() + refused("usb0 pipe4 in 1000ms 0/7\n") +
                statusReading(),
            trace());
}

TEST_F(BoardRegister, StatusCheckAfterAFailureResetsThePipesWithoutChangingTheResult) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x0504, 7));
  EXPECT_EQ(refused(out(3, {0x01, 0x80, 0x00, 0x02, 0x00, 0x04, 0x05})) + statusReading() + sleep(0) +
                statusReading() + pipeReset(),
            trace());
}

TEST_F(BoardRegister, OneRefusedStatusReadingIsRepeated) {
  for (const unsigned k : {2U, 3U}) {
    refuse(k);
    EXPECT_EQ(KVEXA_OK, write(0x0504, k)) << "request " << k;
    EXPECT_EQ(k, board.boardRegister(0x0504));
  }
}

TEST_F(BoardRegister, StatusThatCanNeverBeReadTimesOut) {
  board.faults().from(2, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
  EXPECT_EQ(KVEXA_TIMED_OUT, write(0x0504, 7));
}

TEST_F(BoardRegister, AnswerThatComesShortReadsAsZeros) {
  board.setBoardRegister(0x0504, 0xCAFE);
  board.faults().at(7, {sim::Fault::Kind::shorten, 5});
  EXPECT_EQ(KVEXA_OK, read(0x0504));
  EXPECT_EQ(0U, word);
}

TEST_F(BoardRegister, UnpluggedBoardIsReported) {
  board.unplug();
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x0504, 7));
  EXPECT_EQ(KVEXA_REQUEST_FAILED, read(0x0504));
  EXPECT_EQ(untouched, word);
}

TEST_F(BoardRegister, LargestTransferPasses) {
  std::vector<std::uint32_t> words(32768, 0);
  EXPECT_EQ(KVEXA_OK, kVexaFpgaWrite(&handle, 0x0504, 65535, words.data()));
  EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x0504, 65535, words.data()));
}

}  // namespace
}  // namespace kvexa::test
