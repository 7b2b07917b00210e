// The computer behind the redirected calls: device lists, device files, and their handles.
#pragma once

#include <windows.h>
// After windows.h.
#include <setupapi.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BoardClass.h"
#include "Driver.h"
#include "Loans.h"
#include "Machine.h"
#include "PcieDriver.h"
#include "Timeline.h"
#include "UsbDriver.h"

namespace sim {

// Every operation returns a Windows error, 0 for success.
struct Machine::Inside {
 public:
  Clock clock;
  Trace trace;
  Loans loans;
  Resources resources;
  SystemFiles systemFiles;
  PciBus pciBus{trace};

  UsbBoard& addUsbBoard();
  UsbBoard& usbBoard(unsigned index);
  PcieBoard& addPcieBoard();
  PcieBoard& pcieBoard(unsigned index);
  void failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error);

  unsigned openDeviceSets() const;
  unsigned openFiles() const;
  FileRequest lastFileRequest() const;

  // Whether a handle is one that this machine may have given out, open or closed.
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

  // The board behind an open file, or null.
  Driver* driver(HANDLE file) const;

 private:
  struct Board {
    const BoardClass* boardClass;
    std::string path;
    std::unique_ptr<Driver> driver;
  };
  struct DeviceSet {
    const BoardClass* boardClass = nullptr;
    std::vector<const Board*> boards;
  };
  static constexpr std::size_t openSteps = 5;

  Board& addBoard(std::uint32_t type, const std::function<std::unique_ptr<Driver>(std::string)>& makeDriver);
  std::uint32_t stepError(const BoardClass& boardClass, OpenStep step) const;
  const Board* findBoard(const std::string& path) const;

  mutable std::mutex mutex_;
  std::vector<std::unique_ptr<Board>> boards_;
  std::vector<UsbDriver*> usbDrivers_;
  std::vector<PcieDriver*> pcieDrivers_;
  std::array<std::array<std::uint32_t, openSteps>, boardClasses.size()> stepErrors_{};
  std::map<std::uintptr_t, DeviceSet> sets_;
  std::map<std::uintptr_t, const Board*> files_;
  std::uintptr_t lastSet_ = 0;
  std::uintptr_t lastFile_ = 0;
  FileRequest lastFileRequest_;

 public:
  Timeline timeline{clock};  // last, so that it ends before the boards
};

}  // namespace sim
