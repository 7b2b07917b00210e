// The version report.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t unset = 0xCCCCCCCC;
constexpr std::uint32_t libraryVersion = 0x0100;
const std::string libraryLine = "ProductVersion[040904b0]:8:0.1.0.0\n";

class Version : public MachineTest {
 protected:
  void open(std::uint32_t type) {
    if (type == KVEXA_BOARD_USB) machine.addUsbBoard();
    if (type == KVEXA_BOARD_PCIE) machine.addPcieBoard();
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(type, 0, &handle));
    trace();
  }

  void TearDown() override { EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle)); }

  // What goes to the standard output is kept.
  std::int32_t ask() {
    fpga = firmware = driver = library = unset;
    testing::internal::CaptureStdout();
    const std::int32_t result = kVexaGetVersion(&handle, &fpga, &firmware, &driver, &library);
    printed = testing::internal::GetCapturedStdout();
    return result;
  }

  void setDriver(const std::string& name, const std::vector<sim::SystemFiles::ProductVersion>& versions) {
    machine.systemFiles().set(machine.systemFiles().driverPath(name), versions);
  }

  void expectOutputs(std::uint32_t fpgaOutput, std::uint32_t firmwareOutput, std::uint32_t driverOutput,
                     std::uint32_t libraryOutput) {
    EXPECT_EQ(fpgaOutput, fpga);
    EXPECT_EQ(firmwareOutput, firmware);
    EXPECT_EQ(driverOutput, driver);
    EXPECT_EQ(libraryOutput, library);
  }

  BoardHandle handle{};
  std::uint32_t fpga = 0, firmware = 0, driver = 0, library = 0;
  std::string printed;
};

TEST_F(Version, OfAUsbBoard) {
  open(KVEXA_BOARD_USB);
  machine.usbBoard(0).setBoardRegister(2, 0x1234);
  setDriver("KVEXAu.sys", {{0x0409, 0x04B0, "2.1.0.7"}});
  EXPECT_EQ(KVEXA_OK, ask());
  expectOutputs(0x1234, 0x0105, 0x2107, libraryVersion);
  EXPECT_EQ("ProductVersion[040904b0]:8:2.1.0.7\n" + libraryLine, printed);
}

TEST_F(Version, OfAPcieBoard) {
  open(KVEXA_BOARD_PCIE);
  machine.pcieBoard(0).setBoardRegister(0x20, 0x87654321);
  setDriver("KVEXAPCIE.sys", {{0x0412, 0x04E4, "1, 0, 2, 3"}});
  EXPECT_EQ(KVEXA_OK, ask());
  expectOutputs(0x87654321, 0, 0x1023, libraryVersion);
  EXPECT_EQ("ProductVersion[041204e4]:11:1, 0, 2, 3\n" + libraryLine, printed);
}

TEST_F(Version, EachBoardAsksForItsOwnDriver) {
  setDriver("KVEXAu.sys", {{0x0409, 0x04B0, "1.1.1.1"}});
  setDriver("KVEXAPCIE.sys", {{0x0409, 0x04B0, "2.2.2.2"}});
  open(KVEXA_BOARD_USB);
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ(0x1111U, driver);
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  open(KVEXA_BOARD_PCIE);
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ(0x2222U, driver);
}

TEST_F(Version, DriverIsLookedForInTheWindowsDirectory) {
  open(KVEXA_BOARD_USB);
  machine.systemFiles().setWindowsDirectory("D:\\Elsewhere");
  EXPECT_EQ(KVEXA_FAILED, ask());
  setDriver("KVEXAu.sys", {{0x0409, 0x04B0, "4.5.6.7"}});
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ(0x4567U, driver);
}

