#include "sim/attach/Redirection.h"

#include <array>
#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "sim/base/NativeLock.h"

namespace sim {

namespace {

// Windows' answer whether the process ends, so that no other thread runs any more.
bool processEnds() {
  using Function = BOOLEAN(WINAPI*)();
  static const auto function = reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "RtlDllShutdownInProgress")));
  return function != nullptr && function() != FALSE;
}

struct Slot {
  NativeLock lock;
  bool taken = false;
  std::shared_ptr<Platform> platform;
  std::atomic<Platform*> atExit = nullptr;
};

// Never destroyed: calls come until the process has ended.
std::array<Slot, ReplacementSet::most>& slots() {
  static auto* const made = new std::array<Slot, ReplacementSet::most>;
  return *made;
}

// The platform of a set, for one call.
class Answering {
 public:
  explicit Answering(std::size_t set) {
    Slot& slot = slots()[set];
    if (processEnds()) {
      platform_ = slot.atExit.load();
      return;
    }
    const std::lock_guard lock(slot.lock);
    kept_ = slot.platform;
    platform_ = kept_.get();
  }

  Platform* operator->() const { return platform_; }

 private:
  std::shared_ptr<Platform> kept_;
  Platform* platform_ = nullptr;
};

// No exception may cross into the module, which has a runtime of its own.
template <class Result, class Call>
Result guarded(Result failed, Call call) noexcept {
  try {
    return call();
  } catch (...) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return failed;
  }
}

// Functions with Windows' signatures. The return address would not identify the calling module:
// compilers turn a call at a function's end into a jump.
template <std::size_t set>
struct Replacement {
  static HANDLE WINAPI createFile(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                                  DWORD disposition, DWORD flags, HANDLE templateFile) {
    const Answering platform(set);
    return guarded(INVALID_HANDLE_VALUE, [&] {
      return platform->createFile(path, access, share, security, disposition, flags, templateFile);
    });
  }

