// Registers on the sensor bus, transferred without polling.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class SensorRegisters : public BoardFixture {
 protected:
  void SetUp() override {
    BoardFixture::SetUp();
    bringUpSensor();
  }

  std::int32_t write(std::uint32_t slave, std::uint32_t subAddress, std::uint32_t mode,
                     const std::vector<std::uint32_t>& words) {
    return kVexaRegWrite(&handle, slave, subAddress, mode, static_cast<std::uint32_t>(words.size()),
                         words.data());
  }
};

struct ModeCase {
  std::uint32_t mode;
  std::uint32_t slave;
  sim::SensorAddress sensor;
  std::vector<unsigned> writePacket;  // for the data bytes 0x11, 0x22
  std::vector<unsigned> readHeader;   // for two bytes
};

// Sub-address 0xABCD. Mode 3 sends the low byte of the slave alone and so leaves the last byte of its
// header's room over: behind the data of a write, behind the count of a read. Modes 4 and 5 send the
// slave's high byte first. No mode adds the 10-bit prefix. All intended.
const ModeCase modeCases[] = {
    {KVEXA_SLAVE7_SUB8,
     0x36,
     {0x36, 8},
     {0x01, 0x36, 0xcd, 0x02, 0x00, 0x11, 0x22},
     {0x00, 0x36, 0xcd, 0x02, 0x00}},
    {KVEXA_SLAVE7_SUB16,
     0x36,
     {0x36, 16},
     {0x03, 0x36, 0xcd, 0xab, 0x02, 0x00, 0x11, 0x22},
     {0x02, 0x36, 0xcd, 0xab, 0x02, 0x00}},
    {KVEXA_SLAVE7_NO_SUB, 0x36, {0x36, 0}, {0x05, 0x36, 0x02, 0x00, 0x11, 0x22}, {0x04, 0x36, 0x02, 0x00}},
    {KVEXA_SLAVE10_SUB8,
     0x312,
     {0x12, 8},
     {0x09, 0x12, 0xcd, 0x02, 0x00, 0x11, 0x22, 0x00},
     {0x08, 0x12, 0xcd, 0x02, 0x00, 0x00}},
    {KVEXA_SLAVE10_SUB16,
     0x312,
     {0x312, 16},
     {0x0b, 0x03, 0x12, 0xcd, 0xab, 0x02, 0x00, 0x11, 0x22},
     {0x0a, 0x03, 0x12, 0xcd, 0xab, 0x02, 0x00}},
    {KVEXA_SLAVE10_NO_SUB,
     0x312,
     {0x312, 0},
     {0x0d, 0x03, 0x12, 0x02, 0x00, 0x11, 0x22},
     {0x0c, 0x03, 0x12, 0x02, 0x00}},
};

TEST_F(SensorRegisters, WritePacketInEachMode) {
  for (const auto& row : modeCases) {
    SCOPED_TRACE(testing::Message() << "mode " << row.mode);
    board.sensor().setAddress(row.sensor);
    queueStatus(1, 0);
    EXPECT_EQ(KVEXA_OK, write(row.slave, 0xABCD, row.mode, {0xFFFFFF11, 0x22}));
    EXPECT_EQ(out(3, row.writePacket) + statusReading(), trace());
  }
}

TEST_F(SensorRegisters, ReadHeaderAndAnswerInEachMode) {
  for (const auto& row : modeCases) {
    SCOPED_TRACE(testing::Message() << "mode " << row.mode);
    board.sensor().setAddress(row.sensor);
    queueStatus(1, 0);
    std::uint32_t words[3] = {untouched, untouched, untouched};
    EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, row.slave, 0xABCD, row.mode, 2, words));
    const auto answer = static_cast<unsigned>(row.readHeader.size()) + 2;
    EXPECT_EQ(out(3, row.readHeader) + in(4, answer) + statusReading(), trace());
    EXPECT_EQ(untouched, words[2]);
  }
}

