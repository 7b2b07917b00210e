// What board functions do on a PCIe board, all in one place.
#include <cstring>

#include "tests/support/BoardFixture.h"
#include "tests/support/BoardFunctions.h"

namespace kvexa::test {
namespace {

class PcieBoard : public MachineTest {
 protected:
  void SetUp() override {
    machine.addPcieBoards(1);
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &handle));
    machine.trace().take();
  }

  void TearDown() override {
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
    EXPECT_EQ(0U, machine.devices().openFiles());
  }

  // Calls every function of the kind.
  void expectResult(OnPcie kind, double result) {
    for (const auto* functions : {&boardFunctions(), &captureFunctions()}) {
      for (const auto& function : *functions) {
        if (function.onPcie == kind) {
          EXPECT_EQ(result, function.call(&handle)) << function.name;
        }
      }
    }
    EXPECT_EQ("", trace());
  }

  BoardHandle handle{};
};

TEST_F(PcieBoard, FunctionsOfUsbBoardsDoNothing) { expectResult(OnPcie::nothingToDo, 0.0); }

TEST_F(PcieBoard, CapturesOfUsbBoardsHaveACodeOfTheirOwn) { expectResult(OnPcie::notOnPcie, -100.0); }

TEST_F(PcieBoard, FunctionsOfUsbBoardsLeaveTheirOutputsUntouched) {
  std::uint32_t status = untouched;
  std::uint8_t block[KVEXA_STATUS_BLOCK_BYTES];
  std::memset(block, 0xA5, sizeof block);
  EXPECT_EQ(KVEXA_OK, kVexaStatusRead(&handle, &status));
  EXPECT_EQ(KVEXA_OK, kVexaGetUsbStatus(&handle, block));
  EXPECT_EQ(untouched, status);
  for (const auto byte : block) EXPECT_EQ(0xA5, byte);
}

}  // namespace
}  // namespace kvexa::test
