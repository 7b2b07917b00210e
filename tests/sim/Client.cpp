#include "Client.h"

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

const ClientCalls calls = {createFile,
                           closeHandle,
                           deviceIoControl,
                           getClassDevs,
                           enumDeviceInterfaces,
                           getDeviceInterfaceDetail,
                           destroyDeviceInfoList,
                           sleep};

}  // namespace

extern "C" __declspec(dllexport) const ClientCalls* clientCalls() { return &calls; }
