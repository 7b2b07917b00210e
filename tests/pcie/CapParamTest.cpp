// Programming the board's capture front end.
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

CapParam goodParam() {
  CapParam p{};
  p.HCNT = 640;
  p.VCNT = 480;
  p.BITWIDTH = 8;
  p.PORTMSBBIT = 7;
  return p;
}

struct Write {
  std::uint32_t address;
  std::uint32_t value;
};

// What goodParam() is written as.
const std::vector<Write> goodWrites = {{0x504, 0}, {0x508, 640}, {0x50C, 0}, {0x510, 480}, {0x514, 0},
                                       {0x30C, 0}, {0x308, 0},   {0x314, 0}, {0x318, 0},   {0x804, 8},
                                       {0x904, 8}, {0x704, 0},   {0x708, 0}, {0x208, 0},   {0x60C, 1}};

std::string lines(const std::vector<Write>& writes) {
  std::string text;
  for (const auto& each : writes) text += writeRegister(each.address, each.value);
  return text;
}

class PcieCapParam : public PcieFixture {
 protected:
  // What a register was written to; all of the parameters must be good.
  std::uint32_t written(std::uint32_t address, const CapParam& p) {
    board.setBoardRegister(address, untouched);
    EXPECT_EQ(KVEXA_OK, kVexaSetCapParam(&handle, &p));
    return board.boardRegister(address);
  }

  // The parameters are refused after so many registers.
  void expectRefused(const char* what, const CapParam& p, std::size_t registers) {
    trace();
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetCapParam(&handle, &p)) << what;
    const auto sent = machine.trace().take();
    ASSERT_EQ(registers, sent.size()) << what;
    for (std::size_t i = 0; i < registers; ++i) {
      EXPECT_NE(std::string::npos, sent[i].find(word(goodWrites[i].address))) << what << ", " << i;
    }
  }
};

TEST_F(PcieCapParam, FifteenRegistersInOrder) {
  const CapParam p = goodParam();
  EXPECT_EQ(KVEXA_OK, kVexaSetCapParam(&handle, &p));
  EXPECT_EQ(lines(goodWrites), trace());
}

TEST_F(PcieCapParam, EveryFieldAtOnce) {
  CapParam p = goodParam();
  p.HOFF = 0xFFFF;
  p.HCNT = 3;
  p.VOFF = 0x2005;
  p.VCNT = 0x1FFF;
  p.HREDUCT = 0x25;
  p.VREDUCT = 0x3A;
  p.FRMSKP = 0x47;
  p.VPOR = 2;
  p.HPOR = 3;
  p.SPACK = 2;
  p.SYNCMODE = 1;
  p.HWEXCHG = 1;
  p.SOLCODE = 0xFF;
  p.EOLCODE = 0xAB00;
  p.SOFCODE = 0x12;
  p.EOFCODE = 0xFF00;
  p.PORTMSBBIT = 15;
  p.BITWIDTH = 16;
  p.B2R = 0xBEEF;
  p.CAMPORT = 9;
  p.SMIAIN = 4;
  p.SMIACLASS = 3;
  p.FRMDROP = p.CAMERAFORMAT = p.INPUTFORMAT = p.EXCHGFORMAT = 0xFFFF;
  EXPECT_EQ(KVEXA_OK, kVexaSetCapParam(&handle, &p));
  EXPECT_EQ(lines({{0x504, 0x1FFF},
                   {0x508, 2},
                   {0x50C, 5},
                   {0x510, 4},
                   {0x514, 0xA5},
                   {0x30C, 7},
                   {0x308, 0x1F8},
                   {0x314, 0xAB00FF},
                   {0x318, 0xFF0012},
                   {0x804, 8},
                   {0x904, 0},
                   {0x704, 0},
                   {0x708, 0xBEEF},
                   {0x208, 0x705},
                   {0x60C, 0}}),
            trace());
}

TEST_F(PcieCapParam, FlagsOneByOne) {
  const struct {
    std::uint16_t CapParam::*field;
    std::uint16_t value;
    std::uint32_t flags;
  } rows[] = {{&CapParam::VPOR, 1, 0x20},     {&CapParam::HPOR, 1, 0x10},    {&CapParam::SPACK, 1, 0x100},
              {&CapParam::SPACK, 2, 0x180},   {&CapParam::SPACK, 3, 0x100},  {&CapParam::SYNCMODE, 1, 0x40},
              {&CapParam::SYNCMODE, 5, 0x40}, {&CapParam::HWEXCHG, 1, 0x08}, {&CapParam::HWEXCHG, 2, 0}};
  for (const auto& row : rows) {
    CapParam p = goodParam();
    p.*row.field = row.value;
    EXPECT_EQ(row.flags, written(0x308, p)) << row.value;
  }
}