  static BOOL WINAPI closeHandle(HANDLE handle) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->closeHandle(handle); });
  }

  static BOOL WINAPI deviceIoControl(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out,
                                     DWORD outLength, LPDWORD returned, LPOVERLAPPED overlapped) {
    const Answering platform(set);
    return guarded(FALSE, [&] {
      return platform->deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    });
  }

  static HDEVINFO WINAPI getClassDevs(const GUID* interfaceClass, PCSTR enumerator, HWND owner, DWORD flags) {
    const Answering platform(set);
    return guarded(static_cast<HDEVINFO>(INVALID_HANDLE_VALUE),
                   [&] { return platform->getClassDevs(interfaceClass, enumerator, owner, flags); });
  }

  static BOOL WINAPI enumDeviceInterfaces(HDEVINFO devices, PSP_DEVINFO_DATA device,
                                          const GUID* interfaceClass, DWORD index,
                                          PSP_DEVICE_INTERFACE_DATA data) {
    const Answering platform(set);
    return guarded(
        FALSE, [&] { return platform->enumDeviceInterfaces(devices, device, interfaceClass, index, data); });
  }

  static BOOL WINAPI getDeviceInterfaceDetail(HDEVINFO devices, PSP_DEVICE_INTERFACE_DATA data,
                                              PSP_DEVICE_INTERFACE_DETAIL_DATA_A detail, DWORD size,
                                              PDWORD requiredSize, PSP_DEVINFO_DATA device) {
    const Answering platform(set);
    return guarded(FALSE, [&] {
      return platform->getDeviceInterfaceDetail(devices, data, detail, size, requiredSize, device);
    });
  }

  static BOOL WINAPI destroyDeviceInfoList(HDEVINFO devices) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->destroyDeviceInfoList(devices); });
  }

  static BOOL WINAPI enumDeviceInfo(HDEVINFO devices, DWORD index, PSP_DEVINFO_DATA data) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->enumDeviceInfo(devices, index, data); });
  }

  static BOOL WINAPI getDeviceProperty(HDEVINFO devices, PSP_DEVINFO_DATA data, DWORD property, PDWORD type,
                                       PBYTE buffer, DWORD size, PDWORD requiredSize) {
    const Answering platform(set);
    return guarded(FALSE, [&] {
      return platform->getDeviceProperty(devices, data, property, type, buffer, size, requiredSize);
    });
  }

  static BOOL WINAPI setClassInstallParams(HDEVINFO devices, PSP_DEVINFO_DATA data,
                                           PSP_CLASSINSTALL_HEADER header, DWORD size) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->setClassInstallParams(devices, data, header, size); });
  }

  static BOOL WINAPI callClassInstaller(DI_FUNCTION function, HDEVINFO devices, PSP_DEVINFO_DATA data) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->callClassInstaller(function, devices, data); });
  }

  static BOOL WINAPI getDeviceInstallParams(HDEVINFO devices, PSP_DEVINFO_DATA data,
                                            PSP_DEVINSTALL_PARAMS_A parameters) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->getDeviceInstallParams(devices, data, parameters); });
  }

  static CONFIGRET WINAPI connectMachine(PCSTR name, PHMACHINE machine) {
    const Answering platform(set);
    return guarded(CONFIGRET{CR_OUT_OF_MEMORY}, [&] { return platform->connectMachine(name, machine); });
  }

  static CONFIGRET WINAPI locateDevNode(PDEVINST node, DEVINSTID_A identifier, ULONG flags,
                                        HMACHINE machine) {
    const Answering platform(set);
    return guarded(CONFIGRET{CR_OUT_OF_MEMORY},
                   [&] { return platform->locateDevNode(node, identifier, flags, machine); });
  }

  static CONFIGRET WINAPI reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) {
    const Answering platform(set);
    return guarded(CONFIGRET{CR_OUT_OF_MEMORY},
                   [&] { return platform->reenumerateDevNode(node, flags, machine); });
  }

  static CONFIGRET WINAPI disconnectMachine(HMACHINE machine) {
    const Answering platform(set);
    return guarded(CONFIGRET{CR_OUT_OF_MEMORY}, [&] { return platform->disconnectMachine(machine); });
  }

  static DWORD WINAPI waitForSingleObject(HANDLE object, DWORD milliseconds) {
    const Answering platform(set);
    return guarded(DWORD{WAIT_FAILED}, [&] { return platform->waitForSingleObject(object, milliseconds); });
  }

  static DWORD WINAPI waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all,
                                             DWORD milliseconds) {
    const Answering platform(set);
    return guarded(DWORD{WAIT_FAILED},
                   [&] { return platform->waitForMultipleObjects(count, objects, all, milliseconds); });
  }

  static BOOL WINAPI setEvent(HANDLE event) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->setEvent(event); });
  }

  static BOOL WINAPI releaseMutex(HANDLE mutex) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->releaseMutex(mutex); });
  }

  static HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL signalled, LPCSTR name) {
    const Answering platform(set);
    return guarded(HANDLE{nullptr}, [&] { return platform->createEvent(security, manual, signalled, name); });
  }

  static HGLOBAL WINAPI globalAlloc(UINT flags, SIZE_T bytes) {
    const Answering platform(set);
    return guarded(HGLOBAL{nullptr}, [&] { return platform->globalAlloc(flags, bytes); });
  }

  static HGLOBAL WINAPI globalFree(HGLOBAL memory) {
    const Answering platform(set);
    return guarded(memory, [&] { return platform->globalFree(memory); });
  }

  static void* __cdecl allocateMemory(std::size_t bytes) {
    const Answering platform(set);
    return guarded(static_cast<void*>(nullptr), [&] { return platform->allocateMemory(bytes); });
  }

  static void __cdecl freeMemory(void* block) {
    const Answering platform(set);
    guarded(0, [&] {
      platform->freeMemory(block);
      return 0;
    });
  }

  static std::uintptr_t __cdecl beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                            void* argument, unsigned flags, unsigned* identifier) {
    const Answering platform(set);
    return guarded(std::uintptr_t{0}, [&] {
      return platform->beginThread(security, stack, start, argument, flags, identifier);
    });
  }

  static void WINAPI sleep(DWORD milliseconds) {
    const Answering platform(set);
    guarded(0, [&] {
      platform->sleep(milliseconds);
      return 0;
    });
  }

  static BOOL WINAPI writeFile(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written,
                               LPOVERLAPPED overlapped) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->writeFile(file, bytes, count, written, overlapped); });
  }

  static UINT WINAPI getWindowsDirectory(LPSTR path, UINT size) {
    const Answering platform(set);
    return guarded(UINT{0}, [&] { return platform->getWindowsDirectory(path, size); });
  }

  static DWORD WINAPI getFileVersionInfoSize(LPCSTR path, LPDWORD unused) {
    const Answering platform(set);
    return guarded(DWORD{0}, [&] { return platform->getFileVersionInfoSize(path, unused); });
  }

  static BOOL WINAPI getFileVersionInfo(LPCSTR path, DWORD unused, DWORD size, LPVOID block) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->getFileVersionInfo(path, unused, size, block); });
  }

  static BOOL WINAPI verQueryValue(LPCVOID block, LPCSTR name, LPVOID* value, PUINT length) {
    const Answering platform(set);
    return guarded(FALSE, [&] { return platform->verQueryValue(block, name, value, length); });
  }
};

template <std::size_t set>
std::span<const Redirected> functionsOf() {
  static const Redirected table[] = {
#define KVEXA_SIM_ROW(windowsName, function) \
  {#windowsName, reinterpret_cast<void*>(&Replacement<set>::function), offsetof(Originals, function)},
      KVEXA_SIM_REDIRECTED(KVEXA_SIM_ROW)
#undef KVEXA_SIM_ROW
  };
  return table;
}

template <std::size_t... sets>
std::span<const Redirected> functionsOf(std::size_t set, std::index_sequence<sets...>) {
  std::span<const Redirected> found;
  ((set == sets ? void(found = functionsOf<sets>()) : void()), ...);
  return found;
}

}  // namespace

HANDLE Platform::createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                            DWORD disposition, DWORD flags, HANDLE templateFile) {
  return originals().createFile(path, access, share, security, disposition, flags, templateFile);
}

