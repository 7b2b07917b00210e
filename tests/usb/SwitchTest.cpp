// Supplies and signals of the module: switches, their status, DIP switches.
#include <cstring>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

struct Switch {
  const char* name;
  std::int32_t(KVEXA_CALL* on)(const BoardHandle*);
  std::int32_t(KVEXA_CALL* off)(const BoardHandle*);
  unsigned address;
  unsigned bit;
};

const Switch switches[] = {
    {"V1", kVexaPowerV1On, kVexaPowerV1Off, 0x000A, 0x01},
    {"V2", kVexaPowerV2On, kVexaPowerV2Off, 0x000A, 0x02},
    {"clock", kVexaClockOn, kVexaClockOff, 0x000A, 0x04},
    {"reset", kVexaResetOn, kVexaResetOff, 0x000A, 0x08},
    {"I2C", kVexaI2cOn, kVexaI2cOff, 0x000A, 0x10},
    {"power switch", kVexaPowerSwControlOn, kVexaPowerSwControlOff, 0x000A, 0x20},
    {"Bayer to RGB", kVexaBayerToRgbEnable, kVexaBayerToRgbDisable, 0x0502, 0x01},
};

class Switches : public BoardFixture {
 protected:
  // Sets the register behind the library's back, calls and returns what the register holds after.
  unsigned after(std::int32_t(KVEXA_CALL* turn)(const BoardHandle*), unsigned address, unsigned value) {
    board.setBoardRegister(static_cast<std::uint16_t>(address), static_cast<std::uint16_t>(value));
    EXPECT_EQ(KVEXA_OK, turn(&handle));
    return board.boardRegister(static_cast<std::uint16_t>(address));
  }
};

TEST_F(Switches, EachSetsItsBitAndKeepsTheOthers) {
  for (const auto& row : switches) {
    EXPECT_EQ(0xAB00U | row.bit, after(row.on, row.address, 0xAB00)) << row.name;
    EXPECT_EQ(0xABFFU, after(row.on, row.address, 0xABFF)) << row.name;
  }
}

TEST_F(Switches, EachClearsItsBitAndKeepsTheOthers) {
  for (const auto& row : switches) {
    EXPECT_EQ(0xABFFU & ~row.bit, after(row.off, row.address, 0xABFF)) << row.name;
    EXPECT_EQ(0xAB00U, after(row.off, row.address, 0xAB00)) << row.name;
  }
}

TEST_F(Switches, EachReadsThenWrites) {
  for (const auto& row : switches) {
    board.setBoardRegister(static_cast<std::uint16_t>(row.address), 0x0040);
    EXPECT_EQ(KVEXA_OK, row.on(&handle)) << row.name;
    EXPECT_EQ(boardRead(row.address) + boardWrite(row.address, 0x40 | row.bit), trace()) << row.name;
  }
}

TEST_F(Switches, FailedReadIsReturnedAndNothingIsWritten) {
  for (const auto& row : switches) {
    for (const auto turn : {row.on, row.off}) {
      refuse(7);
      EXPECT_EQ(KVEXA_REQUEST_FAILED, turn(&handle)) << row.name;
      EXPECT_EQ(std::string::npos, trace().find("[01 80 01 ")) << row.name << " wrote data";
    }
  }
}

TEST_F(Switches, FailedWriteIsReturned) {
  for (const auto& row : switches) {
    for (const unsigned k : {8U, 11U}) {
      refuse(k);
      EXPECT_EQ(KVEXA_REQUEST_FAILED, row.on(&handle)) << row.name << ", request " << k;
    }
  }
}

TEST_F(Switches, BusErrorInAReadIsReturned) {
  queueStatus(1, 0);
  queueStatus(1, 0x60, '3');
  EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaPowerV1On(&handle));
  queueStatus(1, 0);
  queueStatus(1, 0x60, '9');
  EXPECT_EQ(KVEXA_FAILED, kVexaPowerV1On(&handle));
}

// Register 0x0008 at 0xB35C: hardware 3, 6, 2 and software 4, 3, 1 for V1, V2, clock.
constexpr std::uint16_t dips = 0xB35C;

struct Getter {
  const char* name;
  std::int32_t(KVEXA_CALL* get)(const BoardHandle*, SwitchStatus*);
  std::uint16_t bit;
  std::uint32_t hardwareDip;
  std::uint32_t softwareDip;
};

const Getter getters[] = {
    {"V1", kVexaGetV1Status, 0x01, 3, 4},
    {"V2", kVexaGetV2Status, 0x02, 6, 3},
    {"clock", kVexaGetClockStatus, 0x04, 2, 1},
};

