// A computer with simulated boards: what is not theirs passes on to Windows.
#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "sim/attach/Platforms.h"
#include "sim/machine/Machine.h"

namespace sim {

namespace {

BOOL result(std::uint32_t error) {
  SetLastError(error);
  return error == 0 ? TRUE : FALSE;
}

class SimulatedPlatform : public Platform {
 public:
  explicit SimulatedPlatform(std::shared_ptr<Machine> machine)
      : kept_(std::move(machine)), machine_(*kept_) {}

  HANDLE createFile(const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                    DWORD disposition, DWORD flags, HANDLE templateFile) override {
    if (!DeviceTree::ownsPath(path)) {
      return originals().createFile(path, access, share, security, disposition, flags, templateFile);
    }
    HANDLE file = INVALID_HANDLE_VALUE;
    SetLastError(machine_.devices().openFile(
        {path, access, share, security != nullptr, disposition, flags, templateFile != nullptr}, file));
    return file;
  }

  BOOL closeHandle(HANDLE handle) override {
    if (!DeviceTree::ownsFile(handle)) {
      machine_.resources().noteReturned(Resources::Kind::event, handle);
      return originals().closeHandle(handle);
    }
    return result(machine_.devices().closeFile(handle));
  }

  BOOL deviceIoControl(HANDLE file, DWORD code, void* in, DWORD inLength, void* out, DWORD outLength,
                       DWORD* returned, OVERLAPPED* overlapped) override {
    if (!DeviceTree::ownsFile(file)) {
      return originals().deviceIoControl(file, code, in, inLength, out, outLength, returned, overlapped);
    }
    Driver* driver = machine_.devices().driver(file);
    if (driver == nullptr) return result(ERROR_INVALID_HANDLE);
    if (returned == nullptr && overlapped == nullptr) return result(ERROR_INVALID_PARAMETER);
    // The module waits for an event that it has made itself before it does anything else.
    const bool isOwn =
        overlapped != nullptr && machine_.resources().isOpen(Resources::Kind::event, overlapped->hEvent);
    if (isOwn) machine_.timeline().expectWait();
    const Answer answer = driver->control({code, in, inLength, out, outLength, overlapped});
    if (isOwn && answer.error != ERROR_IO_PENDING) machine_.timeline().expectNoWait();
    if (returned != nullptr) *returned = answer.bytes;
    // A thread that asks again and again without any real waiting must not keep the others out.
    if (answer.error != 0) SwitchToThread();
    return result(answer.error);
  }

  BOOL writeFile(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                 OVERLAPPED* overlapped) override {
    machine_.resources().noteWrite(count);
    return originals().writeFile(file, bytes, count, written, overlapped);
  }

  UINT getWindowsDirectory(char* path, UINT size) override {
    const std::string& directory = machine_.systemFiles().windowsDirectory();
    const auto needed = static_cast<UINT>(directory.size() + 1);
    if (size < needed) return needed;
    std::memcpy(path, directory.c_str(), needed);
    return needed - 1;
  }

  DWORD getFileVersionInfoSize(const char* path, DWORD* unused) override {
    const auto block = machine_.systemFiles().versionBlock(path);
    if (!block) return originals().getFileVersionInfoSize(path, unused);
    if (unused != nullptr) *unused = 0;
    SetLastError(block->empty() ? ERROR_RESOURCE_TYPE_NOT_FOUND : 0);
    return static_cast<DWORD>(block->size());
  }

  BOOL getFileVersionInfo(const char* path, DWORD unused, DWORD size, void* block) override {
    const auto whole = machine_.systemFiles().versionBlock(path);
    if (!whole) return originals().getFileVersionInfo(path, unused, size, block);
    if (whole->empty()) return result(ERROR_RESOURCE_TYPE_NOT_FOUND);
    std::memcpy(block, whole->data(), std::min<std::size_t>(size, whole->size()));
    return result(0);
  }

  BOOL verQueryValue(const void* block, const char* name, void** value, UINT* length) override {
    if (!SystemFiles::isBlock(block)) return originals().verQueryValue(block, name, value, length);
    std::uint32_t bytes = 0;
    const void* found = SystemFiles::query(block, name, bytes);
    if (found == nullptr) return result(ERROR_RESOURCE_TYPE_NOT_FOUND);
    *value = const_cast<void*>(found);  // NOLINT(cppcoreguidelines-pro-type-const-cast): Windows' signature
    *length = bytes;
    return result(0);
  }

