// The Windows functions that an attached module is led away from, and who answers instead.
#pragma once

#include <windows.h>
// After windows.h.
#include <cfgmgr32.h>
#include <process.h>
#include <setupapi.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace sim {

// Every redirected function: its name in Windows, and ours. A new one needs a line here, a member of
// Platform, and a function in Redirection.cpp.
#define KVEXA_SIM_REDIRECTED(X)                                 \
  X(CreateFileA, createFile)                                    \
  X(CloseHandle, closeHandle)                                   \
  X(DeviceIoControl, deviceIoControl)                           \
  X(SetupDiGetClassDevsA, getClassDevs)                         \
  X(SetupDiEnumDeviceInterfaces, enumDeviceInterfaces)          \
  X(SetupDiGetDeviceInterfaceDetailA, getDeviceInterfaceDetail) \
  X(SetupDiDestroyDeviceInfoList, destroyDeviceInfoList)        \
  X(SetupDiEnumDeviceInfo, enumDeviceInfo)                      \
  X(SetupDiGetDeviceRegistryPropertyA, getDeviceProperty)       \
  X(SetupDiSetClassInstallParamsA, setClassInstallParams)       \
  X(SetupDiCallClassInstaller, callClassInstaller)              \
  X(SetupDiGetDeviceInstallParamsA, getDeviceInstallParams)     \
  X(CM_Connect_MachineA, connectMachine)                        \
  X(CM_Locate_DevNode_ExA, locateDevNode)                       \
  X(CM_Reenumerate_DevNode_Ex, reenumerateDevNode)              \
  X(CM_Disconnect_Machine, disconnectMachine)                   \
  X(WaitForSingleObject, waitForSingleObject)                   \
  X(WaitForMultipleObjects, waitForMultipleObjects)             \
  X(SetEvent, setEvent)                                         \
  X(ReleaseMutex, releaseMutex)                                 \
  X(CreateEventA, createEvent)                                  \
  X(GlobalAlloc, globalAlloc)                                   \
  X(GlobalFree, globalFree)                                     \
  X(malloc, allocateMemory)                                     \
  X(free, freeMemory)                                           \
  X(_beginthreadex, beginThread)                                \
  X(Sleep, sleep)                                               \
  X(WriteFile, writeFile)                                       \
  X(GetWindowsDirectoryA, getWindowsDirectory)                  \
  X(GetFileVersionInfoSizeA, getFileVersionInfoSize)            \
  X(GetFileVersionInfoA, getFileVersionInfo)                    \
  X(VerQueryValueA, verQueryValue)

// The functions as the module had them.
struct Originals {
  // NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names to declare.
#define KVEXA_SIM_ORIGINAL(windowsName, function) decltype(&::windowsName) function = &::windowsName;
  KVEXA_SIM_REDIRECTED(KVEXA_SIM_ORIGINAL)
#undef KVEXA_SIM_ORIGINAL
  // NOLINTEND(bugprone-macro-parentheses)
};

// Answers redirected calls. The functions have Windows' arguments, results and last errors. What a platform
// does not override passes on to Windows, and this one passes on everything.
class Platform {
 public:
  virtual ~Platform() = default;

  virtual HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                            DWORD disposition, DWORD flags, HANDLE templateFile);
  virtual BOOL closeHandle(HANDLE handle);
  virtual BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                               DWORD* returned, OVERLAPPED* overlapped);
  virtual HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner, DWORD flags);
  virtual BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                    DWORD index, SP_DEVICE_INTERFACE_DATA* data);
  virtual BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                        SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size,
                                        DWORD* requiredSize, SP_DEVINFO_DATA* device);
  virtual BOOL destroyDeviceInfoList(HDEVINFO set);
  virtual void sleep(DWORD milliseconds);

  virtual BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data);
  virtual BOOL getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type,
                                 BYTE* buffer, DWORD size, DWORD* requiredSize);
  virtual BOOL setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                                     DWORD size);
  virtual BOOL callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data);
  virtual BOOL getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                                      SP_DEVINSTALL_PARAMS_A* parameters);
  virtual CONFIGRET connectMachine(const char* name, HMACHINE* machine);
  virtual CONFIGRET locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine);
  virtual CONFIGRET reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine);
  virtual CONFIGRET disconnectMachine(HMACHINE machine);
  virtual BOOL writeFile(HANDLE file, const void* bytes, DWORD count, DWORD* written, OVERLAPPED* overlapped);
  virtual UINT getWindowsDirectory(char* path, UINT size);
  virtual DWORD getFileVersionInfoSize(const char* path, DWORD* unused);
  virtual BOOL getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block);
  virtual BOOL verQueryValue(const void* block, const char* name, void** value, UINT* length);
  virtual DWORD waitForSingleObject(HANDLE object, DWORD milliseconds);
  virtual DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds);
  virtual BOOL setEvent(HANDLE event);
  virtual BOOL releaseMutex(HANDLE mutex);
  virtual HANDLE createEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, const char* name);
  virtual HGLOBAL globalAlloc(UINT flags, SIZE_T bytes);
  virtual HGLOBAL globalFree(HGLOBAL memory);
  virtual void* allocateMemory(std::size_t bytes);
  virtual void freeMemory(void* block);
  virtual std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                     void* argument, unsigned flags, unsigned* identifier);

  Originals& originals() { return originals_; }

 private:
  Originals originals_;
};

struct Redirected {
  const char* name;
  void* replacement;
  std::size_t original;  // offset in Originals
};

// A set of replacement functions that ask one platform at a time. There are a few of them, so that modules
// can be attached to different machines; the set through which a call comes identifies the caller.
class ReplacementSet {
 public:
  static constexpr std::size_t most = 8;

  // Takes a free set; throws std::length_error when there is none. Calls that come when the process ends,
  // where other threads have been stopped with locks in their hands, go to `atExit`, which lives as long as
  // the set.
  explicit ReplacementSet(Platform& atExit);
  ~ReplacementSet();
  ReplacementSet(const ReplacementSet&) = delete;
  ReplacementSet& operator=(const ReplacementSet&) = delete;

  // Who answers from now on. A call that is under way ends where it began, and keeps its platform until then.
  void use(std::shared_ptr<Platform> platform);

  std::shared_ptr<Platform> platform() const;

  std::span<const Redirected> functions() const;

 private:
  std::size_t number_ = 0;
};

}  // namespace sim
