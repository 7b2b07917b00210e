// Supplies and signals of the module: switches, their status, DIP switches, lines, power sequences.
#include <cstring>
#include <memory>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t switchRegister = 0x214;
constexpr std::uint32_t dipRegister = 0x210;

struct Switch {
  const char* name;
  std::int32_t(KVEXA_CALL* on)(const BoardHandle*);
  std::int32_t(KVEXA_CALL* off)(const BoardHandle*);
  std::uint32_t bit;
};

const Switch switches[] = {
    {"V1", kVexaPowerV1On, kVexaPowerV1Off, 0x01},
    {"V2", kVexaPowerV2On, kVexaPowerV2Off, 0x02},
    {"clock", kVexaClockOn, kVexaClockOff, 0x04},
    {"reset", kVexaResetOn, kVexaResetOff, 0x08},
    {"I2C", kVexaI2cOn, kVexaI2cOff, 0x10},
    {"power switch", kVexaPowerSwControlOn, kVexaPowerSwControlOff, 0x20},
};

class PcieSwitches : public PcieFixture {};

TEST_F(PcieSwitches, EachReadsKeepsSixBitsAndWrites) {
  for (const auto& row : switches) {
    for (const std::uint32_t before : {0x00U, 0x3FU, 0xFFU, 0xFFFFFFFFU, 0xABCD0015U}) {
      SCOPED_TRACE(testing::Message() << row.name << " from " << before);
      board.setBoardRegister(switchRegister, before);
      EXPECT_EQ(KVEXA_OK, row.on(&handle));
      EXPECT_EQ(
          readRegister(switchRegister, before) + writeRegister(switchRegister, (before & 0x3F) | row.bit),
          trace());
      board.setBoardRegister(switchRegister, before);
      EXPECT_EQ(KVEXA_OK, row.off(&handle));
      EXPECT_EQ(
          readRegister(switchRegister, before) + writeRegister(switchRegister, before & 0x3F & ~row.bit),
          trace());
    }
  }
}

TEST_F(PcieSwitches, V1OnAt0xFFWrites0x3F) {
  board.setBoardRegister(switchRegister, 0xFF);
  EXPECT_EQ(KVEXA_OK, kVexaPowerV1On(&handle));
  EXPECT_EQ(0x3FU, board.boardRegister(switchRegister));
}

TEST_F(PcieSwitches, RefusedReadCountsAsZeroAndTheWriteGoesAhead) {
  for (const auto& row : switches) {
    board.setBoardRegister(switchRegister, 0x3F);
    refuse(1);
    EXPECT_EQ(KVEXA_OK, row.on(&handle)) << row.name;
    EXPECT_EQ(row.bit, board.boardRegister(switchRegister)) << row.name;
  }
}

TEST_F(PcieSwitches, WritesResultIsReturnedButForV1Off) {
  for (const auto& row : switches) {
    for (const bool on : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.name << (on ? " on" : " off"));
      const auto turn = on ? row.on : row.off;
      const bool ignores = row.bit == 0x01 && !on;
      refuse(2);
      EXPECT_EQ(ignores ? KVEXA_OK : KVEXA_REQUEST_FAILED, turn(&handle));
      answer(2, 0x3000);
      EXPECT_EQ(ignores ? KVEXA_OK : KVEXA_DRIVER_3000, turn(&handle));
      answer(2, 0x3001);
      EXPECT_EQ(ignores ? KVEXA_OK : KVEXA_DRIVER_3001, turn(&handle));
      answer(2, 0x1000);
      EXPECT_EQ(KVEXA_OK, turn(&handle));
    }
  }
}

// Register 0x210 at 0xB35C: hardware 3, 2, 2 and software 0, 3, 1 for V1, V2, clock.
constexpr std::uint32_t dips = 0xB35C;

struct Getter {
  const char* name;
  std::int32_t(KVEXA_CALL* get)(const BoardHandle*, SwitchStatus*);
  std::uint32_t bit;
  std::uint32_t hardwareDip;
  std::uint32_t softwareDip;
};

const Getter getters[] = {
    {"V1", kVexaGetV1Status, 0x01, 3, 0},
    {"V2", kVexaGetV2Status, 0x02, 2, 3},
    {"clock", kVexaGetClockStatus, 0x04, 2, 1},
};

