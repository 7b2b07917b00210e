// The Windows functions as a loaded module calls them.
#pragma once

#include <windows.h>
// After windows.h.
#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstddef>
#include <cstdint>

struct ClientCalls {
  decltype(&::CreateFileA) createFile;
  decltype(&::CloseHandle) closeHandle;
  decltype(&::DeviceIoControl) deviceIoControl;
  decltype(&::SetupDiGetClassDevsA) getClassDevs;
  decltype(&::SetupDiEnumDeviceInterfaces) enumDeviceInterfaces;
  decltype(&::SetupDiGetDeviceInterfaceDetailA) getDeviceInterfaceDetail;
  decltype(&::SetupDiDestroyDeviceInfoList) destroyDeviceInfoList;
  decltype(&::Sleep) sleep;

  decltype(&::SetupDiEnumDeviceInfo) enumDeviceInfo;
  decltype(&::SetupDiGetDeviceRegistryPropertyA) getDeviceProperty;
  decltype(&::SetupDiSetClassInstallParamsA) setClassInstallParams;
  decltype(&::SetupDiCallClassInstaller) callClassInstaller;
  decltype(&::SetupDiGetDeviceInstallParamsA) getDeviceInstallParams;
  decltype(&::CM_Connect_MachineA) connectMachine;
  decltype(&::CM_Locate_DevNode_ExA) locateDevNode;
  decltype(&::CM_Reenumerate_DevNode_Ex) reenumerateDevNode;
  decltype(&::CM_Disconnect_Machine) disconnectMachine;

  decltype(&::WaitForSingleObject) waitForSingleObject;
  decltype(&::CreateEventA) createEvent;
  decltype(&::GlobalAlloc) globalAlloc;
  decltype(&::GlobalFree) globalFree;
  void* (*allocate)(std::size_t bytes);
  void (*release)(void* block);

  // Starts a thread that does nothing and waits for its end; 0 when there is none.
  std::uintptr_t (*beginThread)();
};

using ClientCallsFunction = const ClientCalls*();
