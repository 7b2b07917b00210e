// The PCI functions that Windows lists and restarts.
#include "tests/sim/attach/AttachedFixture.h"
// After windows.h.
#include <cfgmgr32.h>

namespace {

using Lines = std::vector<std::string>;
using sim::PciBus;

class PciBusTest : public AttachedTest {
 protected:
  HDEVINFO list() { return client.calls().getClassDevs(nullptr, "PCI", nullptr, 6); }

  SP_DEVINFO_DATA device(HDEVINFO set, DWORD index) {
    SP_DEVINFO_DATA data{};
    data.cbSize = sizeof data;
    EXPECT_TRUE(client.calls().enumDeviceInfo(set, index, &data));
    return data;
  }

  bool change(HDEVINFO set, SP_DEVINFO_DATA& data, DWORD state) {
    SP_PROPCHANGE_PARAMS parameters{};
    parameters.ClassInstallHeader = {sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE};
    parameters.StateChange = state;
    parameters.Scope = DICS_FLAG_GLOBAL;
    return client.calls().setClassInstallParams(set, &data, &parameters.ClassInstallHeader,
                                                sizeof parameters) != FALSE &&
           client.calls().callClassInstaller(DIF_PROPERTYCHANGE, set, &data) != FALSE;
  }

  PciBus& bus = machine.pciBus();
};

TEST_F(PciBusTest, ListsFunctionsWithTheirIdentifiers) {
  bus.add({"PCI\\A", "PCI\\B"});
  bus.addRaw("raw");
  SetLastError(99);
  const HDEVINFO set = list();
  EXPECT_NE(set, INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 99U);
  SP_DEVINFO_DATA data = device(set, 0);
  BYTE buffer[100];
  DWORD type = 0;
  DWORD length = 0;
  EXPECT_TRUE(client.calls().getDeviceProperty(set, &data, SPDRP_HARDWAREID, &type, buffer, 100, &length));
  EXPECT_EQ(type, DWORD{REG_MULTI_SZ});
  EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), length), std::string("PCI\\A\0PCI\\B\0\0", 13));
  EXPECT_FALSE(client.calls().getDeviceProperty(set, &data, SPDRP_HARDWAREID, nullptr, buffer, 12, &length));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
  data = device(set, 1);
  EXPECT_TRUE(client.calls().getDeviceProperty(set, &data, SPDRP_HARDWAREID, nullptr, buffer, 3, nullptr));
  EXPECT_FALSE(client.calls().enumDeviceInfo(set, 2, &data));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
  data.cbSize = 27;
  EXPECT_FALSE(client.calls().enumDeviceInfo(set, 0, &data));
  EXPECT_EQ(bus.openSets(), 1U);
  EXPECT_TRUE(client.calls().destroyDeviceInfoList(set));
  EXPECT_FALSE(client.calls().destroyDeviceInfoList(set));
  EXPECT_EQ(bus.openSets(), 0U);
}

TEST_F(PciBusTest, ChangesStates) {
  bus.addBoard();
  const HDEVINFO set = list();
  SP_DEVINFO_DATA data = device(set, 1);
  EXPECT_TRUE(change(set, data, DICS_DISABLE));
  EXPECT_FALSE(bus.isEnabled(1));
  EXPECT_TRUE(bus.isEnabled(0));
  EXPECT_TRUE(change(set, data, DICS_ENABLE));
  EXPECT_TRUE(bus.isEnabled(1));
  EXPECT_FALSE(change(set, data, 3));
  EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
  bus.fail(PciBus::Step::parameters, 5);
  EXPECT_FALSE(change(set, data, DICS_DISABLE));
  bus.fail(PciBus::Step::change, 6);
  EXPECT_FALSE(change(set, data, DICS_DISABLE));
  EXPECT_EQ(GetLastError(), 6U);
  EXPECT_TRUE(bus.isEnabled(1));
  EXPECT_EQ(machine.trace().take(),
            (Lines{"pci list", "pci 1 disable", "pci 1 enable", "pci 1 disable -> error 6"}));
}

TEST_F(PciBusTest, TellsTheWishForARebootOfTheRightSet) {
  bus.addBoard();
  bus.needReboot(0);
  const HDEVINFO set = list();
  SP_DEVINFO_DATA data = device(set, 0);
  SP_DEVINSTALL_PARAMS_A parameters{};
  parameters.cbSize = sizeof parameters;
  EXPECT_TRUE(client.calls().getDeviceInstallParams(set, &data, &parameters));
  EXPECT_EQ(parameters.Flags, DWORD{DI_NEEDREBOOT});
  data = device(set, 1);
  EXPECT_TRUE(client.calls().getDeviceInstallParams(set, &data, &parameters));
  EXPECT_EQ(parameters.Flags, 0U);
}

TEST_F(PciBusTest, StepsFailAtTheirTurn) {
  bus.addBoard();
  bus.fail(PciBus::Step::list, 8, 2, 2);
  EXPECT_NE(list(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(list(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 8U);
  EXPECT_EQ(list(), INVALID_HANDLE_VALUE);
  EXPECT_NE(list(), INVALID_HANDLE_VALUE);
  bus.leaveLastError(5);
  EXPECT_NE(list(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), 5U);
}

TEST_F(PciBusTest, RescanFindsWhatWasHidden) {
  bus.addBoard(true);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  EXPECT_FALSE(client.calls().enumDeviceInfo(list(), 0, &data));
  HMACHINE connected = nullptr;
  DEVINST root = 0;
  EXPECT_EQ(client.calls().connectMachine(nullptr, &connected), CONFIGRET{CR_SUCCESS});
  EXPECT_EQ(client.calls().locateDevNode(&root, nullptr, 0, connected), CONFIGRET{CR_SUCCESS});
  EXPECT_EQ(client.calls().reenumerateDevNode(root + 1, 0, connected), CONFIGRET{CR_INVALID_DEVNODE});
  EXPECT_FALSE(client.calls().enumDeviceInfo(list(), 0, &data));
  EXPECT_EQ(client.calls().reenumerateDevNode(root, 0, connected), CONFIGRET{CR_SUCCESS});
  EXPECT_TRUE(client.calls().enumDeviceInfo(list(), 1, &data));
  EXPECT_EQ(client.calls().disconnectMachine(connected), CONFIGRET{CR_SUCCESS});
  EXPECT_EQ(client.calls().connectMachine("elsewhere", &connected), CONFIGRET{CR_MACHINE_UNAVAILABLE});
}

TEST_F(PciBusTest, OtherListsAreWindowsOwn) {
  const HDEVINFO set = client.calls().getClassDevs(nullptr, "KVEXA_NO_SUCH_BUS", nullptr, 6);
  SP_DEVINFO_DATA data{};
  data.cbSize = sizeof data;
  EXPECT_FALSE(client.calls().enumDeviceInfo(set, 0, &data));
  if (set != INVALID_HANDLE_VALUE) {
    EXPECT_TRUE(client.calls().destroyDeviceInfoList(set));
  }
  EXPECT_TRUE(machine.trace().take().empty());
}

}  // namespace
