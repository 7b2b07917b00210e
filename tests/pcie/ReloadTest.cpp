// Restarting the PCI functions of the boards.
#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

using Step = sim::PciBus::Step;

const std::string bridge = "PCI\\VEN_104C&DEV_8231";
const std::string capture = "PCI\\VEN_1446&DEV_C31F";

// No board need be there, so there is none.
class PcieReload : public MachineTest {
 protected:
  static std::string restart(unsigned number) {
    const std::string name = "pci " + std::to_string(number);
    return name + " disable\n" + name + " enable\n";
  }

  sim::PciBus& bus = machine.pciBus();
};

const std::string list = "pci list\n";
const std::string rescan = "pci connect\npci locate\npci rescan\npci disconnect\n";

TEST_F(PcieReload, BridgeThenCaptureFunctionAreRestarted) {
  bus.addBoard();
  for (const auto reload : {kVexaReloadPcieDevice, kVexaReloadPcieDeviceEx}) {
    EXPECT_EQ(KVEXA_OK, reload());
    EXPECT_EQ(list + restart(0) + list + restart(1), trace());
    EXPECT_TRUE(bus.isEnabled(0));
    EXPECT_TRUE(bus.isEnabled(1));
  }
}

TEST_F(PcieReload, AllMatchingFunctionsAreRestartedInOrder) {
  bus.addBoard();
  bus.add({"PCI\\VEN_8086&DEV_1234"});
  bus.addBoard();
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + restart(3) + list + restart(1) + restart(4), trace());
}

TEST_F(PcieReload, WithoutABoardTheCaptureFunctionIsNotTried) {
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list, trace());
  bus.add({capture});
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list, trace());
}

TEST_F(PcieReload, MissingCaptureFunctionIsTold) {
  bus.add({bridge});
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
}

TEST_F(PcieReload, SecondFormScansOnceAndTriesOnceMore) {
  EXPECT_EQ(-306, kVexaReloadPcieDeviceEx());
  EXPECT_EQ(list + rescan + list, trace());
  bus.addBoard(true);
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDeviceEx());
  EXPECT_EQ(list + rescan + list + restart(0) + list + restart(1), trace());
}

TEST_F(PcieReload, SecondFormScansForAMissingCaptureFunctionToo) {
  bus.add({bridge});
  bus.add({capture}, true);
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDeviceEx());
  EXPECT_EQ(list + restart(0) + list + rescan + list + restart(0) + list + restart(1), trace());
}

TEST_F(PcieReload, FailuresOfTheScanAreIgnored) {
  const struct {
    Step step;
    const char* lines;
  } rows[] = {{Step::connect, "pci connect -> error 19\n"},
              {Step::locate, "pci connect\npci locate -> error 19\npci disconnect\n"},
              {Step::rescan, "pci connect\npci locate\npci rescan -> error 19\npci disconnect\n"}};
  for (const auto& row : rows) {
    bus.fail(row.step, CR_FAILURE);
    EXPECT_EQ(-306, kVexaReloadPcieDeviceEx());
    EXPECT_EQ(list + row.lines + list, trace());
  }
}

TEST_F(PcieReload, OtherFailuresAreNotScannedFor) {
  bus.addBoard();
  bus.fail(Step::change, 5);
  EXPECT_EQ(-305, kVexaReloadPcieDeviceEx());
  EXPECT_EQ(std::string::npos, trace().find("rescan"));
}

TEST_F(PcieReload, FunctionsThatCannotBeListedAreTold) {
  bus.addBoard();
  bus.fail(Step::list, 8);
  EXPECT_EQ(-302, kVexaReloadPcieDevice());
  EXPECT_EQ("pci list -> error 8\n", trace());
  bus.fail(Step::list, 8, 2);
  EXPECT_EQ(-302, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + "pci list -> error 8\n", trace());
}

// It is the last error that counts, not the list.
TEST_F(PcieReload, LastErrorBehindAGoodListCounts) {
  bus.addBoard();
  bus.leaveLastError(259);
  EXPECT_EQ(-302, kVexaReloadPcieDevice());
  bus.leaveLastError(std::nullopt);
  SetLastError(ERROR_ACCESS_DENIED);  // of before
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
}

TEST_F(PcieReload, MissingMemoryForTheIdentifiersIsTold) {
  bus.addBoard();
  machine.resources().failBlocksFrom(8000);
  EXPECT_EQ(-301, kVexaReloadPcieDevice());
  EXPECT_EQ(-301, kVexaReloadPcieDeviceEx());
  EXPECT_EQ("", trace());
  machine.resources().failBlocksFrom(0);
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
}