TEST_F(Version, OtherThanFourDigitsIsAFailure) {
  open(KVEXA_BOARD_USB);
  for (const char* text : {"1.0.0.10", "1.0.0", "", "none", "12345", "1.0"}) {
    setDriver("KVEXAu.sys", {{0x0409, 0x04B0, text}});
    EXPECT_EQ(KVEXA_FAILED, ask()) << text;
    EXPECT_EQ(unset, driver) << text;
    EXPECT_EQ(unset, library) << text;
    EXPECT_EQ("ProductVersion[040904b0]:" + std::to_string(std::string(text).size() + 1) + ":" + text + "\n",
              printed);
  }
}

TEST_F(Version, OnlyDigitsCount) {
  open(KVEXA_BOARD_USB);
  for (const char* text : {"1023", "v1.0.2.3-beta", "1, 0, 2, 3", "10.23", " 1 0 2 3 "}) {
    setDriver("KVEXAu.sys", {{0x0409, 0x04B0, text}});
    EXPECT_EQ(KVEXA_OK, ask()) << text;
    EXPECT_EQ(0x1023U, driver) << text;
  }
}

TEST_F(Version, OfTwoTranslationsBothArePrintedAndTheSecondCounts) {
  open(KVEXA_BOARD_USB);
  setDriver("KVEXAu.sys", {{0x0409, 0x04B0, "1.1.1.1"}, {0x0412, 0x03B5, "2.1.0.7"}});
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ(0x2107U, driver);
  EXPECT_EQ("ProductVersion[040904b0]:8:1.1.1.1\nProductVersion[041203b5]:8:2.1.0.7\n" + libraryLine,
            printed);
}

TEST_F(Version, LastTranslationWithoutAVersionIsAFailure) {
  open(KVEXA_BOARD_USB);
  setDriver("KVEXAu.sys", {{0x0409, 0x04B0, "1.1.1.1"}, {0x0412, 0x03B5, std::nullopt}});
  EXPECT_EQ(KVEXA_FAILED, ask());
  EXPECT_EQ("ProductVersion[040904b0]:8:1.1.1.1\n", printed);
  setDriver("KVEXAu.sys", {{0x0412, 0x03B5, std::nullopt}, {0x0409, 0x04B0, "1.1.1.1"}});
  EXPECT_EQ(KVEXA_OK, ask());
}

TEST_F(Version, MissingDriverFileEndsAUsbBoardsReport) {
  open(KVEXA_BOARD_USB);
  machine.systemFiles().remove(machine.systemFiles().driverPath("KVEXAu.sys"));
  EXPECT_EQ(KVEXA_FAILED, ask());
  EXPECT_NE(unset, fpga);
  EXPECT_NE(unset, firmware);
  EXPECT_EQ(unset, driver);
  EXPECT_EQ(unset, library);
  EXPECT_EQ("", printed);
}

TEST_F(Version, MissingDriverFileIsNoFailureOnAPcieBoard) {
  open(KVEXA_BOARD_PCIE);
  machine.systemFiles().remove(machine.systemFiles().driverPath("KVEXAPCIE.sys"));
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ(unset, driver);
  EXPECT_EQ(libraryVersion, library);
  EXPECT_EQ(libraryLine, printed);
}

TEST_F(Version, DriverFileWithoutAResourceIsAMissingOne) {
  open(KVEXA_BOARD_USB);
  setDriver("KVEXAu.sys", {});
  EXPECT_EQ(KVEXA_FAILED, ask());
}

TEST_F(Version, LibraryWithoutAGoodVersionIsAFailureOnBothBoards) {
  machine.systemFiles().set("KVEXA_LIB.dll", {{0x0409, 0x04B0, "1.0.0.10"}});
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    open(type);
    EXPECT_EQ(KVEXA_FAILED, ask());
    EXPECT_EQ(0x1000U, driver);
    EXPECT_EQ(unset, library);
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  }
  open(KVEXA_BOARD_USB);
}