TEST_F(PcieCapParam, PortShiftCountsFromBit7AndMayWrap) {
  const struct {
    std::uint16_t exchange;
    std::uint16_t syncMode;
    std::uint16_t port;
    std::uint16_t width;
    std::uint32_t expected;
  } rows[] = {{0, 0, 11, 8, 8}, {1, 0, 11, 8, 4},         {2, 0, 7, 8, 0},         {0, 1, 15, 8, 8},
              {0, 2, 11, 8, 8}, {1, 0, 3, 4, 0xFFFFFFFC}, {2, 0, 0, 0, 0xFFFFFFF9}};
  for (const auto& row : rows) {
    CapParam p = goodParam();
    p.HWEXCHG = row.exchange;
    p.SYNCMODE = row.syncMode;
    p.PORTMSBBIT = row.port;
    p.BITWIDTH = row.width;
    EXPECT_EQ(row.expected, written(0x804, p)) << row.exchange << ", " << row.port;
  }
}

TEST_F(PcieCapParam, WidthShiftByExchangeMode) {
  CapParam p = goodParam();
  p.PORTMSBBIT = 11;
  for (const std::uint16_t width : std::initializer_list<std::uint16_t>{1, 8, 10, 12}) {
    p.BITWIDTH = width;
    EXPECT_EQ(width - 11U + 7U, written(0x904, p)) << width;
  }
  p.HWEXCHG = 1;
  EXPECT_EQ(0U, written(0x904, p));
  EXPECT_EQ(0U, written(0x704, p));
  p.HWEXCHG = 2;
  EXPECT_EQ(8U, written(0x904, p));
  EXPECT_EQ(1U, written(0x704, p));
}

TEST_F(PcieCapParam, SerialInputByPort) {
  CapParam p = goodParam();
  p.SMIACLASS = 1;
  p.SMIAIN = 3;
  EXPECT_EQ(0U, written(0x208, p));
  p.CAMPORT = 1;
  EXPECT_EQ(0x704U, written(0x208, p));
  p.CAMPORT = 0xFFFF;
  p.SMIACLASS = 2;
  p.SMIAIN = 0;
  EXPECT_EQ(0x501U, written(0x208, p));
}

TEST_F(PcieCapParam, NarrowDataNeedsAllThree) {
  CapParam p = goodParam();
  EXPECT_EQ(1U, written(0x60C, p));
  p.SPACK = 1;
  EXPECT_EQ(0U, written(0x60C, p));
  p.SPACK = 0;
  p.HWEXCHG = 2;
  EXPECT_EQ(0U, written(0x60C, p));
  p.HWEXCHG = 0;
  p.PORTMSBBIT = 8;
  p.BITWIDTH = 9;
  EXPECT_EQ(0U, written(0x60C, p));
}

TEST_F(PcieCapParam, RefusalsStopBeforeTheRegisterThatTheyGuard) {
  const auto refused = [this](const char* what, std::uint16_t CapParam::*field, std::uint16_t value,
                              std::size_t registers) {
    CapParam p = goodParam();
    p.*field = value;
    expectRefused(what, p, registers);
  };
  refused("no columns", &CapParam::HCNT, 0, 0);
  refused("no lines", &CapParam::VCNT, 0, 2);
  refused("start of line", &CapParam::SOLCODE, 256, 7);
  refused("end of line", &CapParam::EOLCODE, 0x0001, 7);
  refused("end of line, low byte and high", &CapParam::EOLCODE, 0xFF80, 7);
  refused("start of frame", &CapParam::SOFCODE, 256, 8);
  refused("end of frame", &CapParam::EOFCODE, 0x00FF, 8);
  refused("port bit", &CapParam::PORTMSBBIT, 16, 9);
  refused("bit width", &CapParam::BITWIDTH, 9, 9);
  refused("exchange mode", &CapParam::HWEXCHG, 3, 10);
  refused("serial input", &CapParam::SMIAIN, 5, 13);
}

TEST_F(PcieCapParam, EachFailedWriteEndsTheSequence) {
  const CapParam p = goodParam();
  for (unsigned k = 1; k <= 15; ++k) {
    trace();
    refuse(k);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetCapParam(&handle, &p)) << k;
    EXPECT_EQ(k, machine.trace().take().size());
    answer(k, 0x3001);
    EXPECT_EQ(KVEXA_DRIVER_3001, kVexaSetCapParam(&handle, &p)) << k;
    EXPECT_EQ(k, machine.trace().take().size());
    answer(k, 0x2009);
    EXPECT_EQ(KVEXA_OK, kVexaSetCapParam(&handle, &p)) << k;
  }
}