BOOL Platform::closeHandle(HANDLE handle) { return originals().closeHandle(handle); }

BOOL Platform::deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                               DWORD* returned, OVERLAPPED* overlapped) {
  return originals().deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
}

HDEVINFO Platform::getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner, DWORD flags) {
  return originals().getClassDevs(interfaceClass, enumerator, owner, flags);
}

BOOL Platform::enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass,
                                    DWORD index, SP_DEVICE_INTERFACE_DATA* data) {
  return originals().enumDeviceInterfaces(set, device, interfaceClass, index, data);
}

BOOL Platform::getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                        SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size,
                                        DWORD* requiredSize, SP_DEVINFO_DATA* device) {
  return originals().getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
}

BOOL Platform::destroyDeviceInfoList(HDEVINFO set) { return originals().destroyDeviceInfoList(set); }

void Platform::sleep(DWORD milliseconds) { originals().sleep(milliseconds); }

BOOL Platform::enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) {
  return originals().enumDeviceInfo(set, index, data);
}

BOOL Platform::getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type,
                                 BYTE* buffer, DWORD size, DWORD* requiredSize) {
  return originals().getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
}

BOOL Platform::setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                                     DWORD size) {
  return originals().setClassInstallParams(set, data, header, size);
}

BOOL Platform::callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) {
  return originals().callClassInstaller(function, set, data);
}

BOOL Platform::getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                                      SP_DEVINSTALL_PARAMS_A* parameters) {
  return originals().getDeviceInstallParams(set, data, parameters);
}

CONFIGRET Platform::connectMachine(const char* name, HMACHINE* machine) {
  return originals().connectMachine(name, machine);
}

CONFIGRET Platform::locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine) {
  return originals().locateDevNode(node, identifier, flags, machine);
}

CONFIGRET Platform::reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) {
  return originals().reenumerateDevNode(node, flags, machine);
}

CONFIGRET Platform::disconnectMachine(HMACHINE machine) { return originals().disconnectMachine(machine); }

BOOL Platform::writeFile(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                         OVERLAPPED* overlapped) {
  return originals().writeFile(file, bytes, count, written, overlapped);
}

UINT Platform::getWindowsDirectory(char* path, UINT size) {
  return originals().getWindowsDirectory(path, size);
}

DWORD Platform::getFileVersionInfoSize(const char* path, DWORD* unused) {
  return originals().getFileVersionInfoSize(path, unused);
}

BOOL Platform::getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block) {
  return originals().getFileVersionInfo(path, unused, size, block);
}

BOOL Platform::verQueryValue(const void* block, const char* name, void** value, UINT* length) {
  return originals().verQueryValue(block, name, value, length);
}

DWORD Platform::waitForSingleObject(HANDLE object, DWORD milliseconds) {
  return originals().waitForSingleObject(object, milliseconds);
}

DWORD Platform::waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) {
  return originals().waitForMultipleObjects(count, objects, all, milliseconds);
}

BOOL Platform::setEvent(HANDLE event) { return originals().setEvent(event); }

BOOL Platform::releaseMutex(HANDLE mutex) { return originals().releaseMutex(mutex); }

HANDLE Platform::createEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, const char* name) {
  return originals().createEvent(security, manual, set, name);
}

HGLOBAL Platform::globalAlloc(UINT flags, SIZE_T bytes) { return originals().globalAlloc(flags, bytes); }

HGLOBAL Platform::globalFree(HGLOBAL memory) { return originals().globalFree(memory); }

void* Platform::allocateMemory(std::size_t bytes) { return originals().allocateMemory(bytes); }

void Platform::freeMemory(void* block) { originals().freeMemory(block); }

std::uintptr_t Platform::beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                     void* argument, unsigned flags, unsigned* identifier) {
  return originals().beginThread(security, stack, start, argument, flags, identifier);
}

ReplacementSet::ReplacementSet(Platform& atExit) {
  for (number_ = 0; number_ < most; ++number_) {
    Slot& slot = slots()[number_];
    const std::lock_guard lock(slot.lock);
    if (std::exchange(slot.taken, true)) continue;
    slot.atExit = &atExit;
    return;
  }
  throw std::length_error("too many modules are attached to simulated boards");
}

ReplacementSet::~ReplacementSet() {
  use(nullptr);
  Slot& slot = slots()[number_];
  const std::lock_guard lock(slot.lock);
  slot.taken = false;
}

// NOLINTNEXTLINE(readability-make-member-function-const): the set answers otherwise afterwards
void ReplacementSet::use(std::shared_ptr<Platform> platform) {
  Slot& slot = slots()[number_];
  {
    const std::lock_guard lock(slot.lock);
    std::swap(slot.platform, platform);
  }
  // The old one ends here, with the lock given back, unless a call keeps it.
}

std::shared_ptr<Platform> ReplacementSet::platform() const {
  Slot& slot = slots()[number_];
  const std::lock_guard lock(slot.lock);
  return slot.platform;
}

std::span<const Redirected> ReplacementSet::functions() const {
  return functionsOf(number_, std::make_index_sequence<most>());
}

}  // namespace sim
