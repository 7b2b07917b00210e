#include "sim/attach/ImportTable.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace sim {

namespace {

template <class Record>
Record* at(HMODULE module, DWORD offset) {
  return reinterpret_cast<Record*>(reinterpret_cast<std::uint8_t*>(module) + offset);
}

const IMAGE_NT_HEADERS* headers(HMODULE module) {
  const auto* dos = at<IMAGE_DOS_HEADER>(module, 0);
  return at<IMAGE_NT_HEADERS>(module, static_cast<DWORD>(dos->e_lfanew));
}

bool isNamed(HMODULE module, const IMAGE_THUNK_DATA& import, const char* name) {
  if (IMAGE_SNAP_BY_ORDINAL(import.u1.Ordinal)) return false;
  const auto* byName = at<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(import.u1.AddressOfData));
  return std::strcmp(reinterpret_cast<const char*>(&byName->Name[0]), name) == 0;
}

}  // namespace

void storeImport(void** entry, void* value) {
  DWORD before = 0;
  if (VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &before) == FALSE) return;
  *entry = value;
  DWORD ignored = 0;
  VirtualProtect(entry, sizeof *entry, before, &ignored);
}

ImportPatch::ImportPatch(void** entry, void* replacement) : entry_(entry), original_(*entry) {
  storeImport(entry_, replacement);
}

ImportPatch::~ImportPatch() {
  if (entry_ != nullptr) storeImport(entry_, original_);
}

ImportPatch::ImportPatch(ImportPatch&& other) noexcept
    : entry_(std::exchange(other.entry_, nullptr)), original_(other.original_) {}

std::vector<void**> findImports(HMODULE module, const char* name) {
  std::vector<void**> entries;
  const IMAGE_DATA_DIRECTORY& directory =
      headers(module)->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (directory.VirtualAddress == 0) return entries;
  const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
  for (; library->Name != 0; ++library) {
    // Without the table of names the addresses cannot be assigned to functions.
    if (library->OriginalFirstThunk == 0) continue;
    const auto* import = at<IMAGE_THUNK_DATA>(module, library->OriginalFirstThunk);
    auto* address = at<void*>(module, library->FirstThunk);
    for (; import->u1.AddressOfData != 0; ++import, ++address) {
      if (!isNamed(module, *import, name)) continue;
      entries.push_back(address);
    }
  }
  return entries;
}

}  // namespace sim