TEST_F(PcieReload, IdentifiersThatCannotBeReadEndTheStep) {
  bus.addBoard();
  bus.addBoard();
  bus.fail(Step::identifiers, 13);
  EXPECT_EQ(-303, kVexaReloadPcieDevice());
  EXPECT_EQ(list, trace());
  // The third function: the first one was restarted already.
  bus.fail(Step::identifiers, 13, 3);
  EXPECT_EQ(-303, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0), trace());
}

TEST_F(PcieReload, LongIdentifiersCannotBeRead) {
  bus.add({std::string(8190, 'x')});  // 8192 bytes with its ends: as many as are read
  bus.addBoard();
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  bus.add({std::string(8191, 'x')});
  EXPECT_EQ(-303, kVexaReloadPcieDevice());
}

TEST_F(PcieReload, FailedChangeIsToldAndTheOthersGoOn) {
  bus.addBoard();
  bus.addBoard();
  for (const auto step : {Step::parameters, Step::change}) {
    for (unsigned k = 1; k <= 4; ++k) {
      trace();
      bus.fail(step, 5, k);
      EXPECT_EQ(-305, kVexaReloadPcieDevice()) << k;
      const auto lines = machine.trace().take();
      EXPECT_EQ(step == Step::change ? 5U : 4U, lines.size()) << k;
      // The capture functions are not tried.
      for (const auto& line : lines) EXPECT_EQ(std::string::npos, line.find("pci 1")) << line;
    }
  }
}

// A restart that wants Windows to be restarted is not reported. That is intended.
TEST_F(PcieReload, WishForARebootIsNotReported) {
  bus.addBoard();
  bus.needReboot(0);
  bus.needReboot(1);
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDeviceEx());
}

TEST_F(PcieReload, OnlyAWholeEntryMatchesWithItsCase) {
  bus.add({bridge + "&SUBSYS_00000000", bridge + "&REV_01"});
  bus.add({"pci\\ven_104c&dev_8231"});
  bus.add({"PCI\\VEN_104C&DEV_823"});
  bus.add({"X" + bridge});
  bus.add({});
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list, trace());
  bus.add({"other", "another", bridge});
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(5) + list, trace());
}

TEST_F(PcieReload, ListsThatLackTheirEndAreReadAsFarAsTheyGo) {
  bus.addRaw(bridge);  // neither the entry's end nor the list's
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
  bus.addRaw("");
  bus.addRaw(std::string("\0\0\0", 3));
  // What stands behind the list's end is not of the list.
  bus.addRaw(std::string("first\0\0", 7) + capture);
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
}

// What the function before left in the buffer is not taken for the end of this one's.
TEST_F(PcieReload, ShortListBehindALongOneIsReadAlone) {
  bus.add({bridge});
  bus.addRaw(bridge.substr(0, bridge.size() - 1));
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
}

// Only the length that Windows tells counts. What lies behind it may be anything: the beginning of more text
// that would go on with the last entry, or whole entries.
TEST_F(PcieReload, WhatLiesBehindTheListIsNotOfTheList) {
  bus.addRawBefore(bridge, "&REV_01");
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
  bus.addRawBefore(std::string("other\0", 6), capture + std::string(2, '\0'));
  bus.addRawBefore("", capture + std::string(2, '\0'));
  bus.addRawBefore(capture.substr(0, capture.size() - 1), capture.substr(capture.size() - 1));
  bus.addRawBefore(capture.substr(0, capture.size() - 2), capture.substr(capture.size() - 2));
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
  bus.addRawBefore(std::string("other\0", 6) + capture, "X");
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list + restart(5), trace());
}

// As many bytes as are read leave room for the two zeros and no more.
TEST_F(PcieReload, LongestListIsEndedBehindItsLastByte) {
  const std::string first(8192 - bridge.size() - 1, 'x');
  bus.addRaw(first + '\0' + bridge);
  EXPECT_EQ(-306, kVexaReloadPcieDevice());
  EXPECT_EQ(list + restart(0) + list, trace());
}

// Every attempt leaves its list of devices with the process. That is intended.
TEST_F(PcieReload, ThousandRestartsWork) {
  bus.addBoard();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  EXPECT_EQ(2000U, bus.openSets());
  EXPECT_EQ(0U, machine.devices().openSets());
}

TEST_F(PcieReload, OpenBoardsDoNotMatter) {
  machine.addPcieBoards(1);
  BoardHandle handle{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &handle));
  bus.addBoard();
  EXPECT_EQ(KVEXA_OK, kVexaReloadPcieDevice());
  EXPECT_EQ(KVEXA_OK, kVexaPowerV1On(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handle));
}

}  // namespace
}  // namespace kvexa::test
