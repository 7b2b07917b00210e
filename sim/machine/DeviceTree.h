// The devices of a machine: its boards, the lists in which they are found, their files, and the handles of
// both.
#pragma once

#include <windows.h>
// After windows.h.
#include <objbase.h>
#include <setupapi.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "sim/base/Driver.h"
#include "sim/base/Loans.h"
#include "sim/base/Timeline.h"
#include "sim/base/Trace.h"
#include "sim/machine/BoardClass.h"
#include "sim/pcie/Driver.h"
#include "sim/usb/Driver.h"

// A word of COM for "struct", which would get into the way of a name below.
#undef interface

namespace sim {

// The steps of finding and opening a board that can be made to fail, for one board type.
enum class OpenStep { deviceSet, interface, detailSize, detail, file };

// The path and arguments of a CreateFileA on a device.
struct FileRequest {
  std::string path;
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  bool securityGiven = false;
  std::uint32_t disposition = 0;
  std::uint32_t flags = 0;
  bool templateGiven = false;
};

class DeviceTree {
 public:
  DeviceTree(Timeline& timeline, Trace& trace, Loans& loans)
      : timeline_(timeline), trace_(trace), loans_(loans) {}

  // Boards are enumerated in the order in which they were added. References stay good as long as the
  // tree lives.
  usb::Board& addUsbBoard();
  usb::Board& usbBoard(unsigned index);
  pcie::Board& addPcieBoard();
  pcie::Board& pcieBoard(unsigned index);

  // From now on the step fails for every board of the type (BoardType of kvexa.h) with the Windows
  // error; 0 makes it work again.
  void failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error);

  // Handles that were given out and have not been closed.
  unsigned openSets() const;
  unsigned openFiles() const;

  FileRequest lastFileRequest() const;

  // ---- for the redirected calls: every operation returns a Windows error, 0 for success ----

  // Whether a handle is one that a machine may have given out, open or closed.
  static bool ownsSet(HDEVINFO set);
  static bool ownsFile(HANDLE file);
  static bool ownsPath(const char* path);

  std::uint32_t makeSet(const BoardClass& boardClass, bool byInterface, HDEVINFO& set);
  std::uint32_t destroySet(HDEVINFO set);
  std::uint32_t enumerate(HDEVINFO set, const GUID* interfaceClass, std::uint32_t index,
                          SP_DEVICE_INTERFACE_DATA* data);
  std::uint32_t detail(HDEVINFO set, const SP_DEVICE_INTERFACE_DATA* data,
                       SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, std::uint32_t size, DWORD* requiredSize);
  std::uint32_t openFile(const FileRequest& request, HANDLE& file);
  std::uint32_t closeFile(HANDLE file);

  // The driver of an open file, or null.
  Driver* driver(HANDLE file) const;

 private:
  struct Device {
    const BoardClass* boardClass;
    std::string path;
    std::unique_ptr<Driver> driver;
  };
  struct DeviceSet {
    const BoardClass* boardClass = nullptr;
    std::vector<const Device*> devices;
  };
  static constexpr std::size_t openSteps = 5;

  Device& addDevice(std::uint32_t type,
                    const std::function<std::unique_ptr<Driver>(std::string)>& makeDriver);
  std::uint32_t stepError(const BoardClass& boardClass, OpenStep step) const;
  const Device* findDevice(const std::string& path) const;

  Timeline& timeline_;
  Trace& trace_;
  Loans& loans_;

  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Device>> devices_;
  std::vector<usb::Driver*> usbDrivers_;
  std::vector<pcie::Driver*> pcieDrivers_;
  std::array<std::array<std::uint32_t, openSteps>, boardClasses.size()> stepErrors_{};
  std::map<std::uintptr_t, DeviceSet> sets_;
  std::map<std::uintptr_t, const Device*> files_;
  FileRequest lastFileRequest_;
};

}  // namespace sim