TEST_F(Version, RequestsOfAUsbBoard) {
  open(KVEXA_BOARD_USB);
  EXPECT_EQ(KVEXA_OK, ask());
  const std::string text = trace();
  EXPECT_TRUE(text.ends_with("usb0 descriptor 18/18\n")) << text;
}

TEST_F(Version, RequestsOfAPcieBoard) {
  open(KVEXA_BOARD_PCIE);
  EXPECT_EQ(KVEXA_OK, ask());
  EXPECT_EQ("pcie0 readRegister [00000000 00000020 00000000] -> 00000000 00020104\n", trace());
}

// Every request of a USB board refused in turn. A poll that is refused is only asked again; after any other
// refusal the versions behind it stay as they were.
TEST_F(Version, RefusedRequestEndsTheReport) {
  open(KVEXA_BOARD_USB);
  ASSERT_EQ(KVEXA_OK, ask());
  const std::string healthy = trace();
  const auto requests = static_cast<unsigned>(std::count(healthy.begin(), healthy.end(), '\n'));
  unsigned failures = 0;
  std::int32_t last = KVEXA_OK;
  for (unsigned k = 1; k <= requests; ++k) {
    machine.usbBoard(0).faults().clear();
    machine.usbBoard(0).faults().at(k, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
    last = ask();
    if (last == KVEXA_OK) {
      expectOutputs(0x0103, 0x0105, 0x1000, libraryVersion);
      continue;
    }
    ++failures;
    EXPECT_EQ(KVEXA_REQUEST_FAILED, last);
    // The last request is the descriptor's, behind the reading of the design.
    expectOutputs(k == requests ? 0x0103 : unset, unset, unset, unset);
  }
  // The address, the header, the answer, the descriptor.
  EXPECT_EQ(4U, failures);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, last);
}

TEST_F(Version, ShortDescriptorIsAFailure) {
  open(KVEXA_BOARD_USB);
  ASSERT_EQ(KVEXA_OK, ask());
  const std::string healthy = trace();
  const auto requests = static_cast<unsigned>(std::count(healthy.begin(), healthy.end(), '\n'));
  machine.usbBoard(0).faults().at(requests, {sim::Fault::Kind::shorten, 17});
  EXPECT_EQ(KVEXA_REQUEST_FAILED, ask());
  EXPECT_NE(unset, fpga);
  EXPECT_EQ(unset, firmware);
}

TEST_F(Version, RefusedReadOfAPcieBoardIsReturned) {
  open(KVEXA_BOARD_PCIE);
  machine.pcieBoard(0).faults().at(1, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
  EXPECT_EQ(KVEXA_REQUEST_FAILED, ask());
  expectOutputs(unset, unset, unset, unset);
}

TEST_F(Version, NullPointersAreRefused) {
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    open(type);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetVersion(&handle, nullptr, &firmware, &driver, &library));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetVersion(&handle, &fpga, nullptr, &driver, &library));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetVersion(&handle, &fpga, &firmware, nullptr, &library));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaGetVersion(&handle, &fpga, &firmware, &driver, nullptr));
    EXPECT_EQ("", trace());
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  }
  open(KVEXA_BOARD_USB);
}

// The packets of a register read are smaller than any resource: the board is asked, then the files fail.
TEST_F(Version, WithoutMemoryForTheResourceItFails) {
  constexpr std::size_t smallestResource = 8;
  for (const std::uint32_t type : {KVEXA_BOARD_USB, KVEXA_BOARD_PCIE}) {
    open(type);
    ASSERT_EQ(KVEXA_OK, ask());
    const std::uint32_t design = fpga;
    const std::uint32_t release = firmware;
    machine.resources().failBlocksFrom(smallestResource);
    EXPECT_EQ(KVEXA_FAILED, ask());
    machine.resources().failBlocksFrom(0);
    expectOutputs(design, release, unset, unset);
    EXPECT_EQ("", printed);
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  }
  open(KVEXA_BOARD_USB);
}

}  // namespace
}  // namespace kvexa::test
