// Power sequences, capture area, colour matrix, Bayer stage, general-purpose lines, dropped frames.
#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

constexpr unsigned switchRegister = 0x000A;

class PowerControl : public BoardFixture {
 protected:
  std::int32_t play() { return kVexaPowerControl(&handle, &sequence); }

  PowerSequence sequence{};
};

TEST_F(PowerControl, EachStepReadsWritesAndPauses) {
  sequence.stepCount = 3;
  sequence.steps[0] = {.v1 = 1, .v2 = 0, .reset = 1, .clock = 0, .i2c = 0, .delay = 10};
  sequence.steps[1] = {.v1 = 1, .v2 = 1, .reset = 0, .clock = 1, .i2c = 0, .delay = 0};
  sequence.steps[2] = {.v1 = 0, .v2 = 0, .reset = 0, .clock = 0, .i2c = 1, .delay = 2500};
  board.setBoardRegister(switchRegister, 0xFFDF);
  EXPECT_EQ(KVEXA_OK, play());
  EXPECT_EQ(boardRead(switchRegister) + boardWrite(switchRegister, 0x0009) + sleep(10) +
                boardRead(switchRegister) + boardWrite(switchRegister, 0x0007) + boardRead(switchRegister) +
                boardWrite(switchRegister, 0x0010) + sleep(2500),
            trace());
}

TEST_F(PowerControl, PowerSwitchControlIsKept) {
  sequence.stepCount = 1;
  sequence.steps[0].v2 = 1;
  board.setBoardRegister(switchRegister, 0xFFFF);
  EXPECT_EQ(KVEXA_OK, play());
  EXPECT_EQ(0x0022, board.boardRegister(switchRegister));
}

// Intended: the words are not compared with 1.
TEST_F(PowerControl, StepWordsAreUsedAsTheyStand) {
  sequence.stepCount = 1;
  sequence.steps[0].v1 = 4;
  sequence.steps[0].reset = 2;
  board.setBoardRegister(switchRegister, 0);
  EXPECT_EQ(KVEXA_OK, play());
  EXPECT_EQ(0x0014, board.boardRegister(switchRegister));
}

TEST_F(PowerControl, NoStepsAreNoRequests) {
  EXPECT_EQ(KVEXA_OK, play());
  EXPECT_EQ("", trace());
}

TEST_F(PowerControl, NeverPlaysMoreStepsThanTheRecordHas) {
  board.setBoardRegister(switchRegister, 0);
  for (const std::uint32_t count : {100U, 101U, 0xFFFFFFFFU}) {
    sequence.stepCount = count;
    EXPECT_EQ(KVEXA_OK, play());
    EXPECT_EQ(repeat(100, boardRead(switchRegister) + boardWrite(switchRegister, 0)), trace()) << count;
  }
}

TEST_F(PowerControl, FailuresAreIgnoredAndTheSequenceGoesOn) {
  sequence.stepCount = 2;
  sequence.steps[0] = {.v1 = 1, .v2 = 0, .reset = 0, .clock = 0, .i2c = 0, .delay = 10};
  sequence.steps[1] = {.v1 = 1, .v2 = 1, .reset = 0, .clock = 0, .i2c = 0, .delay = 20};
  for (const unsigned k : {1U, 7U, 8U, 11U}) {
    refuse(k);
    EXPECT_EQ(KVEXA_OK, play()) << "request " << k;
    const auto text = trace();
    EXPECT_NE(std::string::npos, text.find(sleep(10))) << "request " << k;
    EXPECT_EQ(0x0003, board.boardRegister(switchRegister) & 0x1F) << "request " << k;
  }
}

using Control = BoardFixture;

TEST_F(Control, CaptureAreaIsFourRegistersInOrder) {
  EXPECT_EQ(0.0, kVexaSetHV(&handle, 0x12340008, 1288, 4, 964));
  EXPECT_EQ(
      boardWrite(0x0302, 8) + boardWrite(0x0304, 1288) + boardWrite(0x0306, 4) + boardWrite(0x0308, 964),
      trace());
}

TEST_F(Control, CaptureAreaIgnoresFailures) {
  refuse(1);
  EXPECT_EQ(0.0, kVexaSetHV(&handle, 8, 1288, 4, 964));
  EXPECT_EQ(1288, board.boardRegister(0x0304));
  EXPECT_EQ(964, board.boardRegister(0x0308));
}

TEST_F(Control, CaptureAreaRefusesABadHandleWithADouble) {
  EXPECT_EQ(-54.0, kVexaSetHV(nullptr, 1, 2, 3, 4));
}

TEST_F(Control, BayerPatternIsSentLessOne) {
  std::uint32_t pattern = 1;
  EXPECT_EQ(KVEXA_OK, kVexaBayerToRgbPatternSelect(&handle, &pattern));
  EXPECT_EQ(boardWrite(0x0504, 0), trace());
  pattern = 4;
  EXPECT_EQ(KVEXA_OK, kVexaBayerToRgbPatternSelect(&handle, &pattern));
  EXPECT_EQ(boardWrite(0x0504, 3), trace());
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaBayerToRgbPatternSelect(&handle, &pattern));
}

