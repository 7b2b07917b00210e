// Capture parameters as registers of the board.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class CapParamRegisters : public BoardFixture {
 protected:
  std::int32_t apply() { return kVexaSetCapParam(&handle, &param); }

  // The register's value after the parameters were applied.
  unsigned applied(std::uint16_t address) {
    EXPECT_EQ(KVEXA_OK, apply());
    return board.boardRegister(address);
  }

  CapParam param{};
};

TEST_F(CapParamRegisters, FifteenWritesInOrder) {
  param.SOLCODE = 0x34;
  param.EOLCODE = 0x12;
  param.SOFCODE = 0x78;
  param.EOFCODE = 0x56;
  param.HPOR = 1;
  param.VPOR = 1;
  param.HOFF = 8;
  param.HCNT = 1280;
  param.VOFF = 4;
  param.VCNT = 960;
  param.HREDUCT = 3;
  param.VREDUCT = 2;
  param.FRMSKP = 5;
  param.SPACK = 1;
  param.PORTMSBBIT = 9;
  param.BITWIDTH = 10;
  param.B2R = 2;
  param.SMIACLASS = 3;
  param.FRMDROP = param.CAMERAFORMAT = param.INPUTFORMAT = param.EXCHGFORMAT = 0x5555;
  EXPECT_EQ(KVEXA_OK, apply());
  EXPECT_EQ(boardWrite(0x0702, 8) + boardWrite(0x0802, 8) + boardWrite(0x0004, 0x0600) +
                boardWrite(0x0104, 0x0130) + boardWrite(0x0106, 5) + boardWrite(0x010A, 0x1234) +
                boardWrite(0x010C, 0x5678) + boardWrite(0x0302, 8) + boardWrite(0x0304, 1288) +
                boardWrite(0x0306, 4) + boardWrite(0x0308, 964) + boardWrite(0x030A, 0x0023) +
                boardWrite(0x0502, 0) + boardWrite(0x0504, 2) + boardWrite(0x0406, 0),
            trace());
}

TEST_F(CapParamRegisters, PortShift) {
  param.PORTMSBBIT = 11;
  EXPECT_EQ(8U, applied(0x0702));
  param.SYNCMODE = 1;
  EXPECT_EQ(4U, applied(0x0702));
  param.SYNCMODE = 2;
  EXPECT_EQ(8U, applied(0x0702));
  param.SYNCMODE = 0;
  for (const std::uint16_t exchange : {std::uint16_t{1}, std::uint16_t{2}, std::uint16_t{7}}) {
    param.HWEXCHG = exchange;
    EXPECT_EQ(4U, applied(0x0702)) << "HWEXCHG " << exchange;
  }
  param.PORTMSBBIT = 3;
  EXPECT_EQ(0xFFFCU, applied(0x0702));
}

TEST_F(CapParamRegisters, WidthShift) {
  param.PORTMSBBIT = 11;
  param.BITWIDTH = 10;
  EXPECT_EQ(6U, applied(0x0802)) << "no codes";
  param.PORTMSBBIT = 9;
  param.BITWIDTH = 12;
  EXPECT_EQ(10U, applied(0x0802)) << "no codes, more bits than the port";
  param.SYNCMODE = 1;
  EXPECT_EQ(8U, applied(0x0802)) << "codes, more bits than the port";
  param.PORTMSBBIT = 12;
  EXPECT_EQ(7U, applied(0x0802)) << "codes, as many bits as the port";
  param.PORTMSBBIT = 15;
  EXPECT_EQ(4U, applied(0x0802)) << "codes, fewer bits than the port";
  param.HWEXCHG = 1;
  EXPECT_EQ(0U, applied(0x0802));
  param.HWEXCHG = 2;
  EXPECT_EQ(8U, applied(0x0802));
  param.HWEXCHG = 3;
  EXPECT_EQ(4U, applied(0x0802)) << "another exchange counts as none";
}

// Intended: only port 1 sends the input number and bits 8 and 10.
TEST_F(CapParamRegisters, SerialInput) {
  param.SMIACLASS = 1;
  param.SMIAIN = 2;
  param.CAMPORT = 1;
  EXPECT_EQ(0x0703U, applied(0x0004));
  for (const std::uint16_t port : {std::uint16_t{0}, std::uint16_t{2}}) {
    param.CAMPORT = port;
    EXPECT_EQ(0x0200U, applied(0x0004)) << "port " << port;
  }
}

TEST_F(CapParamRegisters, SynchronisationAndPackingFlags) {
  EXPECT_EQ(0x0000U, applied(0x0104));
  param.HPOR = 1;
  EXPECT_EQ(0x0010U, applied(0x0104));
  param.HPOR = 0;
  param.VPOR = 1;
  EXPECT_EQ(0x0020U, applied(0x0104));
  param.VPOR = 0;
  param.SYNCMODE = 1;
  EXPECT_EQ(0x0040U, applied(0x0104));
  param.SYNCMODE = 0;
  param.HWEXCHG = 1;
  EXPECT_EQ(0x0008U, applied(0x0104));
  param.HWEXCHG = 2;
  EXPECT_EQ(0x0000U, applied(0x0104));
}

TEST_F(CapParamRegisters, PackingOneSetsBitEightAndPackingTwoBitsSevenAndEight) {
  param.SPACK = 1;
  EXPECT_EQ(0x0100U, applied(0x0104));
  param.SPACK = 2;
  EXPECT_EQ(0x0180U, applied(0x0104));
  param.SPACK = 3;
  EXPECT_EQ(0x0000U, applied(0x0104));
}

TEST_F(CapParamRegisters, CaptureAreaWraps) {
  param.HOFF = 0xFFFF;
  param.HCNT = 2;
  EXPECT_EQ(1U, applied(0x0304));
}

TEST_F(CapParamRegisters, BayerStageIsOnForExchangeTwo) {
  EXPECT_EQ(0U, applied(0x0502));
  param.HWEXCHG = 1;
  EXPECT_EQ(0U, applied(0x0502));
  param.HWEXCHG = 2;
  EXPECT_EQ(1U, applied(0x0502));
  param.B2R = 3;
  EXPECT_EQ(3U, applied(0x0504));
}

TEST_F(CapParamRegisters, NarrowUnpackedData) {
  param.BITWIDTH = 8;
  EXPECT_EQ(1U, applied(0x0406));
  param.BITWIDTH = 9;
  EXPECT_EQ(0U, applied(0x0406));
  param.BITWIDTH = 8;
  param.SPACK = 1;
  EXPECT_EQ(0U, applied(0x0406));
  param.SPACK = 0;
  param.HWEXCHG = 1;
  EXPECT_EQ(0U, applied(0x0406));
}

TEST_F(CapParamRegisters, EveryWriteIsMadeAndTheResultsAreMerged) {
  param.HOFF = 77;
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, apply());
  EXPECT_EQ(77, board.boardRegister(0x0302));

  // The address of the first write times out, that of the second is refused.
  queueStatus(1000, 0x01);
  board.faults().at(2003 + 1, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
  EXPECT_EQ(KVEXA_TIMED_OUT | KVEXA_REQUEST_FAILED, apply());
}

}  // namespace
}  // namespace kvexa::test
