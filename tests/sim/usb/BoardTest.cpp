#include <algorithm>
#include <array>

#include "tests/sim/usb/BoardFixture.h"

namespace {

using sim::Fault;
namespace Register = sim::SensorRegister;

class UsbBoardTest : public BoardTest {};

TEST_F(UsbBoardTest, HasTheDocumentedPowerUpValues) {
  EXPECT_EQ(readRegister(0x0002), 0x0103);
  EXPECT_EQ(readRegister(0x0008), 0x1B00);
  EXPECT_EQ(readRegister(0x000A), 0x0018);
  EXPECT_EQ(readRegister(0x0304), 640);
  EXPECT_EQ(readRegister(0x0308), 480);
  EXPECT_EQ(readRegister(0x0802), 8);
  EXPECT_EQ(readRegister(0x0108), 0);
  EXPECT_EQ(readRegister(0x1234), 0);
}

TEST_F(UsbBoardTest, AnswersWithTheHeaderAsItWasSent) {
  board.setTargetWord(7, 0xBEEF);
  send({0, 0x80, 7, 2, 0});
  EXPECT_EQ(receive(4, 7), (Bytes{0, 0x80, 7, 2, 0, 0xEF, 0xBE}));
  send({2, 0x80, 7, 0, 2, 0});
  EXPECT_EQ(receive(4, 8), (Bytes{2, 0x80, 7, 0, 2, 0, 0xEF, 0xBE}));
}

TEST_F(UsbBoardTest, KeepsTheRestOfAnAnswerUntilTheNextRead) {
  send({0, 0x80, 1, 2, 0});
  EXPECT_EQ(receive(4, 3).size(), 3U);
  EXPECT_EQ(receive(4, 100).size(), 4U);
  receive(4, 1, 250);
  EXPECT_EQ(last.error, 121U);
  EXPECT_EQ(clock.now(), 250000U);
}

TEST_F(UsbBoardTest, CountsRegistersUpByTwoAtTheDataPort) {
  send({1, 0x80, 0, 2, 0, 0x02, 0x02});
  send({1, 0x80, 1, 6, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66});
  EXPECT_EQ(board.boardRegister(0x0202), 0x2211);
  EXPECT_EQ(board.boardRegister(0x0204), 0x4433);
  EXPECT_EQ(board.boardRegister(0x0206), 0x6655);
  send({0, 0x80, 1, 5, 0});
  EXPECT_EQ(receive(4, 10), (Bytes{0, 0x80, 1, 5, 0, 0x11, 0x22, 0x33, 0x44, 0x55}));
}

TEST_F(UsbBoardTest, TakesAddressAndDataInOneTransfer) {
  send({1, 0x80, 0, 4, 0, 0x04, 0x09, 0xCD, 0xAB});
  EXPECT_EQ(board.boardRegister(0x0904), 0xABCD);
  send({0, 0x80, 0, 4, 0});
  EXPECT_EQ(receive(4, 9), (Bytes{0, 0x80, 0, 4, 0, 0x04, 0x09, 0xCD, 0xAB}));
}

TEST_F(UsbBoardTest, StoresPlainWordsOfTheTarget) {
  send({1, 0x80, 0x0E, 2, 0, 0x34, 0x12});
  EXPECT_EQ(board.targetWord(0x0E), 0x1234);
  send({3, 0x80, 0x0E, 0x01, 2, 0, 0x78, 0x56});
  EXPECT_EQ(board.targetWord(0x0E), 0x1234);
}

TEST_F(UsbBoardTest, MovesTheSensorsLines) {
  const struct {
    std::uint16_t value;
    bool answers;
  } cases[] = {{0x18, false}, {0x11, false}, {0x14, false}, {0x1D, false},
               {0x05, false}, {0x15, true},  {0x37, true}};
  for (const auto& each : cases) {
    writeRegister(0x000A, each.value);
    EXPECT_EQ(board.sensor().read(0x36, 0, 1).has_value(), each.answers) << each.value;
  }
}

TEST_F(UsbBoardTest, WritesAndReadsTheSensorInEveryMode) {
  powerUp();
  board.sensor().setAddress({0x36, 8});
  send({1, 0x36, 0x42, 2, 0, 0xAA, 0xBB});
  EXPECT_EQ(board.sensor().peek(0x42), 0xAA);
  EXPECT_EQ(board.sensor().peek(0x43), 0xBB);
  send({9, 0x36, 0x44, 1, 0, 0xCC, 0});
  EXPECT_EQ(board.sensor().peek(0x44), 0xCC);
  send({8, 0x36, 0x42, 3, 0, 0});
  EXPECT_EQ(receive(4, 9), (Bytes{8, 0x36, 0x42, 3, 0, 0, 0xAA, 0xBB, 0xCC}));

  board.sensor().setAddress({0x136, 16});
  send({11, 0x36, 0x79, 0x34, 0x12, 1, 0, 0x55});
  EXPECT_EQ(board.sensor().peek(0x1234), 0x55);
  send({10, 0x01, 0x36, 0x34, 0x12, 1, 0});
  EXPECT_EQ(receive(4, 8), (Bytes{10, 0x01, 0x36, 0x34, 0x12, 1, 0, 0x55}));

  board.sensor().setAddress({0x36, 0});
  send({4, 0x36, 2, 0});
  EXPECT_EQ(receive(4, 6), (Bytes{4, 0x36, 2, 0, 0x4B, 0x56}));
}

TEST_F(UsbBoardTest, ReportsMissingAcknowledgeUntilItIsCleared) {
  const auto code = [&] { return status().at(4); };
  EXPECT_EQ(status(), Bytes(64, 0));
  send({1, 0x36, 0, 1, 0, 0});  // no supply
  const Bytes block = status();
  EXPECT_EQ(block[4], 0x60);
  EXPECT_EQ(block[6], '1');
  EXPECT_EQ(code(), 0x60);

  EXPECT_EQ(request({0x01}).error, 0U);
  EXPECT_EQ(receive(1, 1), Bytes{0});
  EXPECT_EQ(code(), 0);

  send({1, 0x36, 0, 1, 0, 0});
  send({0x01, 0x81, 0x05});
  EXPECT_EQ(code(), 0);

  send({1, 0x36, 0, 1, 0, 0});
  send({0x01, 0x81, 0x01});
  EXPECT_EQ(code(), 0x60);
  send({1, 0x80, 7, 2, 0, 0, 0});
  EXPECT_EQ(code(), 0);
}

TEST_F(UsbBoardTest, DeliversZerosForWhatTheSensorDoesNotAcknowledge) {
  powerUp();
  board.faults().holdAcknowledge(true);
  send({2, 0x36, 0, 0, 2, 0});
  EXPECT_EQ(status()[4], 0x60);
  EXPECT_EQ(receive(4, 8), (Bytes{2, 0x36, 0, 0, 2, 0, 0, 0}));
  board.faults().holdAcknowledge(false);
  send({2, 0x36, 0, 0, 2, 0});
  EXPECT_EQ(status()[4], 0);
  EXPECT_EQ(receive(4, 8), (Bytes{2, 0x36, 0, 0, 2, 0, 0x4B, 0x56}));
}

TEST_F(UsbBoardTest, RemembersTheFailedOneOfABatch) {
  powerUp();
  send({1, 0x36, 0x10, 1, 0, 5, 1, 0x37, 0x10, 1, 0, 5, 1, 0x36, 0x11, 1, 0, 6});
  EXPECT_EQ(status()[4], 0x60);
  EXPECT_EQ(board.sensor().peek(0x10), 5);
  EXPECT_EQ(board.sensor().peek(0x11), 6);
}

TEST_F(UsbBoardTest, ReportsBrokenPackets) {
  send({0xFF, 1, 2, 3});
  EXPECT_EQ(status()[4], 0x60);
  EXPECT_EQ(status()[6], '2');
  EXPECT_EQ(send({}).error, 0U);
}

TEST_F(UsbBoardTest, AnswersQueuedStatusFirst) {
  board.queueStatus(0x23);
  board.queueStatus(0x60, '3');
  EXPECT_EQ(status()[4], 0x23);
  const Bytes second = status();
  EXPECT_EQ(second[4], 0x60);
  EXPECT_EQ(second[6], '3');
  EXPECT_EQ(status()[4], 0);
}

TEST_F(UsbBoardTest, AnswersNothingThatWasNotRequested) {
  receive(1, 64);
  EXPECT_EQ(last.error, 121U);
  EXPECT_EQ(request({2}).error, 31U);
  EXPECT_EQ(request({0}).error, 31U);
  EXPECT_EQ(request({}).error, 31U);
  board.setRecoveryAnswer(9);
  request({1});
  EXPECT_EQ(receive(1, 1), Bytes{9});
  receive(5, 1);
  EXPECT_EQ(last.error, 87U);
}

TEST_F(UsbBoardTest, RecordsCommands) {
  send({0x01, 0x81, 0x07});
  send({0x01, 0x81, 0x00, 0x01, 0x81, 0x09});
  EXPECT_EQ(board.commands(), (Bytes{7, 0, 9}));
}

TEST_F(UsbBoardTest, DescribesItself) {
  Bytes data(18);
  const sim::Answer answer = board.descriptor(data.data(), 18);
  EXPECT_EQ(answer.bytes, 18U);
  EXPECT_EQ(data[0], 18);
  EXPECT_EQ(data[1], 1);
  EXPECT_EQ(data[12], 0x05);
  EXPECT_EQ(data[13], 0x01);
  EXPECT_EQ(board.descriptor(data.data(), 10).bytes, 10U);
}

TEST_F(UsbBoardTest, WritesItsTrace) {
  send({0x01, 0x36, 0x12, 0x01, 0x00, 0x34});
  status();
  Bytes data(18);
  board.descriptor(data.data(), 18);
  EXPECT_EQ(trace.take(),
            (std::vector<std::string>{
                "usb0 pipe3 out 1000ms [01 36 12 01 00 34]", "usb0 pipe0 out 1000ms [00 00]",
                "usb0 pipe1 in 1000ms 64/64 [00 00 00 00 60 00 31 00 00 00 00 00 00 00 00 00 ..]",
                "usb0 descriptor 18/18"}));
}

TEST_F(UsbBoardTest, MeetsItsFaults) {
  board.faults().at(1, {Fault::Kind::refuse, 31});
  board.faults().at(2, {Fault::Kind::keepStatus});
  board.faults().at(4, {Fault::Kind::shorten, 3});
  EXPECT_EQ(send({1, 0x80, 7, 2, 0, 1, 0}).error, 31U);
  EXPECT_EQ(board.targetWord(7), 0);
  const sim::Answer kept = send({1, 0x80, 7, 2, 0, 1, 0});
  EXPECT_EQ(kept.error, 0U);
  EXPECT_FALSE(kept.statusReported);
  EXPECT_EQ(board.targetWord(7), 1);
  send({0, 0x80, 7, 2, 0});
  EXPECT_EQ(receive(4, 7).size(), 3U);
  EXPECT_EQ(board.faults().requestCount(), 4U);
}

TEST_F(UsbBoardTest, CorruptsWhatMoves) {
  Bytes packet = {1, 0x80, 7, 2, 0, 1, 0};
  const Bytes before = packet;
  board.faults().at(1, {Fault::Kind::corrupt, 0x80});
  EXPECT_EQ(board.transfer(3, 1000, packet.data(), 7).error, 0U);
  EXPECT_EQ(packet, before);
  EXPECT_EQ(board.targetWord(7), 0);
  EXPECT_EQ(status().at(4), 0x60);

  EXPECT_EQ(send(packet).error, 0U);
  EXPECT_EQ(status().at(4), 0);
  send({0, 0x80, 7, 2, 0});
  board.faults().at(1, {Fault::Kind::corrupt, 0x0F});
  EXPECT_EQ(receive(4, 7), (Bytes{0x0F, 0x8F, 0x08, 0x0D, 0x0F, 0x0E, 0x0F}));
}

TEST_F(UsbBoardTest, IsPulledOutAndPluggedInAgain) {
  board.faults().at(2, {Fault::Kind::unplug});
  EXPECT_EQ(send({0x01, 0x81, 0x00}).error, 0U);
  EXPECT_EQ(send({0x01, 0x81, 0x00}).error, 1167U);
  EXPECT_FALSE(board.isPlugged());
  EXPECT_EQ(board.descriptor(nullptr, 0).error, 1167U);
  EXPECT_EQ(board.commands().size(), 1U);
  board.plug();
  EXPECT_EQ(send({0x01, 0x81, 0x00}).error, 0U);
}

TEST_F(UsbBoardTest, IsOpenOnce) {
  EXPECT_TRUE(board.open());
  EXPECT_FALSE(board.open());
  board.close();
  EXPECT_TRUE(board.open());
}

TEST_F(UsbBoardTest, ShowsTheFramePeriodWithATogglingBit) {
  powerUp();
  EXPECT_EQ(readRegister(0x0108), 0);
  writeSensor(Register::streaming, {1});
  EXPECT_EQ(readRegister(0x0108), 333);
  clock.advance(33300);
  EXPECT_EQ(readRegister(0x0108), 0x8000 | 333);
  clock.advance(33299);
  EXPECT_EQ(readRegister(0x0108), 0x8000 | 333);
  clock.advance(1);
  EXPECT_EQ(readRegister(0x0108), 333);
  board.faults().holdFrames(true);
  clock.advance(33300);
  EXPECT_EQ(readRegister(0x0108), 333);
}

TEST_F(UsbBoardTest, MeasuresTwoFrames) {
  powerUp();
  writeSensor(Register::width, {0x05, 0x00, 0x02, 0xD0});
  writeRegister(0x0102, 3);
  clock.advance(1000000);
  EXPECT_EQ(board.targetWord(2), 0);  // no frames yet
  writeSensor(Register::streaming, {1});
  clock.advance(66599);
  EXPECT_EQ(board.targetWord(2), 0);
  clock.advance(1);
  EXPECT_EQ(board.targetWord(2), 1);
  EXPECT_EQ(board.boardRegister(0x010E), 1280);
  EXPECT_EQ(board.boardRegister(0x0110), 720);
  send({1, 0x80, 2, 2, 0, 0, 0});
  clock.advance(1000000);
  EXPECT_EQ(board.targetWord(2), 0);
}

TEST_F(UsbBoardTest, AbandonsAMeasurement) {
  powerUp();
  writeSensor(Register::streaming, {1});
  writeRegister(0x0102, 3);
  clock.advance(60000);
  writeRegister(0x0102, 0);
  clock.advance(60000);
  EXPECT_EQ(board.targetWord(2), 0);
}

TEST_F(UsbBoardTest, WaitsForVerticalSync) {
  send({0x01, 0x81, 0x02});
  EXPECT_EQ(clock.now(), 0U);
  powerUp();
  clock.advance(700);
  writeSensor(Register::streaming, {1});
  clock.advance(1);
  send({0x01, 0x81, 0x02});
  EXPECT_EQ(clock.now(), 700U + 33300U);
  send({0x01, 0x81, 0x03});
  EXPECT_EQ(clock.now(), 700U + 2 * 33300U);
}

}  // namespace