TEST_F(PcieCapParam, NullRecordIsRefused) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetCapParam(&handle, nullptr));
  EXPECT_EQ("", trace());
}

// ---- The colour-space matrix ----

class PcieColourMatrix : public PcieFixture {
 protected:
  // What the first coefficient is written as.
  std::uint32_t coefficient(double value) {
    double values[13] = {value};
    EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
    return board.boardRegister(0x404);
  }

  std::uint32_t offset(double value) {
    double values[13] = {};
    values[12] = value;
    EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
    return board.boardRegister(0x434);
  }
};

TEST_F(PcieColourMatrix, ThirteenRegistersInOrder) {
  double values[13];
  std::string expected;
  for (std::uint32_t i = 0; i < 13; ++i) {
    values[i] = i + 1;
    expected += writeRegister(0x404 + 4 * i, (i + 1) * (i < 12 ? 32 : 4));
  }
  EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values));
  EXPECT_EQ(expected, trace());
}

TEST_F(PcieColourMatrix, CoefficientsHaveFiveFractionBitsTruncatedTowardZero) {
  EXPECT_EQ(32U, coefficient(1.0));
  EXPECT_EQ(0xFFFFFFF0U, coefficient(-0.5));
  EXPECT_EQ(31U, coefficient(0.99));
  EXPECT_EQ(0xFFFFFFE1U, coefficient(-0.99));
  EXPECT_EQ(0U, coefficient(0.03));
  EXPECT_EQ(4U, offset(1.24));
  EXPECT_EQ(0xFFFFFFFBU, offset(-1.49));
}

TEST_F(PcieColourMatrix, LowSixteenBitsAreSignExtended) {
  EXPECT_EQ(0x7FFFU, coefficient(32767.0 / 32));
  EXPECT_EQ(0xFFFF8000U, coefficient(1024.0));
  EXPECT_EQ(0U, coefficient(2048.0));
  EXPECT_EQ(0x7FFFU, coefficient(-32769.0 / 32));
  EXPECT_EQ(0U, coefficient(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(0U, coefficient(std::numeric_limits<double>::quiet_NaN()));
}

// What no 32-bit integer holds becomes the smallest one; of an integer the low 16 bits count, with their
// sign.
TEST_F(PcieColourMatrix, NumbersAtTheLimits) {
  constexpr double limit = 2147483648.0;
  const double infinity = std::numeric_limits<double>::infinity();
  const struct {
    double product;
    std::uint32_t expected;
  } rows[] = {{32767.0, 0x7FFF},
              {std::nextafter(32768.0, 0.0), 0x7FFF},
              {32768.0, 0xFFFF8000},
              {65535.0, 0xFFFFFFFF},
              {65536.0, 0},
              {-32768.0, 0xFFFF8000},
              {std::nextafter(-32769.0, 0.0), 0xFFFF8000},
              {-32769.0, 0x7FFF},
              {limit - 1.0, 0xFFFFFFFF},
              {std::nextafter(limit, 0.0), 0xFFFFFFFF},
              {limit, 0},
              {limit + 65535.0, 0},
              {2 * limit + 5.0, 0},
              {-limit + 1.0, 1},
              {std::nextafter(-limit, 0.0), 1},
              {-limit, 0},
              {std::nextafter(-limit - 1.0, 0.0), 0},
              {-limit - 1.0, 0},
              {-2 * limit - 5.0, 0},
              {1e300, 0},
              {-1e300, 0},
              {infinity, 0},
              {-infinity, 0},
              {std::numeric_limits<double>::quiet_NaN(), 0},
              {-std::numeric_limits<double>::quiet_NaN(), 0}};
  for (const auto& row : rows) {
    EXPECT_EQ(row.expected, coefficient(row.product / 32.0)) << row.product;
    EXPECT_EQ(row.expected, offset(row.product / 4.0)) << row.product;
  }
}

TEST_F(PcieColourMatrix, FailedWritesAreIgnored) {
  double values[13] = {};
  for (unsigned k = 1; k <= 13; ++k) {
    refuse(k);
    EXPECT_EQ(KVEXA_OK, kVexaCscSet(&handle, values)) << k;
    EXPECT_EQ(13U, machine.trace().take().size()) << k;
  }
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaCscSet(&handle, nullptr));
}

}  // namespace
}  // namespace kvexa::test
