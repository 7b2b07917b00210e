// How a recorded program looks for boards.
#include <algorithm>
#include <cstring>
#include <mutex>

#include "sim/machine/BoardClass.h"
#include "sim/record/recording/RecordingCalls.h"

namespace sim::record {

HDEVINFO RecordingPlatform::getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                                         DWORD flags) {
  const BoardClass* const boardClass = findBoardClass(interfaceClass);
  const bool isPci =
      interfaceClass == nullptr && enumerator != nullptr && std::strcmp(enumerator, "PCI") == 0;
  if (boardClass == nullptr && !isPci) return inner_->getClassDevs(interfaceClass, enumerator, owner, flags);
  Line line = begin(Call::list);
  const HDEVINFO set = inner_->getClassDevs(interfaceClass, enumerator, owner, flags);
  const DWORD error = GetLastError();
  line.text = bytesOf(isPci ? "pci" : boardClass->tracePrefix);
  line.result = set != INVALID_HANDLE_VALUE ? 1 : 0;
  const std::uint32_t type = isPci ? BoardName::none : boardClass->type;
  if (line.result != 0) line.handle = sets_.add(set, {type, 0});
  return end(line, set, error);
}

BOOL RecordingPlatform::enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device,
                                             const GUID* interfaceClass, DWORD index,
                                             SP_DEVICE_INTERFACE_DATA* data) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->enumDeviceInterfaces(set, device, interfaceClass, index, data);
  Line line = begin(Call::interface, {}, known->number);
  line.a = index;
  const BOOL found = inner_->enumDeviceInterfaces(set, device, interfaceClass, index, data);
  if (found != FALSE && data != nullptr) noteInterface(*known, *data, index);
  return endOf(line, found);
}

BOOL RecordingPlatform::getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                                 SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size,
                                                 DWORD* requiredSize, SP_DEVINFO_DATA* device) {
  const std::optional<Known> known = sets_.find(set);
  if (!known || data == nullptr) {
    return inner_->getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
  }
  Line line = begin(Call::path, {}, known->number);
  const BoardName board = boardOf(*known, *data);
  line.board = board;
  line.a = board.index;
  line.size = size;
  DWORD needed = 0;
  const BOOL found = inner_->getDeviceInterfaceDetail(
      set, data, detail, size, requiredSize != nullptr ? requiredSize : &needed, device);
  const DWORD error = GetLastError();
  line.moved = requiredSize != nullptr ? *requiredSize : needed;
  if (found != FALSE && detail != nullptr) {
    line.text = bytesOf(&detail->DevicePath[0]);
    notePath(&detail->DevicePath[0], board);
  }
  SetLastError(error);
  return endOf(line, found);
}

BOOL RecordingPlatform::destroyDeviceInfoList(HDEVINFO set) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->destroyDeviceInfoList(set);
  Line line = begin(Call::endList, {}, known->number);
  sets_.forget(set);
  return endOf(line, inner_->destroyDeviceInfoList(set));
}

BOOL RecordingPlatform::enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->enumDeviceInfo(set, index, data);
  Line line = begin(Call::deviceInfo, {}, known->number);
  line.a = index;
  return endOf(line, inner_->enumDeviceInfo(set, index, data));
}

BOOL RecordingPlatform::getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type,
                                          BYTE* buffer, DWORD size, DWORD* requiredSize) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
  Line line = begin(Call::property, {}, known->number);
  line.a = property;
  line.size = size;
  DWORD needed = 0;
  const BOOL got = inner_->getDeviceProperty(set, data, property, type, buffer, size,
                                             requiredSize != nullptr ? requiredSize : &needed);
  line.moved = requiredSize != nullptr ? *requiredSize : needed;
  if (got != FALSE) line.out = bytesOf(buffer, std::min<DWORD>(size, line.moved));
  return endOf(line, got);
}

BOOL RecordingPlatform::setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                                              SP_CLASSINSTALL_HEADER* header, DWORD size) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->setClassInstallParams(set, data, header, size);
  Line line = begin(Call::parameters, {}, known->number);
  line.in = bytesOf(header, size);
  return endOf(line, inner_->setClassInstallParams(set, data, header, size));
}

BOOL RecordingPlatform::callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) {
  const std::optional<Known> known = sets_.find(set);
  if (!known) return inner_->callClassInstaller(function, set, data);
  Line line = begin(Call::install, {}, known->number);
  line.a = function;
  return endOf(line, inner_->callClassInstaller(function, set, data));
}

BOOL RecordingPlatform::getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                                               SP_DEVINSTALL_PARAMS_A* parameters) {
  Line line = begin(Call::installState);
  const BOOL got = inner_->getDeviceInstallParams(set, data, parameters);
  if (got != FALSE && parameters != nullptr) line.out = bytesOf(parameters, sizeof *parameters);
  return endOf(line, got);
}

CONFIGRET RecordingPlatform::connectMachine(const char* name, HMACHINE* machine) {
  Line line = begin(Call::connect);
  return endOf(line, inner_->connectMachine(name, machine));
}

CONFIGRET RecordingPlatform::locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine) {
  Line line = begin(Call::locate);
  const CONFIGRET result = inner_->locateDevNode(node, identifier, flags, machine);
  if (node != nullptr) line.a = *node;
  return endOf(line, result);
}

CONFIGRET RecordingPlatform::reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) {
  Line line = begin(Call::rescan);
  return endOf(line, inner_->reenumerateDevNode(node, flags, machine));
}

CONFIGRET RecordingPlatform::disconnectMachine(HMACHINE machine) {
  Line line = begin(Call::disconnect);
  return endOf(line, inner_->disconnectMachine(machine));
}

void RecordingPlatform::noteInterface(const Known& list, const SP_DEVICE_INTERFACE_DATA& data, DWORD index) {
  const std::lock_guard lock(lock_);
  listed_[{list.number, data.Reserved}] = index;
}

BoardName RecordingPlatform::boardOf(const Known& list, const SP_DEVICE_INTERFACE_DATA& data) {
  const std::lock_guard lock(lock_);
  const auto found = listed_.find({list.number, data.Reserved});
  return {list.board.type, found == listed_.end() ? 0U : static_cast<std::uint32_t>(found->second)};
}

void RecordingPlatform::notePath(const char* path, BoardName board) {
  const std::lock_guard lock(lock_);
  paths_[path] = board;
}

std::optional<BoardName> RecordingPlatform::boardAt(const char* path) {
  if (path == nullptr) return std::nullopt;
  const std::lock_guard lock(lock_);
  const auto found = paths_.find(path);
  return found == paths_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace sim::record
