// The order in which a sensor is brought up, as it shows on the bench: a sensor that is not supplied,
// clocked, out of reset and on the bus does not acknowledge.
#include "tests/support/BoardFixture.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {
namespace {

class BringUp : public BoardFixture {
 protected:
  std::int32_t playFile() { return kVexaSetI2cFile(file.path(), &handle); }

  // Slave 0x36 with 16-bit register addresses; two settings.
  TemporaryFile file{"36,1\r\n8000,5A,5B\r\n9000,5C\r\n"};
};

TEST_F(BringUp, RegisterFileBeforePowerIsNotAcknowledgedAndWritesNothing) {
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, playFile());
  EXPECT_EQ(0, board.sensor().peek(0x8000));
  EXPECT_EQ(0, board.sensor().peek(0x9000));
}

TEST_F(BringUp, RegisterFileAfterPowerClockAndResetIsWritten) {
  bringUpSensor();
  EXPECT_EQ(KVEXA_OK, playFile());
  EXPECT_EQ(0x5A, board.sensor().peek(0x8000));
  EXPECT_EQ(0x5B, board.sensor().peek(0x8001));
  EXPECT_EQ(0x5C, board.sensor().peek(0x9000));
}

TEST_F(BringUp, WorksAfterAFailedAttempt) {
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, playFile());
  bringUpSensor();
  EXPECT_EQ(KVEXA_OK, playFile());
  EXPECT_EQ(0x5C, board.sensor().peek(0x9000));
}

TEST_F(BringUp, RequestsOfARegisterFile) {
  bringUpSensor();
  EXPECT_EQ(KVEXA_OK, playFile());
  EXPECT_EQ(out(3, {0x03, 0x36, 0x00, 0x80, 0x02, 0x00, 0x5a, 0x5b}) +
                out(3, {0x03, 0x36, 0x00, 0x90, 0x01, 0x00, 0x5c}) + sleep(3) + statusReading(),
            trace());
}

TEST_F(BringUp, AnyMissingStepIsNotAcknowledged) {
  struct Step {
    const char* name;
    std::int32_t(KVEXA_CALL* undo)(const BoardHandle*);
    std::int32_t(KVEXA_CALL* redo)(const BoardHandle*);
  };
  bringUpSensor();
  for (const auto& step :
       {Step{"supply", kVexaPowerV1Off, kVexaPowerV1On}, Step{"clock", kVexaClockOff, kVexaClockOn},
        Step{"reset", kVexaResetOn, kVexaResetOff}, Step{"bus", kVexaI2cOff, kVexaI2cOn}}) {
    SCOPED_TRACE(step.name);
    board.sensor().poke(0x8000, 0);
    ASSERT_EQ(KVEXA_OK, step.undo(&handle));
    EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, playFile());
    EXPECT_EQ(0, board.sensor().peek(0x8000));
    ASSERT_EQ(KVEXA_OK, step.redo(&handle));
    EXPECT_EQ(KVEXA_OK, playFile());
    EXPECT_EQ(0x5A, board.sensor().peek(0x8000));
  }
}

// In a register file the 10-bit slave goes out low byte first and its high byte carries the prefix.
TEST_F(BringUp, TenBitSlaveOfATableCarriesThePrefix) {
  std::vector<RegisterTableEntry> table(2);
  table[0].number = 0x012;
  table[0].values[0] = KVEXA_SLAVE10_SUB8;
  table[0].valueCount = 1;
  table[1].number = 0x40;
  table[1].values[0] = 0x5A;
  table[1].valueCount = 1;
  queueStatus(1, 0);
  EXPECT_EQ(KVEXA_OK, kUsbBufToReg(handle.driverHandle, table.data(), 2));
  EXPECT_EQ(out(3, {0x09, 0x12, 0x78, 0x40, 0x01, 0x00, 0x5a}) + sleep(2) + statusReading(), trace());
}

}  // namespace
}  // namespace kvexa::test