  HDEVINFO getClassDevs(const GUID* interfaceClass, const char* enumerator, HWND owner,
                        DWORD flags) override {
    if (interfaceClass == nullptr && enumerator != nullptr && std::strcmp(enumerator, "PCI") == 0) {
      return listPci();
    }
    const BoardClass* boardClass = findBoardClass(interfaceClass);
    if (boardClass == nullptr) {
      return originals().getClassDevs(interfaceClass, enumerator, owner, flags);
    }
    // Without the flag the identifier would mean a set-up class, of which there are no devices.
    const bool byInterface = (flags & DIGCF_DEVICEINTERFACE) != 0 && enumerator == nullptr;
    HDEVINFO set = INVALID_HANDLE_VALUE;
    SetLastError(machine_.devices().makeSet(*boardClass, byInterface, set));
    return set;
  }

  BOOL enumDeviceInterfaces(HDEVINFO set, SP_DEVINFO_DATA* device, const GUID* interfaceClass, DWORD index,
                            SP_DEVICE_INTERFACE_DATA* data) override {
    if (!DeviceTree::ownsSet(set)) {
      return originals().enumDeviceInterfaces(set, device, interfaceClass, index, data);
    }
    return result(machine_.devices().enumerate(set, interfaceClass, index, data));
  }

  BOOL getDeviceInterfaceDetail(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* data,
                                SP_DEVICE_INTERFACE_DETAIL_DATA_A* detail, DWORD size, DWORD* requiredSize,
                                SP_DEVINFO_DATA* device) override {
    if (!DeviceTree::ownsSet(set)) {
      return originals().getDeviceInterfaceDetail(set, data, detail, size, requiredSize, device);
    }
    return result(machine_.devices().detail(set, data, detail, size, requiredSize));
  }

  BOOL destroyDeviceInfoList(HDEVINFO set) override {
    if (PciBus::ownsSet(set)) return result(machine_.pciBus().destroySet(set));
    if (!DeviceTree::ownsSet(set)) return originals().destroyDeviceInfoList(set);
    return result(machine_.devices().destroySet(set));
  }

  void sleep(DWORD milliseconds) override {
    machine_.trace().add("sleep " + std::to_string(milliseconds));
    machine_.timeline().sleep(milliseconds);
  }

  BOOL enumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* data) override {
    if (!PciBus::ownsSet(set)) return Platform::enumDeviceInfo(set, index, data);
    return result(machine_.pciBus().enumerate(set, index, data));
  }

  BOOL getDeviceProperty(HDEVINFO set, SP_DEVINFO_DATA* data, DWORD property, DWORD* type, BYTE* buffer,
                         DWORD size, DWORD* requiredSize) override {
    if (!PciBus::ownsSet(set)) {
      return Platform::getDeviceProperty(set, data, property, type, buffer, size, requiredSize);
    }
    return result(machine_.pciBus().property(set, data, property, type, buffer, size, requiredSize));
  }

  BOOL setClassInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data, SP_CLASSINSTALL_HEADER* header,
                             DWORD size) override {
    if (!PciBus::ownsSet(set)) return Platform::setClassInstallParams(set, data, header, size);
    return result(machine_.pciBus().setParameters(set, data, header, size));
  }

  BOOL callClassInstaller(DI_FUNCTION function, HDEVINFO set, SP_DEVINFO_DATA* data) override {
    if (!PciBus::ownsSet(set)) return Platform::callClassInstaller(function, set, data);
    return result(machine_.pciBus().callInstaller(function, set, data));
  }

  BOOL getDeviceInstallParams(HDEVINFO set, SP_DEVINFO_DATA* data,
                              SP_DEVINSTALL_PARAMS_A* parameters) override {
    if (!PciBus::ownsSet(set)) return Platform::getDeviceInstallParams(set, data, parameters);
    return result(machine_.pciBus().installParameters(set, data, parameters));
  }

  CONFIGRET connectMachine(const char* name, HMACHINE* machine) override {
    return machine_.pciBus().connect(name, machine);
  }

  CONFIGRET locateDevNode(DEVINST* node, char* identifier, ULONG flags, HMACHINE machine) override {
    return machine_.pciBus().locate(node, identifier, flags, machine);
  }

  CONFIGRET reenumerateDevNode(DEVINST node, ULONG flags, HMACHINE machine) override {
    return machine_.pciBus().rescan(node, flags, machine);
  }

  CONFIGRET disconnectMachine(HMACHINE machine) override { return machine_.pciBus().disconnect(machine); }

  DWORD waitForSingleObject(HANDLE object, DWORD milliseconds) override {
    if (!waitsInSimulatedTime(std::span(&object, 1))) {
      return Platform::waitForSingleObject(object, milliseconds);
    }
    return machine_.timeline().wait(std::span(&object, 1), milliseconds, signalsOf(std::span(&object, 1)));
  }

