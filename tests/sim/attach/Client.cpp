#include "tests/sim/attach/Client.h"
// After windows.h.
#include <process.h>

#include <cstdlib>

namespace {

HANDLE WINAPI createFile(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD flags, HANDLE templateFile) {
  return CreateFileA(path, access, share, security, disposition, flags, templateFile);
}

BOOL WINAPI closeHandle(HANDLE handle) { return CloseHandle(handle); }

BOOL WINAPI deviceIoControl(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out, DWORD outLength,
                            LPDWORD returned, LPOVERLAPPED overlapped) {
  return DeviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
}

HDEVINFO WINAPI getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND owner, DWORD flags) {
  return SetupDiGetClassDevsA(interfaceClass, enumerator, owner, flags);
}

BOOL WINAPI enumDeviceInterfaces(HDEVINFO set, PSP_DEVINFO_DATA device, const GUID* interfaceClass,
                                 DWORD index, PSP_DEVICE_INTERFACE_DATA data) {
  return SetupDiEnumDeviceInterfaces(set, device, interfaceClass, index, data);
}

BOOL WINAPI getDeviceInterfaceDetail(HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
                                     PSP_DEVICE_INTERFACE_DETAIL_DATA_A detail, DWORD size,
                                     PDWORD requiredSize, PSP_DEVINFO_DATA device) {
  return SetupDiGetDeviceInterfaceDetailA(set, data, detail, size, requiredSize, device);
}

BOOL WINAPI destroyDeviceInfoList(HDEVINFO set) { return SetupDiDestroyDeviceInfoList(set); }

void WINAPI sleep(DWORD milliseconds) { Sleep(milliseconds); }

BOOL WINAPI enumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA data) {
  return SetupDiEnumDeviceInfo(set, index, data);
}

BOOL WINAPI getDeviceProperty(HDEVINFO set, PSP_DEVINFO_DATA data, DWORD property, PDWORD type, PBYTE buffer,
                              DWORD size, PDWORD requiredSize) {
  return SetupDiGetDeviceRegistryPropertyA(set, data, property, type, buffer, size, requiredSize);
}

BOOL WINAPI setClassInstallParams(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_CLASSINSTALL_HEADER header,
                                  DWORD size) {
  return SetupDiSetClassInstallParamsA(set, data, header, size);
}

BOOL WINAPI callClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA data) {
  return SetupDiCallClassInstaller(function, set, data);
}

BOOL WINAPI getDeviceInstallParams(HDEVINFO set, PSP_DEVINFO_DATA data, PSP_DEVINSTALL_PARAMS_A parameters) {
  return SetupDiGetDeviceInstallParamsA(set, data, parameters);
}

CONFIGRET WINAPI connectMachine(PCSTR name, PHMACHINE machine) { return CM_Connect_MachineA(name, machine); }

CONFIGRET WINAPI locateDevNode(PDEVINST node, DEVINSTID_A identifier, ULONG flags, HMACHINE machine) {
  return CM_Locate_DevNode_ExA(node, identifier, flags, machine);
}

CONFIGRET WINAPI reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) {
  return CM_Reenumerate_DevNode_Ex(node, flags, machine);
}

CONFIGRET WINAPI disconnectMachine(HMACHINE machine) { return CM_Disconnect_Machine(machine); }

DWORD WINAPI waitForSingleObject(HANDLE object, DWORD milliseconds) {
  return WaitForSingleObject(object, milliseconds);
}

HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL set, LPCSTR name) {
  return CreateEventA(security, manual, set, name);
}

HGLOBAL WINAPI globalAlloc(UINT flags, SIZE_T bytes) { return GlobalAlloc(flags, bytes); }

HGLOBAL WINAPI globalFree(HGLOBAL memory) { return GlobalFree(memory); }

void* allocate(std::size_t bytes) { return std::malloc(bytes); }

void release(void* block) { std::free(block); }

unsigned __stdcall doNothing(void*) { return 0; }

std::uintptr_t beginThread() {
  const std::uintptr_t thread = _beginthreadex(nullptr, 0, doNothing, nullptr, 0, nullptr);
  if (thread == 0) return 0;
  WaitForSingleObject(reinterpret_cast<HANDLE>(thread), INFINITE);
  CloseHandle(reinterpret_cast<HANDLE>(thread));
  return thread;
}

const ClientCalls calls = {createFile,
                           closeHandle,
                           deviceIoControl,
                           getClassDevs,
                           enumDeviceInterfaces,
                           getDeviceInterfaceDetail,
                           destroyDeviceInfoList,
                           sleep,
                           enumDeviceInfo,
                           getDeviceProperty,
                           setClassInstallParams,
                           callClassInstaller,
                           getDeviceInstallParams,
                           connectMachine,
                           locateDevNode,
                           reenumerateDevNode,
                           disconnectMachine,
                           waitForSingleObject,
                           createEvent,
                           globalAlloc,
                           globalFree,
                           allocate,
                           release,
                           beginThread};

}  // namespace

extern "C" __declspec(dllexport) const ClientCalls* clientCalls() { return &calls; }
