// The Windows functions as a loaded module calls them.
#pragma once

#include <windows.h>
// After windows.h.
#include <setupapi.h>

struct ClientCalls {
  decltype(&::CreateFileA) createFile;
  decltype(&::CloseHandle) closeHandle;
  decltype(&::DeviceIoControl) deviceIoControl;
  decltype(&::SetupDiGetClassDevsA) getClassDevs;
  decltype(&::SetupDiEnumDeviceInterfaces) enumDeviceInterfaces;
  decltype(&::SetupDiGetDeviceInterfaceDetailA) getDeviceInterfaceDetail;
  decltype(&::SetupDiDestroyDeviceInfoList) destroyDeviceInfoList;
  decltype(&::Sleep) sleep;
};

using ClientCallsFunction = const ClientCalls*();
