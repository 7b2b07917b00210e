// Two USB boards that stream, and an observer of the library's calls.
#pragma once

#include "tests/support/BoardFixture.h"
#include "tests/usb/LibraryCalls.h"

namespace kvexa::test {

class TwoBoards : public BoardFixture {
 protected:
  void SetUp() override {
    BoardFixture::SetUp();
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 1, &otherHandle));
    machine.trace().take();
  }

  void TearDown() override {
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&otherHandle));
    BoardFixture::TearDown();
  }

  // Frames of 128 x 8 bytes, 100 a second.
  void streamOn(const BoardHandle& on) {
    for (const auto turn :
         {kVexaPowerSwControlOn, kVexaPowerV1On, kVexaPowerV2On, kVexaClockOn, kVexaI2cOn, kVexaResetOff}) {
      ASSERT_EQ(KVEXA_OK, turn(&on));
    }
    const std::uint32_t settings[] = {8, 0, 128, 0, 8, 0, 100};
    const std::uint32_t one = 1;
    ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&on, 0x36, sim::SensorRegister::bits, 1, 7, settings));
    ASSERT_EQ(KVEXA_OK, kVexaRegWrite(&on, 0x36, sim::SensorRegister::streaming, 1, 1, &one));
    CapParam param{};
    param.HCNT = 128;
    param.VCNT = 8;
    param.BITWIDTH = 8;
    param.PORTMSBBIT = 7;
    ASSERT_EQ(KVEXA_OK, kVexaSetCapParam(&on, &param));
    machine.trace().take();
  }

  // Gives the other threads turns; what must not happen has the time to happen.
  static void giveTurns() {
    for (int turn = 0; turn < 50; ++turn) SwitchToThread();
  }

  sim::usb::Board& other = machine.addUsbBoard();
  BoardHandle otherHandle{};
  LibraryCalls calls{libraryModule()};
};

}  // namespace kvexa::test