TEST_F(Control, OutputLinesTakeTheLowSixteenBits) {
  EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handle, 0x12345678));
  EXPECT_EQ(boardWrite(0x0904, 0x5678), trace());
  refuse(4);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetDout(&handle, 1));
}

TEST_F(Control, LinesAreReadAsSixteenBits) {
  std::uint32_t value = untouched;
  board.setBoardRegister(0x0904, 0xBEEF);
  EXPECT_EQ(KVEXA_OK, kVexaGetDout(&handle, &value));
  EXPECT_EQ(0xBEEFU, value);
  EXPECT_EQ(boardRead(0x0904), trace());
  board.setBoardRegister(0x0902, 0xF00D);
  EXPECT_EQ(KVEXA_OK, kVexaGetDin(&handle, &value));
  EXPECT_EQ(0xF00DU, value);
  EXPECT_EQ(boardRead(0x0902), trace());
}

TEST_F(Control, LinesStayUntouchedWhenTheReadFails) {
  for (const auto get : {kVexaGetDout, kVexaGetDin}) {
    for (const unsigned k : {1U, 4U, 7U}) {
      std::uint32_t value = untouched;
      refuse(k);
      EXPECT_EQ(KVEXA_REQUEST_FAILED, get(&handle, &value)) << "request " << k;
      EXPECT_EQ(untouched, value);
    }
  }
}

TEST_F(Control, DroppedFramesAreOneOrZero) {
  board.setBoardRegister(0x0404, 0);
  EXPECT_EQ(0, kVexaIsDropFrame(&handle));
  EXPECT_EQ(boardRead(0x0404), trace());
  board.setBoardRegister(0x0404, 0x8000);
  EXPECT_EQ(1, kVexaIsDropFrame(&handle));
  refuse(7);
  EXPECT_EQ(0, kVexaIsDropFrame(&handle));
}

class ColourMatrix : public BoardFixture {
 protected:
  // The registers' values, two apart from 0x0202.
  void expectRegisters(const std::vector<unsigned>& values) {
    std::string expected;
    for (unsigned i = 0; i < 13; ++i) expected += boardWrite(0x0202 + 2 * i, values[i]);
    EXPECT_EQ(expected, trace());
  }
};

TEST_F(ColourMatrix, CoefficientsKeepFiveFractionBitsAndTheOffsetTwo) {
  const double values[13] = {1.0,  0.5,   -1.0, 0.03125, 0.0624, -0.0624, 2.0,
                             3.99, -3.99, 0.0,  31.0,    -31.0,  16.9};
  EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
  expectRegisters({32, 16, 0xFFE0, 1, 1, 0xFFFF, 64, 127, 0xFF81, 0, 992, 0xFC20, 67});
}

TEST_F(ColourMatrix, TruncatesTowardZero) {
  const double values[13] = {0.03124, -0.03124, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -0.74};
  EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
  expectRegisters({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFFFE});
}

TEST_F(ColourMatrix, EveryRegisterIsWrittenWhateverFails) {
  const double values[13] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  refuse(1);
  EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
  EXPECT_EQ(0, board.boardRegister(0x0202));
  EXPECT_EQ(32, board.boardRegister(0x0218));
  EXPECT_EQ(4, board.boardRegister(0x021A));
}

// A register takes the low 16 bits. What no 32-bit integer holds becomes the smallest one, whose low bits are
// clear. Coefficients have 32 steps, the offset has 4.
TEST_F(ColourMatrix, NumbersAtTheLimitsOfAnInteger) {
  constexpr double limit = 2147483648.0;
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double product;
    unsigned expected;
  } rows[] = {{65535.0, 0xFFFF},
              {65535.9, 0xFFFF},
              {65536.0, 0},
              {65537.0, 1},
              {-1.0, 0xFFFF},
              {-0.999, 0},
              {-32768.9, 0x8000},
              {limit - 1.0, 0xFFFF},
              {std::nextafter(limit, 0.0), 0xFFFF},
              {limit, 0},
              {limit + 1.0, 0},
              {limit + 65535.0, 0},
              {2 * limit + 5.0, 0},
              {-limit + 1.0, 1},
              {std::nextafter(-limit, 0.0), 1},
              {-limit, 0},
              {std::nextafter(-limit, -infinity), 0},
              {std::nextafter(-limit - 1.0, 0.0), 0},
              {-limit - 1.0, 0},
              {-2 * limit - 5.0, 0},
              {1e300, 0},
              {-1e300, 0},
              {std::numeric_limits<double>::max(), 0},
              {std::numeric_limits<double>::denorm_min(), 0},
              {infinity, 0},
              {-infinity, 0},
              {std::numeric_limits<double>::quiet_NaN(), 0},
              {-std::numeric_limits<double>::quiet_NaN(), 0}};
  for (const auto& row : rows) {
    double values[13];
    for (double& value : values) value = row.product / 32.0;
    values[12] = row.product / 4.0;
    EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
    expectRegisters(std::vector<unsigned>(13, row.expected));
    if (HasFailure()) FAIL() << row.product;
  }
}

}  // namespace
}  // namespace kvexa::test
