// Opens boards and sends requests as a program does, through a module's calls.
#pragma once

#include "tests/sim/attach/Client.h"
// After windows.h.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "sim/machine/Machine.h"

constexpr GUID usbClass = {0xB0AB5DB8, 0x9B4F, 0x4262, {0xA6, 0xF1, 0x0D, 0x7A, 0xCA, 0x3C, 0xD6, 0x30}};
constexpr GUID pcieClass = {0x48C8F86D, 0xD55D, 0x46CD, {0xB3, 0xC3, 0x77, 0x2D, 0xDE, 0x19, 0x1D, 0x11}};
constexpr DWORD presentInterfaces = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;

class Host {
 public:
  explicit Host(const ClientCalls& calls) : calls_(calls) {}

  HDEVINFO list(const GUID& boardClass) {
    return calls_.getClassDevs(&boardClass, nullptr, nullptr, presentInterfaces);
  }

  unsigned count(const GUID& boardClass) {
    const HDEVINFO set = list(boardClass);
    SP_DEVICE_INTERFACE_DATA data{};
    data.cbSize = sizeof data;
    unsigned found = 0;
    while (calls_.enumDeviceInterfaces(set, nullptr, &boardClass, found, &data)) ++found;
    lastError = GetLastError();
    calls_.destroyDeviceInfoList(set);
    return found;
  }

  // The device path at an index; empty when there is none.
  std::string path(const GUID& boardClass, DWORD index) {
    const HDEVINFO set = list(boardClass);
    std::string found;
    SP_DEVICE_INTERFACE_DATA data{};
    data.cbSize = sizeof data;
    if (calls_.enumDeviceInterfaces(set, nullptr, &boardClass, index, &data)) {
      DWORD size = 0;
      calls_.getDeviceInterfaceDetail(set, &data, nullptr, 0, &size, nullptr);
      // A failed size query leaves 0; the buffer then is too small, which the next call tells.
      std::vector<char> buffer(std::max<std::size_t>(size, sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A)));
      auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A*>(buffer.data());
      detail->cbSize = 5;
      if (calls_.getDeviceInterfaceDetail(set, &data, detail, size, nullptr, nullptr)) {
        found = buffer.data() + offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath);
      }
    }
    calls_.destroyDeviceInfoList(set);
    return found;
  }

  HANDLE open(const std::string& devicePath) {
    const HANDLE file = calls_.createFile(devicePath.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    lastError = GetLastError();
    return file;
  }

  bool close(HANDLE file) {
    const BOOL closed = calls_.closeHandle(file);
    lastError = GetLastError();
    return closed != FALSE;
  }

  // A pipe request; `word` is the status word that the driver clears.
  bool transfer(HANDLE file, DWORD pipe, DWORD timeout, std::vector<std::uint8_t>& data) {
    word = pipe;
    DWORD record[3] = {pipe, timeout, static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(&word))};
    return control(file, 0x0022204E, record, sizeof record, data);
  }

  bool control(HANDLE file, DWORD code, void* record, DWORD recordLength, std::vector<std::uint8_t>& data) {
    const BOOL accepted = calls_.deviceIoControl(file, code, record, recordLength, data.data(),
                                                 static_cast<DWORD>(data.size()), &moved, nullptr);
    lastError = GetLastError();
    return accepted != FALSE;
  }

  DWORD word = 0;
  DWORD moved = 0;
  DWORD lastError = 0;

 private:
  const ClientCalls& calls_;
};
