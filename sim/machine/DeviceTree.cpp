#include "sim/machine/DeviceTree.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "sim/machine/HandleRange.h"

namespace sim {

namespace {

constexpr HandleRange setHandles{0xFFFF0004, 0xFFFF7FFC};
constexpr HandleRange fileHandles{0xFFFF8004, 0xFFFFEFFC};
LastHandle lastSetHandle;
LastHandle lastFileHandle;

std::uintptr_t number(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

constexpr char pathPrefix[] = R"(\\?\kvexa#)";

// Windows compares device paths without regard to case.
bool samePath(const std::string& a, const std::string& b) { return _stricmp(a.c_str(), b.c_str()) == 0; }

std::string devicePath(const BoardClass& boardClass, unsigned index) {
  char text[100];
  std::snprintf(text, sizeof text, "%s%s_%04u#%s", pathPrefix, boardClass.tracePrefix, index,
                boardClass.pathClass);
  return text;
}

}  // namespace

const BoardClass* findBoardClass(const GUID* interfaceClass) {
  if (interfaceClass == nullptr) return nullptr;
  for (const BoardClass& each : boardClasses) {
    if (std::memcmp(&each.interfaceClass, interfaceClass, sizeof(GUID)) == 0) return &each;
  }
  return nullptr;
}

usb::Board& DeviceTree::addUsbBoard() {
  const std::lock_guard lock(mutex_);
  usb::Driver* made = nullptr;
  addDevice(KVEXA_BOARD_USB, [&](std::string name) {
    auto driver = std::make_unique<usb::Driver>(std::move(name), timeline_, trace_);
    made = driver.get();
    usbDrivers_.push_back(made);
    return driver;
  });
  return made->board();
}

usb::Board& DeviceTree::usbBoard(unsigned index) {
  const std::lock_guard lock(mutex_);
  if (index >= usbDrivers_.size()) throw std::out_of_range("the machine has no such USB board");
  return usbDrivers_[index]->board();
}

pcie::Board& DeviceTree::addPcieBoard() {
  const std::lock_guard lock(mutex_);
  pcie::Driver* made = nullptr;
  addDevice(KVEXA_BOARD_PCIE, [&](std::string name) {
    auto driver =
        std::make_unique<pcie::Driver>(std::move(name), pcie::Board::Machinery{timeline_, trace_, loans_});
    made = driver.get();
    pcieDrivers_.push_back(made);
    return driver;
  });
  return made->board();
}

pcie::Board& DeviceTree::pcieBoard(unsigned index) {
  const std::lock_guard lock(mutex_);
  if (index >= pcieDrivers_.size()) throw std::out_of_range("the machine has no such PCIe board");
  return pcieDrivers_[index]->board();
}

void DeviceTree::failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error) {
  const std::lock_guard lock(mutex_);
  if (boardType >= stepErrors_.size()) throw std::out_of_range("there is no such board type");
  stepErrors_[boardType].at(static_cast<std::size_t>(step)) = error;
}

unsigned DeviceTree::openSets() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(sets_.size());
}

unsigned DeviceTree::openFiles() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(files_.size());
}

FileRequest DeviceTree::lastFileRequest() const {
  const std::lock_guard lock(mutex_);
  return lastFileRequest_;
}

bool DeviceTree::ownsSet(HDEVINFO set) { return setHandles.holds(number(set)); }

bool DeviceTree::ownsFile(HANDLE file) { return fileHandles.holds(number(file)); }

bool DeviceTree::ownsPath(const char* path) {
  return path != nullptr && _strnicmp(path, pathPrefix, sizeof pathPrefix - 1) == 0;
}

std::uint32_t DeviceTree::makeSet(const BoardClass& boardClass, bool byInterface, HDEVINFO& set) {
  const std::lock_guard lock(mutex_);
  if (const std::uint32_t error = stepError(boardClass, OpenStep::deviceSet)) return error;
  const std::uintptr_t handle = freeHandle(setHandles, sets_, lastSetHandle);
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  DeviceSet& made = sets_[handle];
  made.boardClass = &boardClass;
  for (const auto& device : devices_) {
    const bool isListed = byInterface && device->boardClass == &boardClass && device->driver->isPresent();
    if (isListed) made.devices.push_back(device.get());
  }
  set = reinterpret_cast<HDEVINFO>(handle);
  return 0;
}

std::uint32_t DeviceTree::destroySet(HDEVINFO set) {
  const std::lock_guard lock(mutex_);
  return sets_.erase(number(set)) != 0 ? 0 : ERROR_INVALID_HANDLE;
}

