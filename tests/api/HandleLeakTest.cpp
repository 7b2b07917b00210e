// Nothing that the system counts may grow with use.
#include "tests/support/BoardFixture.h"
#include "tests/support/BoardFunctions.h"
#include "tests/support/HandleCount.h"

namespace kvexa::test {
namespace {

class HandleLeak : public MachineTest {
 protected:
  // Handles held after the round ran `rounds` times, less those held before. The first round may fill
  // caches of the system.
  template <typename Round>
  int growth(int rounds, Round round) {
    round();
    const auto before = static_cast<int>(processHandleCount());
    for (int i = 0; i < rounds; ++i) round();
    return static_cast<int>(processHandleCount()) - before;
  }
};

TEST_F(HandleLeak, TheCountSeesAHandle) {
  const unsigned before = processHandleCount();
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(before + 1, processHandleCount());
  CloseHandle(event);
  EXPECT_EQ(before, processHandleCount());
}

TEST_F(HandleLeak, OpenUseCloseAThousandTimes) {
  machine.addUsbBoard();
  EXPECT_EQ(0, growth(1000, [] {
              BoardHandle board{};
              ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &board));
              std::uint32_t word = 0;
              EXPECT_EQ(KVEXA_OK, kVexaPowerV1On(&board));
              EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&board, 0x000A, 2, &word));
              EXPECT_EQ(1U, word & 1U);
              EXPECT_EQ(KVEXA_OK, kVexaPowerV1Off(&board));
              ASSERT_EQ(KVEXA_OK, kVexaDevClose(&board));
            }));
  EXPECT_EQ(0U, machine.devices().openFiles());
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(HandleLeak, CountingAThousandTimes) {
  machine.addUsbBoard();
  machine.addPcieBoards(2);
  EXPECT_EQ(0, growth(1000, [] {
              std::uint32_t usb = 0;
              std::uint32_t pcie = 0;
              EXPECT_EQ(3, kVexaDevNum(&usb, &pcie));
            }));
}

TEST_F(HandleLeak, FailedOpensAThousandTimes) {
  machine.addUsbBoard();
  int step = 0;
  EXPECT_EQ(0, growth(1000, [this, &step] {
              const auto failing = static_cast<sim::OpenStep>(step++ % 5);
              machine.devices().failOpenStep(KVEXA_BOARD_USB, failing, ERROR_ACCESS_DENIED);
              BoardHandle board{};
              EXPECT_EQ(KVEXA_OPEN_FAILED, kVexaDevOpen(KVEXA_BOARD_USB, 0, &board));
              machine.devices().failOpenStep(KVEXA_BOARD_USB, failing, 0);
            }));
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(HandleLeak, EveryBoardFunctionOnAHealthyAndOnAnUnpluggedBoard) {
  auto& board = machine.addUsbBoard();
  BoardHandle handle{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
  for (const auto& function : boardFunctions()) {
    EXPECT_EQ(0, growth(3, [&] { function.call(&handle); })) << function.name;
  }
  board.unplug();
  for (const auto& function : boardFunctions()) {
    EXPECT_EQ(0, growth(3, [&] { function.call(&handle); })) << function.name << ", unplugged";
  }
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
}

}  // namespace
}  // namespace kvexa::test