  DWORD waitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL all, DWORD milliseconds) override {
    // Nobody waits for all.
    if (all != FALSE || !waitsInSimulatedTime(std::span(objects, count))) {
      return Platform::waitForMultipleObjects(count, objects, all, milliseconds);
    }
    return machine_.timeline().wait(std::span(objects, count), milliseconds,
                                    signalsOf(std::span(objects, count)));
  }

  BOOL setEvent(HANDLE event) override {
    return machine_.timeline().signal(event, [&] { return Platform::setEvent(event); });
  }

  BOOL releaseMutex(HANDLE mutex) override {
    return machine_.timeline().signal(mutex, [&] { return Platform::releaseMutex(mutex); });
  }

  HANDLE createEvent(SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, const char* name) override {
    if (refuses(Resources::Kind::event)) return nullptr;
    const HANDLE event = Platform::createEvent(security, manual, set, name);
    if (event != nullptr) machine_.resources().noteTaken(Resources::Kind::event, event);
    return event;
  }

  HGLOBAL globalAlloc(UINT flags, SIZE_T bytes) override {
    if (refuses(Resources::Kind::globalMemory)) return nullptr;
    const HGLOBAL memory = Platform::globalAlloc(flags, bytes);
    if (memory != nullptr) machine_.resources().noteTaken(Resources::Kind::globalMemory, memory);
    return memory;
  }

  HGLOBAL globalFree(HGLOBAL memory) override {
    if (machine_.loans().any()) machine_.loans().noteFree(memory, GlobalSize(memory));
    machine_.resources().noteReturned(Resources::Kind::globalMemory, memory);
    return Platform::globalFree(memory);
  }

  void* allocateMemory(std::size_t bytes) override {
    if (!machine_.resources().allowsBlock(bytes)) return nullptr;
    GuardedBlocks& guarded = machine_.resources().guardedBlocks();
    return guarded.wants(bytes) ? guarded.allocate(bytes) : Platform::allocateMemory(bytes);
  }

  void freeMemory(void* block) override {
    GuardedBlocks& guarded = machine_.resources().guardedBlocks();
    const std::size_t guardedBytes = guarded.sizeOf(block);
    if (block != nullptr && machine_.loans().any()) {
      machine_.loans().noteFree(block, guardedBytes != 0 ? guardedBytes : _msize(block));
    }
    guardedBytes != 0 ? guarded.free(block) : Platform::freeMemory(block);
  }

  std::uintptr_t beginThread(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                             void* argument, unsigned flags, unsigned* identifier) override {
    if (!machine_.resources().allows(Resources::Kind::thread)) {
      errno = EAGAIN;
      return 0;
    }
    unsigned number = 0;
    const std::uintptr_t thread =
        Platform::beginThread(security, stack, start, argument, flags | CREATE_SUSPENDED, &number);
    if (thread == 0) return 0;
    if (identifier != nullptr) *identifier = number;
    const auto handle = reinterpret_cast<HANDLE>(thread);
    machine_.timeline().adopt(handle, number, false);
    if ((flags & CREATE_SUSPENDED) == 0) ResumeThread(handle);
    return thread;
  }

 private:
  bool refuses(Resources::Kind kind) {
    if (machine_.resources().allows(kind)) return false;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return true;
  }

  // Threads that take part wait there always, others for the end of a request.
  bool waitsInSimulatedTime(std::span<const HANDLE> objects) {
    return machine_.timeline().takesPart() ||
           std::ranges::any_of(objects, [this](HANDLE each) { return machine_.loans().holdsEvent(each); });
  }

  // Nobody but the module and the drivers signals an event that the module has made.
  Timeline::Signals signalsOf(std::span<const HANDLE> objects) {
    const bool own = std::ranges::all_of(
        objects, [this](HANDLE each) { return machine_.resources().isOpen(Resources::Kind::event, each); });
    return own ? Timeline::Signals::seen : Timeline::Signals::anybodys;
  }

  HDEVINFO listPci() {
    HDEVINFO set = INVALID_HANDLE_VALUE;
    const DWORD before = GetLastError();
    SetLastError(machine_.pciBus().makeSet(set).value_or(before));
    return set;
  }

  const std::shared_ptr<Machine> kept_;
  Machine& machine_;
};

}  // namespace

std::shared_ptr<Platform> makeSimulatedPlatform(Machine& machine) {
  return makeSimulatedPlatform(std::shared_ptr<Machine>(std::shared_ptr<Machine>(), &machine));
}

std::shared_ptr<Platform> makeSimulatedPlatform(std::shared_ptr<Machine> machine) {
  return std::make_shared<SimulatedPlatform>(std::move(machine));
}

}  // namespace sim