std::uint32_t DeviceTree::enumerate(HDEVINFO set, const GUID* interfaceClass, std::uint32_t index,
                                    SP_DEVICE_INTERFACE_DATA* data) {
  const std::lock_guard lock(mutex_);
  const auto found = sets_.find(number(set));
  if (found == sets_.end()) return ERROR_INVALID_HANDLE;
  if (data == nullptr || interfaceClass == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof *data) return ERROR_INVALID_USER_BUFFER;
  const DeviceSet& listed = found->second;
  if (const std::uint32_t error = stepError(*listed.boardClass, OpenStep::interface)) return error;
  if (findBoardClass(interfaceClass) != listed.boardClass || index >= listed.devices.size()) {
    return ERROR_NO_MORE_ITEMS;
  }
  data->InterfaceClassGuid = listed.boardClass->interfaceClass;
  data->Flags = SPINT_ACTIVE;
  data->Reserved = index + 1;  // 0 is for records that were not filled
  return 0;
}

std::uint32_t DeviceTree::detail(HDEVINFO set, const SP_DEVICE_INTERFACE_DATA* data,
                                 SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, std::uint32_t size,
                                 DWORD* requiredSize) {
  const std::lock_guard lock(mutex_);
  const auto found = sets_.find(number(set));
  if (found == sets_.end()) return ERROR_INVALID_HANDLE;
  if (data == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof *data) return ERROR_INVALID_USER_BUFFER;
  const DeviceSet& listed = found->second;
  if (data->Reserved == 0 || data->Reserved > listed.devices.size()) return ERROR_INVALID_PARAMETER;
  if (detail == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
  if (detail != nullptr && (size < sizeof *detail || detail->cbSize != sizeof *detail)) {
    return ERROR_INVALID_USER_BUFFER;
  }
  const OpenStep step = detail == nullptr ? OpenStep::detailSize : OpenStep::detail;
  if (const std::uint32_t error = stepError(*listed.boardClass, step)) return error;

  const std::string& path = listed.devices[data->Reserved - 1]->path;
  const auto required =
      static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + path.size() + 1);
  if (requiredSize != nullptr) *requiredSize = required;
  if (detail == nullptr || size < required) return ERROR_INSUFFICIENT_BUFFER;
  std::memcpy(detail->DevicePath, path.c_str(), path.size() + 1);
  return 0;
}

std::uint32_t DeviceTree::openFile(const FileRequest& request, HANDLE& file) {
  const std::lock_guard lock(mutex_);
  lastFileRequest_ = request;
  const Device* device = findDevice(request.path);
  if (device == nullptr) return ERROR_FILE_NOT_FOUND;
  std::uint32_t error = stepError(*device->boardClass, OpenStep::file);
  if (error == 0 && !device->driver->isPresent()) error = ERROR_FILE_NOT_FOUND;
  const std::uintptr_t handle = freeHandle(fileHandles, files_, lastFileHandle);
  if (error == 0 && handle == 0) error = ERROR_NO_SYSTEM_RESOURCES;
  if (error == 0 && !device->driver->open()) error = ERROR_ACCESS_DENIED;
  trace_.add(device->driver->name() + " open" + outcome(error, true));
  if (error != 0) return error;
  files_[handle] = device;
  file = reinterpret_cast<HANDLE>(handle);
  return 0;
}

std::uint32_t DeviceTree::closeFile(HANDLE file) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(number(file));
  if (found == files_.end()) return ERROR_INVALID_HANDLE;
  found->second->driver->close();
  trace_.add(found->second->driver->name() + " close");
  files_.erase(found);
  return 0;
}

Driver* DeviceTree::driver(HANDLE file) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(number(file));
  return found == files_.end() ? nullptr : found->second->driver.get();
}

DeviceTree::Device& DeviceTree::addDevice(
    std::uint32_t type, const std::function<std::unique_ptr<Driver>(std::string)>& makeDriver) {
  const BoardClass& boardClass = boardClasses.at(type);
  const auto index =
      static_cast<unsigned>(type == KVEXA_BOARD_USB ? usbDrivers_.size() : pcieDrivers_.size());
  auto device = std::make_unique<Device>();
  device->boardClass = &boardClass;
  device->path = devicePath(boardClass, index);
  device->driver = makeDriver(boardClass.tracePrefix + std::to_string(index));
  devices_.push_back(std::move(device));
  return *devices_.back();
}

std::uint32_t DeviceTree::stepError(const BoardClass& boardClass, OpenStep step) const {
  return stepErrors_[boardClass.type].at(static_cast<std::size_t>(step));
}

const DeviceTree::Device* DeviceTree::findDevice(const std::string& path) const {
  const auto found = std::find_if(devices_.begin(), devices_.end(),
                                  [&](const auto& device) { return samePath(device->path, path); });
  return found == devices_.end() ? nullptr : found->get();
}

}  // namespace sim
