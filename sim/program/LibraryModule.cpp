#include "sim/program/LibraryModule.h"

#include <cstring>

#include "sim/attach/ImportTable.h"

namespace sim {

namespace {

constexpr char libraryExport[] = "_kVexaDevOpen@12";

std::uint8_t* base(HMODULE module) { return reinterpret_cast<std::uint8_t*>(module); }

const IMAGE_NT_HEADERS32* headers(HMODULE module) {
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
  if (dos->e_magic != IMAGE_DOS_SIGNATURE) return nullptr;
  const auto* found = reinterpret_cast<const IMAGE_NT_HEADERS32*>(base(module) + dos->e_lfanew);
  const bool isKnown =
      found->Signature == IMAGE_NT_SIGNATURE && found->OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR32_MAGIC;
  return isKnown ? found : nullptr;
}

}  // namespace

bool isLibrary(HMODULE module) {
  const auto* const image = headers(module);
  if (image == nullptr) return false;
  const IMAGE_DATA_DIRECTORY& directory = image->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
  const DWORD size = image->OptionalHeader.SizeOfImage;
  if (directory.VirtualAddress == 0 || directory.VirtualAddress >= size) return false;
  const auto* exports =
      reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base(module) + directory.VirtualAddress);
  const auto* names = reinterpret_cast<const DWORD*>(base(module) + exports->AddressOfNames);
  for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
    if (names[i] + sizeof libraryExport > size) continue;
    if (std::strcmp(reinterpret_cast<const char*>(base(module) + names[i]), libraryExport) == 0) return true;
  }
  return false;
}

// Before that every entry holds the offset of a name in the module's own file.
bool hasUnresolvedImports(HMODULE module) {
  const auto* const image = headers(module);
  if (image == nullptr) return false;
  for (void** entry : findImports(module, "DeviceIoControl")) {
    if (reinterpret_cast<std::uintptr_t>(*entry) < image->OptionalHeader.SizeOfImage) return true;
  }
  return false;
}

std::uint8_t* entryPoint(HMODULE module) {
  const auto* const image = headers(module);
  if (image == nullptr || image->OptionalHeader.AddressOfEntryPoint == 0) return nullptr;
  return base(module) + image->OptionalHeader.AddressOfEntryPoint;
}

}  // namespace sim
