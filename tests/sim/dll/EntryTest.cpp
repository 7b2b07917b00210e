// A library that is told of before its imports have addresses, as some versions of Windows do: it is attached
// when its entry point is called.
#include "sim/attach/Platforms.h"
#include "sim/attach/ProgramAttachment.h"
#include "sim/dll/LoadWatch.h"
#include "sim/machine/Machine.h"
#include "sim/program/LibraryModule.h"
#include "tests/sim/dll/DllFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t usb = KVEXA_BOARD_USB;

// What kvexa_sim.dll is made of, in this program: Windows maps a library without resolving it, but does not
// tell of it then.
class AttachAtEntry : public ::testing::Test {
 protected:
  AttachAtEntry() {
    machine.addUsbBoard();
    machine.addUsbBoard();
    sim::ProgramAttachment::instance().use(sim::makeSimulatedPlatform(machine));
  }
  ~AttachAtEntry() override { sim::ProgramAttachment::instance().use(nullptr); }

  sim::Machine machine;
};

// What Windows does between the load of a library and the call of its entry point.
void resolveImports(HMODULE module) {
  auto* const base = reinterpret_cast<std::uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* image = reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + dos->e_lfanew);
  const auto& directory = image->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  auto* each = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + directory.VirtualAddress);
  for (; each->Name != 0; ++each) {
    const HMODULE library = LoadLibraryA(reinterpret_cast<const char*>(base + each->Name));
    auto* names = reinterpret_cast<const IMAGE_THUNK_DATA32*>(base + each->OriginalFirstThunk);
    auto* entries = reinterpret_cast<IMAGE_THUNK_DATA32*>(base + each->FirstThunk);
    for (; names->u1.AddressOfData != 0; ++names, ++entries) {
      const auto* byName = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      const auto* name = reinterpret_cast<const char*>(byName) + offsetof(IMAGE_IMPORT_BY_NAME, Name);
      const FARPROC address = GetProcAddress(library, name);
      ASSERT_NE(nullptr, address) << name;
      DWORD before = 0;
      ASSERT_TRUE(VirtualProtect(entries, sizeof *entries, PAGE_READWRITE, &before));
      entries->u1.Function = reinterpret_cast<DWORD>(address);
      VirtualProtect(entries, sizeof *entries, before, &before);
    }
  }
}

bool enter(HMODULE module, DWORD reason) {
  auto* const base = reinterpret_cast<std::uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* image = reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + dos->e_lfanew);
  using EntryPoint = BOOL(WINAPI*)(HINSTANCE, DWORD, void*);
  const auto entry =
      reinterpret_cast<EntryPoint>(reinterpret_cast<void*>(base + image->OptionalHeader.AddressOfEntryPoint));
  return entry(module, reason, nullptr) != FALSE;
}

// A library that is told of before its imports have addresses is attached when its entry point is called.
TEST_F(AttachAtEntry, LibraryWhoseImportsAreNotResolved) {
  const std::string path = programFolder() + "KVEXA_LIB.dll";
  const HMODULE module = LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  ASSERT_NE(nullptr, module);
  ASSERT_TRUE(sim::hasUnresolvedImports(module));
  sim::attachAtEntry(module);
  sim::attachAtEntry(module);  // told of twice
  resolveImports(module);
  ASSERT_TRUE(enter(module, DLL_PROCESS_ATTACH));
  {
    const LoadedLibrary library(path);
    EXPECT_EQ(module, library.module());
    EXPECT_EQ(2, library.count(usb));
  }
  EXPECT_TRUE(enter(module, DLL_PROCESS_DETACH));
  FreeLibrary(module);
}

// One that went before it was entered leaves nothing to the next one at its place.
TEST_F(AttachAtEntry, AfterOneThatWasNeverEntered) {
  const std::string path = programFolder() + "KVEXA_LIB.dll";
  const HMODULE first = LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  ASSERT_NE(nullptr, first);
  sim::attachAtEntry(first);
  FreeLibrary(first);
  ASSERT_EQ(nullptr, GetModuleHandleA("KVEXA_LIB.dll"));
  const HMODULE second = LoadLibraryExA(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
  ASSERT_EQ(first, second);
  sim::attachAtEntry(second);
  resolveImports(second);
  ASSERT_TRUE(enter(second, DLL_PROCESS_ATTACH));
  {
    const LoadedLibrary library(path);
    EXPECT_EQ(2, library.count(usb));
  }
  EXPECT_TRUE(enter(second, DLL_PROCESS_DETACH));
  FreeLibrary(second);
}

}  // namespace
}  // namespace kvexa::test