class PcieSwitchStates : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    board.setBoardRegister(dipRegister, 0xFFFF0000U | dips);
  }
};

TEST_F(PcieSwitchStates, EachGetterFillsItsRecord) {
  for (const auto& row : getters) {
    for (const bool on : {true, false}) {
      SCOPED_TRACE(testing::Message() << row.name << (on ? " on" : " off"));
      const std::uint32_t bits = on ? row.bit : ~row.bit;
      board.setBoardRegister(switchRegister, bits);
      SwitchStatus status{untouched, untouched, untouched};
      EXPECT_EQ(KVEXA_OK, row.get(&handle, &status));
      EXPECT_EQ(on ? 1U : 0U, status.on);
      EXPECT_EQ(row.hardwareDip, status.hardwareDip);
      EXPECT_EQ(row.softwareDip, status.softwareDip);
      EXPECT_EQ(readRegister(switchRegister, bits) + readRegister(dipRegister, 0xFFFF0000U | dips), trace());
    }
  }
}

TEST_F(PcieSwitchStates, ResultIsThatOfTheDipReading) {
  board.setBoardRegister(switchRegister, 0x3F);
  for (const auto& row : getters) {
    SwitchStatus status{untouched, untouched, untouched};
    refuse(1);
    EXPECT_EQ(KVEXA_OK, row.get(&handle, &status)) << row.name;
    EXPECT_EQ(0U, status.on) << row.name;
    EXPECT_EQ(row.hardwareDip, status.hardwareDip) << row.name;
    refuse(2);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, row.get(&handle, &status)) << row.name;
    EXPECT_EQ(1U, status.on) << row.name;
    EXPECT_EQ(0U, status.hardwareDip) << row.name;
    EXPECT_EQ(0U, status.softwareDip) << row.name;
    answer(2, 0x3001);
    EXPECT_EQ(KVEXA_DRIVER_3001, row.get(&handle, &status)) << row.name;
  }
}

TEST_F(PcieSwitchStates, OneWordGetters) {
  const struct {
    const char* name;
    std::int32_t(KVEXA_CALL* get)(const BoardHandle*, std::uint32_t*);
    std::uint32_t address;
    std::uint32_t value;
    std::uint32_t expected;
    bool keepsOnFailure = false;
  } rows[] = {
      {"reset on", kVexaGetResetStatus, switchRegister, 0x08, 1},
      {"reset off", kVexaGetResetStatus, switchRegister, ~0x08U, 0},
      {"I2C on", kVexaGetI2cStatus, switchRegister, 0x10, 1},
      {"I2C off", kVexaGetI2cStatus, switchRegister, ~0x10U, 0},
      {"hardware DIP", kVexaGetHwDipStatus, dipRegister, 0xFFFFFFFF, 0x3F},
      {"hardware DIP", kVexaGetHwDipStatus, dipRegister, 0xA5C3, 0x25},
      {"software DIP", kVexaGetSwDipStatus, dipRegister, 0xA5C3, 0xC3, true},
      {"outputs", kVexaGetDout, 0xA08, 0x12345678, 0x5678},
      {"inputs", kVexaGetDin, 0xA04, 0x9ABCDEF0, 0xDEF0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    board.setBoardRegister(row.address, row.value);
    std::uint32_t value = untouched;
    EXPECT_EQ(KVEXA_OK, row.get(&handle, &value));
    EXPECT_EQ(row.expected, value);
    EXPECT_EQ(readRegister(row.address, row.value), trace());

    // A failed reading stores 0, but the software switch is left as it was.
    value = untouched;
    refuse(1);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, row.get(&handle, &value));
    EXPECT_EQ(row.keepsOnFailure ? untouched : 0U, value);
    answer(1, 0x3000);
    EXPECT_EQ(KVEXA_DRIVER_3000, row.get(&handle, &value));
    trace();
  }
}

