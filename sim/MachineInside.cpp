#include "MachineInside.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "HandleRange.h"

namespace sim {

namespace {

constexpr HandleRange setHandles{0xFFFF0004, 0xFFFF7FFC};
constexpr HandleRange fileHandles{0xFFFF8004, 0xFFFFEFFC};

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

UsbBoard& Machine::Inside::addUsbBoard() {
  const std::lock_guard lock(mutex_);
  UsbDriver* made = nullptr;
  addBoard(KVEXA_BOARD_USB, [&](std::string name) {
    auto driver = std::make_unique<UsbDriver>(std::move(name), timeline, trace);
    made = driver.get();
    usbDrivers_.push_back(made);
    return driver;
  });
  return made->board();
}

UsbBoard& Machine::Inside::usbBoard(unsigned index) {
  const std::lock_guard lock(mutex_);
  if (index >= usbDrivers_.size()) throw std::out_of_range("the machine has no such USB board");
  return usbDrivers_[index]->board();
}

PcieBoard& Machine::Inside::addPcieBoard() {
  const std::lock_guard lock(mutex_);
  PcieDriver* made = nullptr;
  addBoard(KVEXA_BOARD_PCIE, [&](std::string name) {
    auto driver = std::make_unique<PcieDriver>(std::move(name), PcieBoard::Machinery{timeline, trace, loans});
    made = driver.get();
    pcieDrivers_.push_back(made);
    return driver;
  });
  return made->board();
}

PcieBoard& Machine::Inside::pcieBoard(unsigned index) {
  const std::lock_guard lock(mutex_);
  if (index >= pcieDrivers_.size()) throw std::out_of_range("the machine has no such PCIe board");
  return pcieDrivers_[index]->board();
}

void Machine::Inside::failOpenStep(std::uint32_t boardType, OpenStep step, std::uint32_t error) {
  const std::lock_guard lock(mutex_);
  if (boardType >= stepErrors_.size()) throw std::out_of_range("there is no such board type");
  stepErrors_[boardType].at(static_cast<std::size_t>(step)) = error;
}

unsigned Machine::Inside::openDeviceSets() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(sets_.size());
}

unsigned Machine::Inside::openFiles() const {
  const std::lock_guard lock(mutex_);
  return static_cast<unsigned>(files_.size());
}

Machine::FileRequest Machine::Inside::lastFileRequest() const {
  const std::lock_guard lock(mutex_);
  return lastFileRequest_;
}

bool Machine::Inside::ownsSet(HDEVINFO set) { return setHandles.holds(number(set)); }

bool Machine::Inside::ownsFile(HANDLE file) { return fileHandles.holds(number(file)); }

bool Machine::Inside::ownsPath(const char* path) {
  return path != nullptr && _strnicmp(path, pathPrefix, sizeof pathPrefix - 1) == 0;
}

std::uint32_t Machine::Inside::makeSet(const BoardClass& boardClass, bool byInterface, HDEVINFO& set) {
  const std::lock_guard lock(mutex_);
  if (const std::uint32_t error = stepError(boardClass, OpenStep::deviceSet)) return error;
  const std::uintptr_t handle = freeHandle(setHandles, sets_, lastSet_);
  if (handle == 0) return ERROR_NOT_ENOUGH_MEMORY;
  DeviceSet& made = sets_[handle];
  made.boardClass = &boardClass;
  for (const auto& board : boards_) {
    const bool listed = byInterface && board->boardClass == &boardClass && board->driver->isPresent();
    if (listed) made.boards.push_back(board.get());
  }
  set = reinterpret_cast<HDEVINFO>(handle);
  return 0;
}

std::uint32_t Machine::Inside::destroySet(HDEVINFO set) {
  const std::lock_guard lock(mutex_);
  return sets_.erase(number(set)) != 0 ? 0 : ERROR_INVALID_HANDLE;
}

std::uint32_t Machine::Inside::enumerate(HDEVINFO set, const GUID* interfaceClass, std::uint32_t index,
                                         SP_DEVICE_INTERFACE_DATA* data) {
  const std::lock_guard lock(mutex_);
  const auto found = sets_.find(number(set));
  if (found == sets_.end()) return ERROR_INVALID_HANDLE;
  if (data == nullptr || interfaceClass == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof *data) return ERROR_INVALID_USER_BUFFER;
  const DeviceSet& devices = found->second;
  if (const std::uint32_t error = stepError(*devices.boardClass, OpenStep::interface)) return error;
  if (findBoardClass(interfaceClass) != devices.boardClass || index >= devices.boards.size()) {
    return ERROR_NO_MORE_ITEMS;
  }
  data->InterfaceClassGuid = devices.boardClass->interfaceClass;
  data->Flags = SPINT_ACTIVE;
  data->Reserved = index + 1;  // 0 stays for records that nobody filled
  return 0;
}

std::uint32_t Machine::Inside::detail(HDEVINFO set, const SP_DEVICE_INTERFACE_DATA* data,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, std::uint32_t size,
                                      DWORD* requiredSize) {
  const std::lock_guard lock(mutex_);
  const auto found = sets_.find(number(set));
  if (found == sets_.end()) return ERROR_INVALID_HANDLE;
  if (data == nullptr) return ERROR_INVALID_PARAMETER;
  if (data->cbSize != sizeof *data) return ERROR_INVALID_USER_BUFFER;
  const DeviceSet& devices = found->second;
  if (data->Reserved == 0 || data->Reserved > devices.boards.size()) return ERROR_INVALID_PARAMETER;
  if (detail == nullptr && size != 0) return ERROR_INVALID_PARAMETER;
  if (detail != nullptr && (size < sizeof *detail || detail->cbSize != sizeof *detail)) {
    return ERROR_INVALID_USER_BUFFER;
  }
  const OpenStep step = detail == nullptr ? OpenStep::detailSize : OpenStep::detail;
  if (const std::uint32_t error = stepError(*devices.boardClass, step)) return error;

  const std::string& path = devices.boards[data->Reserved - 1]->path;
  const auto required =
      static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + path.size() + 1);
  if (requiredSize != nullptr) *requiredSize = required;
  if (detail == nullptr || size < required) return ERROR_INSUFFICIENT_BUFFER;
  std::memcpy(detail->DevicePath, path.c_str(), path.size() + 1);
  return 0;
}