class SwitchStates : public BoardFixture {
 protected:
  void SetUp() override {
    BoardFixture::SetUp();
    board.setBoardRegister(0x0008, dips);
  }
};

TEST_F(SwitchStates, EachGetterFillsItsRecord) {
  for (const auto& row : getters) {
    for (const bool on : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.name << (on ? " on" : " off"));
      board.setBoardRegister(0x000A, static_cast<std::uint16_t>(on ? row.bit : ~row.bit));
      SwitchStatus status{untouched, untouched, untouched};
      EXPECT_EQ(KVEXA_OK, row.get(&handle, &status));
      EXPECT_EQ(on ? 1U : 0U, status.on);
      EXPECT_EQ(row.hardwareDip, status.hardwareDip);
      EXPECT_EQ(row.softwareDip, status.softwareDip);
      EXPECT_EQ(boardRead(0x000A) + boardRead(0x0008), trace());
    }
  }
}

TEST_F(SwitchStates, FailedFirstReadLeavesTheRecord) {
  for (const auto& row : getters) {
    refuse(7);
    SwitchStatus status{untouched, untouched, untouched};
    EXPECT_EQ(KVEXA_REQUEST_FAILED, row.get(&handle, &status)) << row.name;
    EXPECT_EQ(untouched, status.on) << row.name;
    EXPECT_EQ(untouched, status.hardwareDip) << row.name;
    EXPECT_EQ(untouched, status.softwareDip) << row.name;
    EXPECT_EQ(std::string::npos, trace().find(polledWrite(0, 0x0008))) << row.name;
  }
}

TEST_F(SwitchStates, FailedSecondReadIsReturnedAndTheRecordFilled) {
  for (const auto& row : getters) {
    board.setBoardRegister(0x000A, row.bit);
    refuse(14);
    SwitchStatus status{untouched, untouched, untouched};
    EXPECT_EQ(KVEXA_REQUEST_FAILED, row.get(&handle, &status)) << row.name;
    EXPECT_EQ(1U, status.on) << row.name;
    EXPECT_EQ(0U, status.hardwareDip) << row.name;
    EXPECT_EQ(0U, status.softwareDip) << row.name;
  }
}

TEST_F(SwitchStates, ResetStatusIsBitThree) {
  std::uint32_t on = untouched;
  board.setBoardRegister(0x000A, 0x0008);
  EXPECT_EQ(KVEXA_OK, kVexaGetResetStatus(&handle, &on));
  EXPECT_EQ(1U, on);
  EXPECT_EQ(boardRead(0x000A), trace());
  board.setBoardRegister(0x000A, 0xFFF7);
  EXPECT_EQ(KVEXA_OK, kVexaGetResetStatus(&handle, &on));
  EXPECT_EQ(0U, on);
}

TEST_F(SwitchStates, ResetStatusIsStoredEvenWhenTheReadFailed) {
  board.setBoardRegister(0x000A, 0x0008);
  refuse(7);
  std::uint32_t on = untouched;
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaGetResetStatus(&handle, &on));
  EXPECT_EQ(0U, on);
}

// Intended: the supply status tells the truth.
TEST_F(SwitchStates, I2cStatusIsZeroEvenWhileTheLinesAreOn) {
  board.setBoardRegister(0x000A, 0x0010);
  std::uint32_t on = untouched;
  EXPECT_EQ(KVEXA_OK, kVexaGetI2cStatus(&handle, &on));
  EXPECT_EQ(0U, on);
  EXPECT_EQ(boardRead(0x000A), trace());
  refuse(7);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaGetI2cStatus(&handle, &on));
}

TEST_F(SwitchStates, SupplyStatusHoldsEverything) {
  for (const unsigned bit : {0x01U, 0x02U, 0x04U, 0x08U, 0x10U, 0x20U}) {
    SCOPED_TRACE(testing::Message() << "bit " << bit);
    board.setBoardRegister(0x000A, static_cast<std::uint16_t>(0xFFC0U | bit));
    SupplyStatus status;
    std::memset(&status, 0xA5, sizeof status);
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(boardRead(0x000A) + boardRead(0x0008), trace());
    EXPECT_EQ(bit == 0x01, status.v1.on);
    EXPECT_EQ(bit == 0x02, status.v2.on);
    EXPECT_EQ(bit == 0x04, status.clock.on);
    EXPECT_EQ(bit == 0x08, status.resetOn);
    EXPECT_EQ(bit == 0x10, status.i2cOn);
    EXPECT_EQ(bit == 0x20, status.powerSwitchOn);
    EXPECT_EQ(3U, status.v1.hardwareDip);
    EXPECT_EQ(4U, status.v1.softwareDip);
    EXPECT_EQ(6U, status.v2.hardwareDip);
    EXPECT_EQ(3U, status.v2.softwareDip);
    EXPECT_EQ(2U, status.clock.hardwareDip);
    EXPECT_EQ(1U, status.clock.softwareDip);
  }
}

