#include "tests/sim/attach/AttachedFixture.h"

namespace {

using sim::OpenStep;

class MachineTest : public AttachedTest {};

TEST_F(MachineTest, ListsBoardsByType) {
  EXPECT_EQ(host.count(usbClass), 0U);
  machine.addUsbBoard();
  machine.addPcieBoards(3);
  machine.addUsbBoard();
  EXPECT_EQ(host.count(usbClass), 2U);
  EXPECT_EQ(host.lastError, DWORD{ERROR_NO_MORE_ITEMS});
  EXPECT_EQ(host.count(pcieClass), 3U);
  EXPECT_EQ(machine.devices().openSets(), 0U);
}

TEST_F(MachineTest, HoldsHundredsOfBoards) {
  for (int i = 0; i < 300; ++i) machine.addUsbBoard();
  machine.addPcieBoards(300);
  EXPECT_EQ(host.count(usbClass), 300U);
  EXPECT_EQ(host.count(pcieClass), 300U);
  EXPECT_NE(host.path(usbClass, 299), host.path(usbClass, 298));
}

TEST_F(MachineTest, CountsDeviceSetsUntilTheyAreDestroyed) {
  const HDEVINFO first = host.list(usbClass);
  const HDEVINFO second = host.list(usbClass);
  EXPECT_NE(first, second);
  EXPECT_EQ(machine.devices().openSets(), 2U);
  EXPECT_TRUE(client.calls().destroyDeviceInfoList(first));
  EXPECT_FALSE(client.calls().destroyDeviceInfoList(first));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
  EXPECT_EQ(machine.devices().openSets(), 1U);
}

TEST_F(MachineTest, ListsNothingForASetUpClass) {
  machine.addUsbBoard();
  const HDEVINFO set = client.calls().getClassDevs(&usbClass, nullptr, nullptr, DIGCF_PRESENT);
  SP_DEVICE_INTERFACE_DATA data{};
  data.cbSize = sizeof data;
  EXPECT_FALSE(client.calls().enumDeviceInterfaces(set, nullptr, &usbClass, 0, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
}

TEST_F(MachineTest, ChecksRecordSizes) {
  machine.addUsbBoard();
  const HDEVINFO set = host.list(usbClass);
  SP_DEVICE_INTERFACE_DATA data{};
  EXPECT_EQ(sizeof data, 28U);
  for (const DWORD size : {0, 27, 29}) {
    data.cbSize = size;
    EXPECT_FALSE(client.calls().enumDeviceInterfaces(set, nullptr, &usbClass, 0, &data));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_USER_BUFFER});
  }
  data.cbSize = 28;
  ASSERT_TRUE(client.calls().enumDeviceInterfaces(set, nullptr, &usbClass, 0, &data));
  DWORD needed = 0;
  EXPECT_FALSE(client.calls().getDeviceInterfaceDetail(set, &data, nullptr, 0, &needed, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  std::vector<char> buffer(needed);
  auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(buffer.data());
  for (const DWORD size : {4, 6, 8}) {
    detail->cbSize = size;
    EXPECT_FALSE(client.calls().getDeviceInterfaceDetail(set, &data, detail, needed, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_USER_BUFFER});
  }
  detail->cbSize = 5;
  EXPECT_FALSE(client.calls().getDeviceInterfaceDetail(set, &data, detail, needed - 1, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  EXPECT_TRUE(client.calls().getDeviceInterfaceDetail(set, &data, detail, needed, nullptr, nullptr));
}

TEST_F(MachineTest, FailsTheStepsOfOpening) {
  machine.addUsbBoard();
  machine.addPcieBoards(1);
  const std::string path = host.path(usbClass, 0);

  machine.devices().failOpenStep(0, OpenStep::deviceSet, 8);
  EXPECT_EQ(host.list(usbClass), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 8U);
  EXPECT_EQ(host.count(pcieClass), 1U);
  machine.devices().failOpenStep(0, OpenStep::deviceSet, 0);

  machine.devices().failOpenStep(0, OpenStep::interface, 13);
  EXPECT_EQ(host.count(usbClass), 0U);
  EXPECT_EQ(host.lastError, 13U);
  machine.devices().failOpenStep(0, OpenStep::interface, 0);

  machine.devices().failOpenStep(0, OpenStep::detailSize, 14);
  EXPECT_EQ(host.path(usbClass, 0), "");
  machine.devices().failOpenStep(0, OpenStep::detailSize, 0);
  machine.devices().failOpenStep(0, OpenStep::detail, 15);
  EXPECT_EQ(host.path(usbClass, 0), "");
  machine.devices().failOpenStep(0, OpenStep::detail, 0);

  machine.devices().failOpenStep(0, OpenStep::file, 32);
  EXPECT_EQ(host.open(path), INVALID_HANDLE_VALUE);
  EXPECT_EQ(host.lastError, 32U);
  machine.devices().failOpenStep(0, OpenStep::file, 0);
  const HANDLE file = host.open(path);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  EXPECT_TRUE(host.close(file));
  EXPECT_THROW(machine.devices().failOpenStep(2, OpenStep::file, 1), std::out_of_range);
}

TEST_F(MachineTest, OpensABoardOnce) {
  machine.addUsbBoard();
  machine.addPcieBoards(1);
  for (const GUID& boardClass : {usbClass, pcieClass}) {
    const std::string path = host.path(boardClass, 0);
    const HANDLE file = host.open(path);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_EQ(machine.devices().openFiles(), 1U);
    EXPECT_EQ(host.open(path), INVALID_HANDLE_VALUE);
    EXPECT_EQ(host.lastError, DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(host.close(file));
    EXPECT_FALSE(host.close(file));
    EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(machine.devices().openFiles(), 0U);
  }
  EXPECT_EQ(machine.trace().take(),
            (std::vector<std::string>{"usb0 open", "usb0 open -> error 5", "usb0 close", "pcie0 open",
                                      "pcie0 open -> error 5", "pcie0 close"}));
}

TEST_F(MachineTest, RemembersHowAFileWasAskedFor) {
  machine.addUsbBoard();
  const std::string path = host.path(usbClass, 0);
  host.close(host.open(path));
  const auto request = machine.devices().lastFileRequest();
  EXPECT_EQ(request.path, path);
  EXPECT_EQ(request.access, 0xC0000000U);
  EXPECT_EQ(request.share, 0U);
  EXPECT_FALSE(request.securityGiven);
  EXPECT_EQ(request.disposition, 3U);
  EXPECT_EQ(request.flags, 0x40000000U);
  EXPECT_FALSE(request.templateGiven);
}

TEST_F(MachineTest, HidesAnUnpluggedBoard) {
  sim::usb::Board& board = machine.addUsbBoard();
  machine.addUsbBoard();
  const std::string path = host.path(usbClass, 0);
  board.unplug();
  EXPECT_EQ(host.count(usbClass), 1U);
  EXPECT_EQ(host.open(path), INVALID_HANDLE_VALUE);
  EXPECT_EQ(host.lastError, DWORD{ERROR_FILE_NOT_FOUND});
  board.plug();
  EXPECT_EQ(host.path(usbClass, 0), path);
  EXPECT_EQ(host.open(path + "x"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(host.lastError, DWORD{ERROR_FILE_NOT_FOUND});
}

TEST_F(MachineTest, ServesTheRequestsOfAnOpenBoard) {
  machine.addUsbBoard().setTargetWord(7, 0x1234);
  const HANDLE file = host.open(host.path(usbClass, 0));
  std::vector<std::uint8_t> packet = {0, 0x80, 7, 2, 0};
  EXPECT_TRUE(host.transfer(file, 3, 1000, packet));
  EXPECT_EQ(host.word, 0U);
  EXPECT_EQ(host.moved, 5U);
  std::vector<std::uint8_t> answer(7);
  EXPECT_TRUE(host.transfer(file, 4, 1000, answer));
  EXPECT_EQ(answer, (std::vector<std::uint8_t>{0, 0x80, 7, 2, 0, 0x34, 0x12}));
  EXPECT_FALSE(host.transfer(file, 4, 10, answer));
  EXPECT_EQ(host.lastError, 121U);
  EXPECT_EQ(host.word, 4U);
  EXPECT_EQ(host.moved, 0U);
  machine.usbBoard(0).faults().at(1, {sim::Fault::Kind::keepStatus});
  EXPECT_TRUE(host.transfer(file, 3, 1000, packet));
  EXPECT_EQ(host.word, 3U);
}

TEST_F(MachineTest, ChecksRequestRecords) {
  machine.addUsbBoard();
  machine.addPcieBoards(1);
  const HANDLE file = host.open(host.path(usbClass, 0));
  std::vector<std::uint8_t> data(18);
  DWORD word = 0;
  DWORD pipe[4] = {3, 1000, static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&word)), 0};
  for (const DWORD length : {0, 11, 13}) {
    EXPECT_FALSE(host.control(file, 0x0022204E, pipe, length, data));
    EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER});
  }
  std::uint8_t descriptor[10] = {1, 1, 0, 0, 6, 0xCC, 0x00, 0x01, 0, 0};
  EXPECT_TRUE(host.control(file, 0x00222059, descriptor, 10, data));
  EXPECT_EQ(host.moved, 18U);
  EXPECT_FALSE(host.control(file, 0x00222059, descriptor, 9, data));
  descriptor[7] = 2;
  EXPECT_FALSE(host.control(file, 0x00222059, descriptor, 10, data));
  EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_FALSE(host.control(file, 0x00222052, descriptor, 10, data));
  EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_FUNCTION});
  const HANDLE pcie = host.open(host.path(pcieClass, 0));
  EXPECT_FALSE(host.control(pcie, 0x80002008, pipe, 11, data));
  EXPECT_EQ(host.lastError, DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(MachineTest, NeedsABoardToShow) { EXPECT_THROW(machine.usbBoard(0), std::out_of_range); }

}  // namespace