TEST_F(PcieSwitchStates, SupplyStatusIsAllOfThem) {
  board.setBoardRegister(switchRegister, 0x35);  // V1, clock, I2C, power switch
  SupplyStatus status{};
  EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
  EXPECT_EQ(1U, status.v1.on);
  EXPECT_EQ(3U, status.v1.hardwareDip);
  EXPECT_EQ(0U, status.v2.on);
  EXPECT_EQ(3U, status.v2.softwareDip);
  EXPECT_EQ(1U, status.clock.on);
  EXPECT_EQ(1U, status.clock.softwareDip);
  EXPECT_EQ(0U, status.resetOn);
  EXPECT_EQ(1U, status.i2cOn);
  EXPECT_EQ(1U, status.powerSwitchOn);
  const std::string pair = readRegister(switchRegister, 0x35) + readRegister(dipRegister, 0xFFFF0000U | dips);
  const std::string one = readRegister(switchRegister, 0x35);
  EXPECT_EQ(pair + pair + pair + one + one + one, trace());
}

// Each bit of both registers alone: it stands in the fields that it belongs to and in no other.
TEST_F(PcieSwitchStates, EveryBitBelongsToItsFields) {
  for (unsigned bit = 0; bit < 32; ++bit) {
    SCOPED_TRACE(bit);
    const auto part = [bit](unsigned first, unsigned last) {
      return bit >= first && bit <= last ? 1U << (bit - first) : 0U;
    };
    SupplyStatus status;
    std::memset(&status, 0xA5, sizeof status);
    std::uint32_t hardware = untouched;
    std::uint32_t software = untouched;
    board.setBoardRegister(switchRegister, 0);
    board.setBoardRegister(dipRegister, 1U << bit);
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(KVEXA_OK, kVexaGetHwDipStatus(&handle, &hardware));
    EXPECT_EQ(KVEXA_OK, kVexaGetSwDipStatus(&handle, &software));
    EXPECT_EQ(part(0, 1), status.v1.softwareDip);
    EXPECT_EQ(part(3, 4), status.v2.softwareDip);
    EXPECT_EQ(part(6, 7), status.clock.softwareDip);
    EXPECT_EQ(part(8, 9), status.v1.hardwareDip);
    EXPECT_EQ(part(11, 12), status.v2.hardwareDip);
    EXPECT_EQ(part(14, 15), status.clock.hardwareDip);
    EXPECT_EQ(part(0, 7), software);
    EXPECT_EQ(part(8, 13), hardware);

    board.setBoardRegister(switchRegister, 1U << bit);
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(part(0, 0), status.v1.on);
    EXPECT_EQ(part(1, 1), status.v2.on);
    EXPECT_EQ(part(2, 2), status.clock.on);
    EXPECT_EQ(part(3, 3), status.resetOn);
    EXPECT_EQ(part(4, 4), status.i2cOn);
    EXPECT_EQ(part(5, 5), status.powerSwitchOn);
  }
}

TEST_F(PcieSwitchStates, SupplyStatusStopsAtTheFirstFailure) {
  const unsigned returned[] = {2, 4, 6, 7, 8, 9};
  for (const unsigned k : returned) {
    refuse(k);
    SupplyStatus status{};
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaGetSupplyStatus(&handle, &status)) << k;
    EXPECT_EQ(k, machine.trace().take().size()) << k;
  }
  for (const unsigned k : {1U, 3U, 5U}) {
    refuse(k);
    SupplyStatus status{};
    EXPECT_EQ(KVEXA_OK, kVexaGetSupplyStatus(&handle, &status)) << k;
  }
}

TEST_F(PcieSwitchStates, SoftwareDipKeepsTheHardwareByteAndNothingAbove) {
  for (const std::uint32_t value : {0U, 0x5AU, 0xFFU}) {
    board.setBoardRegister(dipRegister, 0xFFFFB35C);
    EXPECT_EQ(KVEXA_OK, kVexaSetSwDip(&handle, &value));
    EXPECT_EQ(readRegister(dipRegister, 0xFFFFB35C) + writeRegister(dipRegister, 0xB300 | value), trace());
  }
}

TEST_F(PcieSwitchStates, SoftwareDipAbove255IsRefusedAndNothingIsSent) {
  for (const std::uint32_t value : {256U, 0xFFFFFFFFU}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetSwDip(&handle, &value));
  }
  EXPECT_EQ("", trace());
}