TEST_F(SensorRegisters, WrittenBytesReachTheSensorAndReadBackZeroExtended) {
  board.sensor().setAddress({0x36, 8});
  EXPECT_EQ(KVEXA_OK, write(0x36, 0x40, KVEXA_SLAVE7_SUB8, {0x123456FE, 0x80}));
  EXPECT_EQ(0xFE, board.sensor().peek(0x40));
  EXPECT_EQ(0x80, board.sensor().peek(0x41));

  board.sensor().setAddress({0x36, 16});
  board.sensor().poke(0x8040, 0xAA);
  board.sensor().poke(0x8041, 0xBB);
  std::uint32_t words[2] = {untouched, untouched};
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 2, words));
  EXPECT_EQ(0xAAU, words[0]);
  EXPECT_EQ(0xBBU, words[1]);
}

TEST_F(SensorRegisters, BusFormOfTheSlaveAddressIsHalved) {
  std::uint32_t word = 0x5A;
  EXPECT_EQ(KVEXA_OK, kVexaRegWriteS(&handle, 0x6C, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ(out(3, {0x03, 0x36, 0x40, 0x80, 0x01, 0x00, 0x5a}) + statusReading(), trace());
  EXPECT_EQ(0x5A, board.sensor().peek(0x8040));
  word = untouched;
  EXPECT_EQ(KVEXA_OK, kVexaRegReadS(&handle, 0x6D, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ(out(3, {0x02, 0x36, 0x40, 0x80, 0x01, 0x00}) + in(4, 7) + statusReading(), trace());
  EXPECT_EQ(0x5AU, word);
}

TEST_F(SensorRegisters, BusFormWithTheWrongParityIsRefused) {
  std::uint32_t word = 0x5A;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWriteS(&handle, 0x6D, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegReadS(&handle, 0x6C, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ("", trace());
}

TEST_F(SensorRegisters, BoardSlaveTakesTwoBytesAWord) {
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, KVEXA_SLAVE_BOARD, 2, KVEXA_SLAVE7_SUB8, 2,
                                    std::vector<std::uint32_t>{0x99991234, untouched}.data()));
  EXPECT_EQ(simpleWrite(2, 0x1234), trace());
  EXPECT_EQ(0x1234, board.targetWord(2));
}

TEST_F(SensorRegisters, FourBytesOfTheBoardSlaveAreTwoWords) {
  board.setTargetWord(2, 0xBEEF);
  board.setTargetWord(3, 0x1234);
  std::uint32_t words[3] = {untouched, untouched, untouched};
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, KVEXA_SLAVE_BOARD, 2, KVEXA_SLAVE7_SUB8, 4, words));
  EXPECT_EQ(0xBEEFU, words[0]);
  EXPECT_EQ(0x1234U, words[1]);
  EXPECT_EQ(untouched, words[2]);
  EXPECT_EQ(out(3, {0x00, 0x80, 0x02, 0x04, 0x00}) + in(4, 9) + statusReading(), trace());
}

TEST_F(SensorRegisters, BadArgumentsAreRefusedAndNothingIsSent) {
  std::uint32_t word = untouched;
  for (const std::uint32_t mode : {6U, 0x100U, 0xFFFFFFFFU}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegRead(&handle, 0x36, 0, mode, 1, &word)) << mode;
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWrite(&handle, 0x36, 0, mode, 1, &word)) << mode;
  }
  for (const std::uint32_t count : {0U, 65536U, 0xFFFFFFFFU}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegRead(&handle, 0x36, 0, 1, count, &word)) << count;
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWrite(&handle, 0x36, 0, 1, count, &word)) << count;
  }
  EXPECT_EQ(untouched, word);
  EXPECT_EQ("", trace());
}

TEST_F(SensorRegisters, LargestTransferPasses) {
  std::vector<std::uint32_t> words(65536, 0x3C);
  words.back() = untouched;
  board.sensor().poke(0x8001, 0);
  EXPECT_EQ(KVEXA_OK, kVexaRegWrite(&handle, 0x36, 0x8000, KVEXA_SLAVE7_SUB16, 0x7FFF, words.data()));
  EXPECT_EQ(0x3C, board.sensor().peek(0x8001));
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, 0x36, 0, KVEXA_SLAVE7_SUB16, 65535, words.data()));
  EXPECT_EQ(0x4BU, words[0]);
  EXPECT_EQ(untouched, words.back());
}

