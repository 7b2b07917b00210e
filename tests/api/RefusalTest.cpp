// What the functions of the frame do without memory, without outputs, and in unusual Windows directories.
#include <string>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class Refusal : public MachineTest {};

TEST_F(Refusal, CountsThatNobodyWantsAreNotStored) {
  machine.addUsbBoard();
  machine.addPcieBoards(2);
  std::uint32_t usb = untouched;
  std::uint32_t pcie = untouched;
  EXPECT_EQ(3, kVexaDevNum(nullptr, nullptr));
  EXPECT_EQ(3, kVexaDevNum(&usb, nullptr));
  EXPECT_EQ(1U, usb);
  EXPECT_EQ(3, kVexaDevNum(nullptr, &pcie));
  EXPECT_EQ(2U, pcie);
}

TEST_F(Refusal, OpeningWithoutMemoryLeavesNothing) {
  machine.addUsbBoard();
  machine.addPcieBoard();
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    BoardHandle board{nullptr, 7, 8};
    machine.resources().failBlocksFrom(1);
    const std::int32_t result = kVexaDevOpen(type, 0, &board);
    machine.resources().failBlocksFrom(0);
    EXPECT_EQ(KVEXA_OPEN_FAILED, result);
    EXPECT_EQ(nullptr, board.driverHandle);
    EXPECT_EQ(7U, board.boardType);
    EXPECT_EQ(8U, board.boardIndex);
    EXPECT_EQ(0U, machine.devices().openSets());
    EXPECT_EQ(0U, machine.devices().openFiles());
  }
}

TEST_F(Refusal, FrameSizeOfNoParametersIsZero) {
  EXPECT_EQ(0U, kVexaCalcFrameSize(nullptr, KVEXA_ALIGN_512));
  EXPECT_EQ(0U, kVexaCalcFrameSize(nullptr, KVEXA_ALIGN_4));
}

class DriverPath : public MachineTest {
 protected:
  // What the version report tells when Windows lies there, with the driver in its place.
  std::int32_t ask(const std::string& windowsDirectory) {
    machine.systemFiles().setWindowsDirectory(windowsDirectory);
    const std::string path = machine.systemFiles().driverPath("KVEXAu.sys");
    machine.systemFiles().set(path, {{0x0409, 0x04B0, "4.5.6.7"}});
    // What a path that was cut would find.
    if (path.size() >= MAX_PATH) {
      machine.systemFiles().set(path.substr(0, MAX_PATH - 1), {{0x0409, 0x04B0, "7.6.5.4"}});
    }
    driver = untouched;
    std::uint32_t fpga = 0, firmware = 0, library = 0;
    return kVexaGetVersion(&handle, &fpga, &firmware, &driver, &library);
  }

  static std::string folderOf(std::size_t length) { return "C:\\" + std::string(length - 3, 'w'); }

  void SetUp() override {
    machine.addUsbBoard();
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
  }
  void TearDown() override { EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle)); }

  // A path has MAX_PATH characters at most, its end included.
  static constexpr std::size_t longest = MAX_PATH - 1 - (sizeof "\\System32\\drivers\\KVEXAu.sys" - 1);

  BoardHandle handle{};
  std::uint32_t driver = 0;
};

TEST_F(DriverPath, MayBeAsLongAsAPathCanBe) {
  for (const std::size_t length : {std::size_t{3}, std::size_t{100}, longest - 1, longest}) {
    EXPECT_EQ(KVEXA_OK, ask(folderOf(length))) << length;
    EXPECT_EQ(0x4567U, driver) << length;
  }
}

TEST_F(DriverPath, ThatIsTooLongIsNotCutButRefused) {
  for (const std::size_t length :
       {longest + 1, longest + 2, std::size_t{MAX_PATH - 2}, std::size_t{MAX_PATH - 1}}) {
    EXPECT_EQ(KVEXA_FAILED, ask(folderOf(length))) << length;
    EXPECT_EQ(untouched, driver) << length;
  }
}

TEST_F(DriverPath, IsUnknownWhenWindowsDoesNotTellItsDirectory) {
  EXPECT_EQ(KVEXA_FAILED, ask(""));
  EXPECT_EQ(untouched, driver);
  for (const std::size_t length : {std::size_t{MAX_PATH}, std::size_t{MAX_PATH + 1}, std::size_t{5000}}) {
    EXPECT_EQ(KVEXA_FAILED, ask(folderOf(length))) << length;
    EXPECT_EQ(untouched, driver) << length;
  }
}

}  // namespace
}  // namespace kvexa::test