std::uint32_t Machine::Inside::openFile(const FileRequest& request, HANDLE& file) {
  const std::lock_guard lock(mutex_);
  lastFileRequest_ = request;
  const Board* board = findBoard(request.path);
  if (board == nullptr) return ERROR_FILE_NOT_FOUND;
  std::uint32_t error = stepError(*board->boardClass, OpenStep::file);
  if (error == 0 && !board->driver->isPresent()) error = ERROR_FILE_NOT_FOUND;
  const std::uintptr_t handle = freeHandle(fileHandles, files_, lastFile_);
  if (error == 0 && handle == 0) error = ERROR_NO_SYSTEM_RESOURCES;
  if (error == 0 && !board->driver->open()) error = ERROR_ACCESS_DENIED;
  trace.add(board->driver->name() + " open" + outcome(error, true));
  if (error != 0) return error;
  files_[handle] = board;
  file = reinterpret_cast<HANDLE>(handle);
  return 0;
}

std::uint32_t Machine::Inside::closeFile(HANDLE file) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(number(file));
  if (found == files_.end()) return ERROR_INVALID_HANDLE;
  found->second->driver->close();
  trace.add(found->second->driver->name() + " close");
  files_.erase(found);
  return 0;
}

Driver* Machine::Inside::driver(HANDLE file) const {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(number(file));
  return found == files_.end() ? nullptr : found->second->driver.get();
}

Machine::Inside::Board& Machine::Inside::addBoard(
    std::uint32_t type, const std::function<std::unique_ptr<Driver>(std::string)>& makeDriver) {
  const BoardClass& boardClass = boardClasses.at(type);
  const auto index =
      static_cast<unsigned>(type == KVEXA_BOARD_USB ? usbDrivers_.size() : pcieDrivers_.size());
  auto board = std::make_unique<Board>();
  board->boardClass = &boardClass;
  board->path = devicePath(boardClass, index);
  board->driver = makeDriver(boardClass.tracePrefix + std::to_string(index));
  boards_.push_back(std::move(board));
  return *boards_.back();
}

std::uint32_t Machine::Inside::stepError(const BoardClass& boardClass, OpenStep step) const {
  return stepErrors_[boardClass.type].at(static_cast<std::size_t>(step));
}

const Machine::Inside::Board* Machine::Inside::findBoard(const std::string& path) const {
  const auto found = std::find_if(boards_.begin(), boards_.end(),
                                  [&](const auto& board) { return samePath(board->path, path); });
  return found == boards_.end() ? nullptr : found->get();
}

}  // namespace sim