TEST_F(SensorRegisters, RefusedWriteIsReturnedAfterTheStatusCheck) {
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
  EXPECT_EQ(refused(out(3, {0x03, 0x36, 0x40, 0x80, 0x01, 0x00, 0x5a})) + statusReading(), trace());
  EXPECT_EQ(0, board.sensor().peek(0x8040));
}

TEST_F(SensorRegisters, WriteWhoseStatusWordIsKeptIsReturned) {
  board.faults().at(1, {sim::Fault::Kind::keepStatus});
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
}

// The answer is asked for whatever the header's transfer did.
TEST_F(SensorRegisters, RefusedReadHeaderIsFollowedByTheAnswer) {
  refuse(1);
  std::uint32_t word = untouched;
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ(0U, word);
  EXPECT_EQ(refused(out(3, {0x02, 0x36, 0x40, 0x80, 0x01, 0x00})) +
                "usb0 pipe4 in 1000ms 0/7 -> error 121\n" + statusReading(),
            trace());
}

TEST_F(SensorRegisters, RefusedAnswerIsReturnedAndReadsAsZeros) {
  board.sensor().poke(0x8040, 0x5A);
  refuse(2);
  std::uint32_t words[3] = {untouched, untouched, untouched};
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 2, words));
  EXPECT_EQ(0U, words[0]);
  EXPECT_EQ(0U, words[1]);
  EXPECT_EQ(untouched, words[2]);
  EXPECT_EQ(
      out(3, {0x02, 0x36, 0x40, 0x80, 0x02, 0x00}) + refused("usb0 pipe4 in 1000ms 0/8\n") + statusReading(),
      trace());
}

TEST_F(SensorRegisters, AnswerThatComesShortReadsAsZeros) {
  board.sensor().poke(0x8040, 0x5A);
  board.sensor().poke(0x8041, 0x5B);
  board.faults().at(2, {sim::Fault::Kind::shorten, 7});
  std::uint32_t words[2] = {untouched, untouched};
  EXPECT_EQ(KVEXA_OK, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 2, words));
  EXPECT_EQ(0x5AU, words[0]);
  EXPECT_EQ(0U, words[1]);
}

TEST_F(SensorRegisters, MissingAcknowledgeIsReportedAndThePipesAreReset) {
  board.faults().holdAcknowledge(true);
  board.setRecoveryAnswer(0);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
  EXPECT_EQ(out(3, {0x03, 0x36, 0x40, 0x80, 0x01, 0x00, 0x5a}) + statusReading() + sleep(0) +
                statusReading() + pipeReset(),
            trace());
  std::uint32_t word = untouched;
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));

  board.faults().holdAcknowledge(false);
  EXPECT_EQ(KVEXA_OK, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
  EXPECT_EQ(0x5A, board.sensor().peek(0x8040));
}

TEST_F(SensorRegisters, AnotherSlaveDoesNotAcknowledge) {
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, write(0x37, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
  EXPECT_EQ(0, board.sensor().peek(0x8040));
}

TEST_F(SensorRegisters, BusErrorOutranksARefusedTransfer) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0);
  refuse(1);
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
}

// Only 0x60 out of the status check is an error: an answer to the reset hides it. Intended.
TEST_F(SensorRegisters, AnswerToTheResetHidesTheMissingAcknowledge) {
  queueStatus(2, 0x60);
  board.setRecoveryAnswer(0x05);
  EXPECT_EQ(KVEXA_OK, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
}

TEST_F(SensorRegisters, AnotherLastingStatusIsNotReported) {
  queueStatus(11, 0x01);
  EXPECT_EQ(KVEXA_OK, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
}

TEST_F(SensorRegisters, UnpluggedBoardIsReported) {
  board.unplug();
  std::uint32_t word = untouched;
  EXPECT_EQ(KVEXA_REQUEST_FAILED, write(0x36, 0x8040, KVEXA_SLAVE7_SUB16, {0x5A}));
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 1, &word));
  EXPECT_EQ(0U, word);
}

}  // namespace
}  // namespace kvexa::test
