// Counting boards.
#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class DevNum : public MachineTest {
 protected:
  std::int32_t count() { return kVexaDevNum(&usb, &pcie); }

  std::uint32_t usb = untouched;
  std::uint32_t pcie = untouched;
};

TEST_F(DevNum, WithoutBoardsIsZero) {
  EXPECT_EQ(0, count());
  EXPECT_EQ(0U, usb);
  EXPECT_EQ(0U, pcie);
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(DevNum, CountsBothTypes) {
  machine.addUsbBoard();
  machine.addUsbBoard();
  machine.addPcieBoards(3);
  EXPECT_EQ(5, count());
  EXPECT_EQ(2U, usb);
  EXPECT_EQ(3U, pcie);
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(DevNum, DoesNotCountAnUnpluggedBoard) {
  machine.addUsbBoard().unplug();
  machine.addUsbBoard();
  EXPECT_EQ(1, count());
  EXPECT_EQ(1U, usb);
}

TEST_F(DevNum, UsbServiceFailureCountsAsZeroBesideThePcieBoards) {
  machine.addUsbBoard();
  machine.addPcieBoards(2);
  machine.devices().failOpenStep(KVEXA_BOARD_USB, sim::OpenStep::deviceSet, ERROR_ACCESS_DENIED);
  EXPECT_EQ(2, count());
  EXPECT_EQ(0U, usb);
  EXPECT_EQ(2U, pcie);
}

TEST_F(DevNum, PcieServiceFailureCountsAsZeroBesideTheUsbBoards) {
  machine.addUsbBoard();
  machine.addPcieBoards(2);
  machine.devices().failOpenStep(KVEXA_BOARD_PCIE, sim::OpenStep::deviceSet, ERROR_ACCESS_DENIED);
  EXPECT_EQ(1, count());
  EXPECT_EQ(1U, usb);
  EXPECT_EQ(0U, pcie);
}

TEST_F(DevNum, FailsWhenBothServicesFailAndStoresZeros) {
  machine.addUsbBoard();
  machine.addPcieBoards(2);
  machine.devices().failOpenStep(KVEXA_BOARD_USB, sim::OpenStep::deviceSet, ERROR_ACCESS_DENIED);
  machine.devices().failOpenStep(KVEXA_BOARD_PCIE, sim::OpenStep::deviceSet, ERROR_ACCESS_DENIED);
  EXPECT_EQ(KVEXA_FAILED, count());
  EXPECT_EQ(0U, usb);
  EXPECT_EQ(0U, pcie);
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(DevNum, OneServiceFailureWithoutOtherBoardsIsNoFailure) {
  machine.devices().failOpenStep(KVEXA_BOARD_USB, sim::OpenStep::deviceSet, ERROR_ACCESS_DENIED);
  EXPECT_EQ(0, count());
}

TEST_F(DevNum, GivesTheSetBackBelowTheLimit) {
  machine.addPcieBoards(254);
  EXPECT_EQ(254, count());
  EXPECT_EQ(0U, machine.devices().openSets());
}

// The set that reached the limit is abandoned: intended.
TEST_F(DevNum, StopsAtTheLimitOf255AndAbandonsTheSet) {
  machine.addUsbBoard();
  machine.addPcieBoards(300);
  EXPECT_EQ(256, count());
  EXPECT_EQ(1U, usb);
  EXPECT_EQ(255U, pcie);
  EXPECT_EQ(1U, machine.devices().openSets());
}

}  // namespace
}  // namespace kvexa::test