TEST_F(PcieSwitchStates, SoftwareDipIsNotWrittenWhenTheReadFails) {
  const std::uint32_t value = 1;
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetSwDip(&handle, &value));
  answer(1, 0x3001);
  EXPECT_EQ(KVEXA_DRIVER_3001, kVexaSetSwDip(&handle, &value));
  EXPECT_EQ(std::string::npos, trace().find("writeRegister"));
  refuse(2);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetSwDip(&handle, &value));
}

TEST_F(PcieSwitchStates, OutputLinesAreWrittenWhole) {
  EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handle, 0x89ABCDEF));
  EXPECT_EQ(writeRegister(0xA08, 0x89ABCDEF), trace());
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetDout(&handle, 1));
}

TEST_F(PcieSwitchStates, NullRecordsAreRefusedAndNothingIsSent) {
  for (const auto& row : getters) EXPECT_EQ(KVEXA_BAD_ARGUMENT, row.get(&handle, nullptr));
  for (const auto get : {kVexaGetResetStatus, kVexaGetI2cStatus, kVexaGetHwDipStatus, kVexaGetSwDipStatus,
                         kVexaGetDout, kVexaGetDin}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, get(&handle, nullptr));
  }
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetSupplyStatus(&handle, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetSwDip(&handle, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaPowerControl(&handle, nullptr));
  EXPECT_EQ("", trace());
}

// ---- Power sequences ----

class PciePowerSequence : public PcieFixture {
 protected:
  PowerSequence sequence{};
};

TEST_F(PciePowerSequence, NoStepTouchesNothing) {
  EXPECT_EQ(KVEXA_OK, kVexaPowerControl(&handle, &sequence));
  EXPECT_EQ("", trace());
}

TEST_F(PciePowerSequence, EachStepSetsAllSwitchesAndKeepsThePowerSwitch) {
  sequence.steps[0] = {1, 0, 1, 0, 0, 10};
  sequence.steps[1] = {1, 1, 1, 1, 1, 0};
  sequence.steps[2] = {1, 1, 0, 1, 1, 25};
  sequence.steps[3] = {2, 0xFFFFFFFF, 2, 3, 4, 0};  // all but 1 is off
  sequence.stepCount = 4;
  board.setBoardRegister(switchRegister, 0xFF);
  EXPECT_EQ(KVEXA_OK, kVexaPowerControl(&handle, &sequence));
  EXPECT_EQ(readRegister(switchRegister, 0xFF) + writeRegister(switchRegister, 0x29) + "sleep 10\n" +
                readRegister(switchRegister, 0x29) + writeRegister(switchRegister, 0x3F) +
                readRegister(switchRegister, 0x3F) + writeRegister(switchRegister, 0x37) + "sleep 25\n" +
                readRegister(switchRegister, 0x37) + writeRegister(switchRegister, 0x20),
            trace());
}

TEST_F(PciePowerSequence, LastWritesResultCounts) {
  sequence.steps[0] = {1, 1, 0, 1, 1, 3};
  sequence.steps[1] = {0, 0, 1, 0, 0, 4};
  sequence.stepCount = 2;
  const std::int32_t results[] = {KVEXA_OK, KVEXA_OK, KVEXA_OK, KVEXA_REQUEST_FAILED};
  for (unsigned k = 1; k <= 4; ++k) {
    refuse(k);
    EXPECT_EQ(results[k - 1], kVexaPowerControl(&handle, &sequence)) << k;
    EXPECT_EQ(6U, machine.trace().take().size()) << k;
  }
}

TEST_F(PciePowerSequence, StepsBehindTheRecordAreTaken) {
  constexpr std::uint32_t count = 150;
  const auto words = std::make_unique<std::uint32_t[]>(6 * count);
  for (std::uint32_t i = 0; i < count; ++i) words[6 * i] = i % 2;
  words[600] = count;  // the step count, and the first word of step 100
  EXPECT_EQ(KVEXA_OK, kVexaPowerControl(&handle, reinterpret_cast<const PowerSequence*>(words.get())));
  EXPECT_EQ(2U * count, machine.trace().take().size());
  EXPECT_EQ(1U, board.boardRegister(switchRegister));
}

}  // namespace
}  // namespace kvexa::test
