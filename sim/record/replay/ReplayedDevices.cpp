// Answers to a program that looks for boards.
#include <cstring>

#include "sim/machine/BoardClass.h"
#include "sim/record/replay/ReplayCalls.h"

namespace sim::record {

HDEVINFO ReplayPlatform::getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                                      DWORD flags) {
  const BoardClass* const boardClass = findBoardClass(interfaceClass);
  const bool isPci =
      interfaceClass == nullptr && enumerator != nullptr && std::strcmp(enumerator, "PCI") == 0;
  if (boardClass == nullptr && !isPci)
    return Platform::getClassDevs(interfaceClass, enumerator, owner, flags);
  Line line = question(Call::list);
  line.text = bytesOf(isPci ? "pci" : boardClass->tracePrefix);
  HDEVINFO set = INVALID_HANDLE_VALUE;
  answer(line, [&](const Line& recorded) {
    if (recorded.result != 0) set = handleOf(firstSet, recorded.handle);
  });
  return set;
}

BOOL ReplayPlatform::enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                          DWORD index, SP_DEVICE_INTERFACE_DATA* data) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::enumDeviceInterfaces(set, device, interfaceClass, index, data);
  Line line = question(Call::interface, number);
  line.a = index;
  return answer(line, [&](const Line& recorded) {
    if (recorded.result == 0 || data == nullptr) return;
    if (interfaceClass != nullptr) data->InterfaceClassGuid = *interfaceClass;
    data->Flags = SPINT_ACTIVE;
    data->Reserved = index + 1;
  });
}

BOOL ReplayPlatform::getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                              SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size,
                                              DWORD* requiredSize, SP_DEVINFO_DATA* device) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0 || data == nullptr) {
    return Platform::getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
  }
  Line line = question(Call::path, number);
  line.a = static_cast<std::uint32_t>(data->Reserved) - 1;
  line.size = size;
  return answer(line, [&](const Line& recorded) {
    if (requiredSize != nullptr) *requiredSize = recorded.moved;
    constexpr std::size_t pathAt = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
    if (recorded.result == 0 || detail == nullptr || size < pathAt + recorded.text.size + 1) return;
    char* const path = &detail->DevicePath[0];
    std::memcpy(path, recorded.text.data, recorded.text.size);
    path[recorded.text.size] = '\0';
  });
}

BOOL ReplayPlatform::destroyDeviceInfoList(HDEVINFO set) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::destroyDeviceInfoList(set);
  Line line = question(Call::endList, number);
  return answer(line);
}

BOOL ReplayPlatform::enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::enumDeviceInfo(set, index, data);
  Line line = question(Call::deviceInfo, number);
  line.a = index;
  return answer(line);
}

BOOL ReplayPlatform::getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type,
                                       BYTE* buffer, DWORD size, DWORD* requiredSize) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
  Line line = question(Call::property, number);
  line.a = property;
  line.size = size;
  return answer(line, [&](const Line& recorded) {
    if (requiredSize != nullptr) *requiredSize = recorded.moved;
    copy(recorded.out, buffer, buffer != nullptr ? size : 0);
  });
}

BOOL ReplayPlatform::setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                                           SP_CLASSINSTALL_HEADER* header, DWORD size) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::setClassInstallParams(set, data, header, size);
  Line line = question(Call::parameters, number);
  line.in = bytesOf(header, size);
  return answer(line);
}

BOOL ReplayPlatform::callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) {
  const std::uint32_t number = numberOf(firstSet, set);
  if (number == 0) return Platform::callClassInstaller(function, set, data);
  Line line = question(Call::install, number);
  line.a = function;
  return answer(line);
}

BOOL ReplayPlatform::getDeviceInstallParams(HDEVINFO, SP_DEVINFO_DATA*, SP_DEVINSTALL_PARAMS_A* parameters) {
  Line line = question(Call::installState);
  return answer(line, [&](const Line& recorded) {
    copy(recorded.out, parameters, parameters != nullptr ? sizeof *parameters : 0);
  });
}

CONFIGRET ReplayPlatform::connectMachine(const char*, HMACHINE* machine) {
  if (machine != nullptr) *machine = reinterpret_cast<HMACHINE>(firstSet);
  return configured(Call::connect);
}

CONFIGRET ReplayPlatform::locateDevNode(DEVINST* node, char*, ULONG, HMACHINE) {
  return configured(Call::locate, node);
}

CONFIGRET ReplayPlatform::reenumerateDevNode(DEVINST, ULONG, HMACHINE) { return configured(Call::rescan); }

CONFIGRET ReplayPlatform::disconnectMachine(HMACHINE) { return configured(Call::disconnect); }

CONFIGRET ReplayPlatform::configured(Call call, DEVINST* node) {
  Line line = question(call);
  CONFIGRET result = CR_FAILURE;
  answer(line, [&](const Line& recorded) {
    if (node != nullptr) *node = recorded.a;
    result = recorded.result;
  });
  return result;
}

}  // namespace sim::record