// Each bit of both registers alone: it stands in the fields that it belongs to and in no other.
TEST_F(SwitchStates, EveryBitBelongsToItsFields) {
  for (unsigned bit = 0; bit < 16; ++bit) {
    SCOPED_TRACE(bit);
    const auto part = [bit](unsigned first, unsigned last) {
      return bit >= first && bit <= last ? 1U << (bit - first) : 0U;
    };
    SupplyStatus status;
    std::memset(&status, 0xA5, sizeof status);
    std::uint32_t hardware = untouched;
    std::uint32_t software = untouched;
    board.setBoardRegister(0x000A, 0);
    board.setBoardRegister(0x0008, static_cast<std::uint16_t>(1U << bit));
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(KVEXA_OK, kVexaGetHwDipStatus(&handle, &hardware));
    EXPECT_EQ(KVEXA_OK, kVexaGetSwDipStatus(&handle, &software));
    EXPECT_EQ(part(0, 2), status.v1.softwareDip);
    EXPECT_EQ(part(3, 5), status.v2.softwareDip);
    EXPECT_EQ(part(6, 7), status.clock.softwareDip);
    EXPECT_EQ(part(8, 10), status.v1.hardwareDip);
    EXPECT_EQ(part(11, 13), status.v2.hardwareDip);
    EXPECT_EQ(part(14, 15), status.clock.hardwareDip);
    EXPECT_EQ(part(0, 7), software);
    EXPECT_EQ(part(8, 15), hardware);

    board.setBoardRegister(0x000A, static_cast<std::uint16_t>(1U << bit));
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(part(0, 0), status.v1.on);
    EXPECT_EQ(part(1, 1), status.v2.on);
    EXPECT_EQ(part(2, 2), status.clock.on);
    EXPECT_EQ(part(3, 3), status.resetOn);
    EXPECT_EQ(part(4, 4), status.i2cOn);
    EXPECT_EQ(part(5, 5), status.powerSwitchOn);
  }
}

TEST_F(SwitchStates, SupplyStatusStaysUntouchedWhenTheFirstReadFails) {
  SupplyStatus status;
  SupplyStatus before;
  std::memset(&status, 0xA5, sizeof status);
  before = status;
  refuse(7);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaGetSupplyStatus(&handle, &status));
  EXPECT_EQ(0, std::memcmp(&before, &status, sizeof status));
  refuse(14);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaGetSupplyStatus(&handle, &status));
  EXPECT_EQ(0U, status.v1.hardwareDip);
}

TEST_F(SwitchStates, DipGettersReadBothRegisters) {
  std::uint32_t value = untouched;
  EXPECT_EQ(KVEXA_OK, kVexaGetHwDipStatus(&handle, &value));
  EXPECT_EQ(0xB3U, value);
  EXPECT_EQ(boardRead(0x000A) + boardRead(0x0008), trace());
  EXPECT_EQ(KVEXA_OK, kVexaGetSwDipStatus(&handle, &value));
  EXPECT_EQ(0x5CU, value);
  EXPECT_EQ(boardRead(0x000A) + boardRead(0x0008), trace());
}

TEST_F(SwitchStates, DipGettersStopAtAFailedFirstRead) {
  for (const auto get : {kVexaGetHwDipStatus, kVexaGetSwDipStatus}) {
    std::uint32_t value = untouched;
    refuse(7);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, get(&handle, &value));
    EXPECT_EQ(untouched, value);
    EXPECT_EQ(std::string::npos, trace().find(polledWrite(0, 0x0008)));
    refuse(14);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, get(&handle, &value));
    machine.trace().take();
  }
}

// Intended: no range is tested and the hardware byte is overwritten.
TEST_F(SwitchStates, SoftwareDipIsWrittenAsItIs) {
  for (const std::uint32_t value : {0x1FFU, 0x00U, 0xFFFF2345U}) {
    EXPECT_EQ(KVEXA_OK, kVexaSetSwDip(&handle, &value));
    EXPECT_EQ(boardWrite(0x0008, value & 0xFFFFU), trace());
  }
}

TEST_F(SwitchStates, FailedDipWriteIsReturned) {
  const std::uint32_t value = 1;
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetSwDip(&handle, &value));
}

}  // namespace
}  // namespace kvexa::test
