#include "sim/dll/LoadWatch.h"

#include <winternl.h>

#include <array>
#include <cstring>
#include <map>
#include <mutex>

#include "sim/attach/ProgramAttachment.h"
#include "sim/base/NativeLock.h"
#include "sim/dll/Children.h"
#include "sim/program/LibraryModule.h"

namespace sim {

namespace {

// The loader's own interface; see Microsoft's page on LdrRegisterDllNotification.
struct LoadedData {
  ULONG flags;
  const UNICODE_STRING* fullName;
  const UNICODE_STRING* baseName;
  void* base;
  ULONG size;
};
using Notification = void(CALLBACK*)(ULONG reason, const LoadedData* data, void* context);
using Register = NTSTATUS(NTAPI*)(ULONG flags, Notification function, void* context, void** cookie);
constexpr ULONG reasonLoaded = 1;

// The beginning of the loader's record of a module.
struct LoaderEntry {
  LIST_ENTRY inLoadOrder;
  LIST_ENTRY inMemoryOrder;
  LIST_ENTRY inInitializationOrder;
  void* base;
};
using Enumerated = void(CALLBACK*)(const LoaderEntry* module, void* context, BOOLEAN* stop);
using Enumerate = NTSTATUS(NTAPI*)(BOOLEAN reserved, Enumerated function, void* context);

using EntryPoint = BOOL(WINAPI*)(HINSTANCE module, DWORD reason, void* reserved);
constexpr std::size_t jumpBytes = 5;
using Code = std::array<std::uint8_t, jumpBytes>;

template <class Function>
Function loaderFunction(const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), name)));
}

void exchangeCode(std::uint8_t* at, const Code& code) {
  DWORD before = 0;
  if (VirtualProtect(at, code.size(), PAGE_EXECUTE_READWRITE, &before) == FALSE) return;
  std::memcpy(at, code.data(), code.size());
  VirtualProtect(at, code.size(), before, &before);
  FlushInstructionCache(GetCurrentProcess(), at, code.size());
}

// The entry points that are led to us, with the code that they had.
struct Entries {
  NativeLock lock;
  std::map<HMODULE, Code> codes;
};

Entries& entries() {
  static auto* const made = new Entries;
  return *made;
}

// In place of a library's entry point, at its first call.
BOOL WINAPI enterAttached(HINSTANCE module, DWORD reason, void* reserved) noexcept {
  std::uint8_t* const at = entryPoint(module);
  {
    const std::lock_guard lock(entries().lock);
    exchangeCode(at, entries().codes.extract(module).mapped());
  }
  ProgramAttachment::instance().attach(module);
  return reinterpret_cast<EntryPoint>(reinterpret_cast<void*>(at))(module, reason, reserved);
}

// Inside the loader: nothing here calls it.
void meet(HMODULE module) noexcept {
  const DWORD error = GetLastError();
  try {
    watchChildrenOf(module);
    if (isLibrary(module)) {
      hasUnresolvedImports(module) ? attachAtEntry(module) : ProgramAttachment::instance().attach(module);
    }
  } catch (...) {  // no memory
  }
  SetLastError(error);
}

void CALLBACK noteLoad(ULONG reason, const LoadedData* data, void*) {
  if (reason == reasonLoaded) meet(static_cast<HMODULE>(data->base));
}

void CALLBACK noteLoaded(const LoaderEntry* module, void*, BOOLEAN* stop) {
  meet(static_cast<HMODULE>(module->base));
  *stop = FALSE;
}

}  // namespace

void attachAtEntry(HMODULE module) {
  std::uint8_t* const at = entryPoint(module);
  if (at == nullptr) return;
  constexpr std::uint8_t jump = 0xE9;
  const auto distance = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&enterAttached) -
                                                   reinterpret_cast<std::uintptr_t>(at) - jumpBytes);
  Code code{jump};
  std::memcpy(code.data() + 1, &distance, sizeof distance);
  const std::lock_guard lock(entries().lock);
  // One that went before it was entered may have left its code behind.
  if (std::memcmp(at, code.data(), code.size()) == 0) return;
  Code& before = entries().codes[module];
  std::memcpy(before.data(), at, before.size());
  exchangeCode(at, code);
}

void watchLoads() {
  static std::once_flag once;
  std::call_once(once, [] {
    ProgramAttachment::instance();  // made here, outside of the loader's calls
    entries();
    void* cookie = nullptr;
    if (const auto registerNotification = loaderFunction<Register>("LdrRegisterDllNotification")) {
      registerNotification(0, noteLoad, nullptr, &cookie);
    }
    if (const auto enumerate = loaderFunction<Enumerate>("LdrEnumerateLoadedModules")) {
      enumerate(0, noteLoaded, nullptr);
    }
  });
}

}  // namespace sim
