#include "sim/program/Injection.h"

#include <winternl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

namespace sim {

namespace {

// Stands before the new import descriptors in the process's memory, with what was there before.
struct SavedDirectories {
  static constexpr std::uint32_t expectedMark[4] = {0x6578766B, 0x6D697361, 0x706D695F, 0x7374726F};
  std::uint32_t mark[4];
  IMAGE_DATA_DIRECTORY imports;
  IMAGE_DATA_DIRECTORY bound;
  IMAGE_DATA_DIRECTORY addresses;
};

constexpr int importIndex = IMAGE_DIRECTORY_ENTRY_IMPORT;
constexpr int boundIndex = IMAGE_DIRECTORY_ENTRY_BOUND_IMPORT;
constexpr int addressesIndex = IMAGE_DIRECTORY_ENTRY_IAT;
constexpr int managedIndex = IMAGE_DIRECTORY_ENTRY_COM_DESCRIPTOR;
constexpr std::uint32_t firstOrdinal = IMAGE_ORDINAL_FLAG32 | 1;

class ProcessMemory {
 public:
  explicit ProcessMemory(HANDLE process) : process_(process) {}

  template <class Record>
  bool read(std::uintptr_t address, Record& record) const {
    return readBytes(address, &record, sizeof record);
  }

  bool readBytes(std::uintptr_t address, void* to, std::size_t bytes) const {
    SIZE_T moved = 0;
    return ReadProcessMemory(process_, reinterpret_cast<void*>(address), to, bytes, &moved) != FALSE &&
           moved == bytes;
  }

  // Over memory that is read-only, too.
  bool write(std::uintptr_t address, const void* from, std::size_t bytes) const {
    void* const target = reinterpret_cast<void*>(address);
    DWORD before = 0;
    if (VirtualProtectEx(process_, target, bytes, PAGE_READWRITE, &before) == FALSE) return false;
    SIZE_T moved = 0;
    const bool done = WriteProcessMemory(process_, target, from, bytes, &moved) != FALSE && moved == bytes;
    DWORD ignored = 0;
    VirtualProtectEx(process_, target, bytes, before, &ignored);
    return done;
  }

  // Offsets from an image's beginning count upwards, so its imports must lie above it.
  std::uintptr_t allocateAbove(std::uintptr_t address, std::size_t bytes) const {
    constexpr std::uintptr_t granularity = 0x10000;
    constexpr std::uintptr_t end = 0x7FFE0000;
    MEMORY_BASIC_INFORMATION region;
    for (std::uintptr_t next = address; next < end;) {
      if (VirtualQueryEx(process_, reinterpret_cast<void*>(next), &region, sizeof region) == 0) return 0;
      const auto begin = reinterpret_cast<std::uintptr_t>(region.BaseAddress);
      const std::uintptr_t candidate = (begin + granularity - 1) / granularity * granularity;
      if (region.State == MEM_FREE && candidate + bytes <= begin + region.RegionSize) {
        void* const made = VirtualAllocEx(process_, reinterpret_cast<void*>(candidate), bytes,
                                          MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
        if (made != nullptr) return reinterpret_cast<std::uintptr_t>(made);
      }
      next = begin + region.RegionSize;
    }
    return 0;
  }

 private:
  HANDLE process_;
};

struct Image {
  std::uintptr_t base = 0;
  std::uintptr_t headersAt = 0;
  IMAGE_NT_HEADERS32 headers{};

  IMAGE_DATA_DIRECTORY& directory(int index) { return headers.OptionalHeader.DataDirectory[index]; }
  std::uintptr_t end() const { return base + headers.OptionalHeader.SizeOfImage; }
};

std::optional<std::uintptr_t> imageBase(HANDLE process, const ProcessMemory& memory) {
  using Query = NTSTATUS(NTAPI*)(HANDLE, PROCESSINFOCLASS, PVOID, ULONG, PULONG);
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "NtQueryInformationProcess")));
  PROCESS_BASIC_INFORMATION information{};
  if (query == nullptr ||
      query(process, ProcessBasicInformation, &information, sizeof information, nullptr) != 0) {
    return std::nullopt;
  }
  constexpr std::uintptr_t imageBaseAt = 8;  // in the process environment block of 32-bit processes
  std::uintptr_t base = 0;
  if (!memory.read(reinterpret_cast<std::uintptr_t>(information.PebBaseAddress) + imageBaseAt, base)) {
    return std::nullopt;
  }
  return base;
}

std::optional<Image> readImage(HANDLE process, const ProcessMemory& memory) {
  Image image;
  const auto base = imageBase(process, memory);
  IMAGE_DOS_HEADER dos;
  if (!base || !memory.read(*base, dos)) return std::nullopt;
  image.base = *base;
  image.headersAt = *base + static_cast<std::uintptr_t>(dos.e_lfanew);
  if (!memory.read(image.headersAt, image.headers)) return std::nullopt;
  return image;
}

// The name as an import table spells it; nothing when the ANSI code page does not hold it.
std::optional<std::string> importName(const std::wstring& path) {
  BOOL replaced = FALSE;
  std::string name(path.size() * 2 + 1, '\0');
  const int length = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, path.c_str(), -1, name.data(),
                                         static_cast<int>(name.size()), nullptr, &replaced);
  if (length <= 0 || replaced != FALSE) return std::nullopt;
  name.resize(static_cast<std::size_t>(length) - 1);
  return name;
}

// The descriptors that the image has, without the empty one at the end.
std::optional<std::vector<IMAGE_IMPORT_DESCRIPTOR>> readImports(const ProcessMemory& memory, Image& image) {
  constexpr std::size_t most = 4096;
  std::vector<IMAGE_IMPORT_DESCRIPTOR> found;
  std::uintptr_t at = image.base + image.directory(importIndex).VirtualAddress;
  if (at == image.base) return found;
  for (;; at += sizeof(IMAGE_IMPORT_DESCRIPTOR)) {
    IMAGE_IMPORT_DESCRIPTOR descriptor;
    if (found.size() == most || !memory.read(at, descriptor)) return std::nullopt;
    if (descriptor.Name == 0) return found;
    found.push_back(descriptor);
  }
}

// The new imports in one block: what was there before, the descriptors, our two tables of one import, our
// name.
struct ImportBlock {
  std::vector<std::uint8_t> bytes;
  std::size_t descriptorsAt = 0;
  std::size_t descriptorBytes = 0;
};

template <class Record>
void put(std::vector<std::uint8_t>& bytes, std::size_t at, const Record& record) {
  std::memcpy(bytes.data() + at, &record, sizeof record);
}

ImportBlock buildImports(Image& image, const std::vector<IMAGE_IMPORT_DESCRIPTOR>& before,
                         const std::string& name, std::uint32_t blockOffset) {
  ImportBlock block;
  block.descriptorsAt = sizeof(SavedDirectories);
  block.descriptorBytes = (before.size() + 2) * sizeof(IMAGE_IMPORT_DESCRIPTOR);
  const std::size_t namesAt = block.descriptorsAt + block.descriptorBytes;
  constexpr std::size_t tableBytes = 2 * sizeof(std::uint32_t);
  const std::size_t addressesAt = namesAt + tableBytes;
  const std::size_t libraryAt = addressesAt + tableBytes;
  block.bytes.assign(libraryAt + name.size() + 1, 0);

  SavedDirectories saved{
      {}, image.directory(importIndex), image.directory(boundIndex), image.directory(addressesIndex)};
  std::memcpy(saved.mark, SavedDirectories::expectedMark, sizeof saved.mark);
  put(block.bytes, 0, saved);
  IMAGE_IMPORT_DESCRIPTOR ours{};
  ours.OriginalFirstThunk = blockOffset + static_cast<std::uint32_t>(namesAt);
  ours.FirstThunk = blockOffset + static_cast<std::uint32_t>(addressesAt);
  ours.Name = blockOffset + static_cast<std::uint32_t>(libraryAt);
  put(block.bytes, block.descriptorsAt, ours);
  std::size_t next = block.descriptorsAt;
  for (const IMAGE_IMPORT_DESCRIPTOR& each : before) put(block.bytes, next += sizeof each, each);
  put(block.bytes, namesAt, firstOrdinal);
  put(block.bytes, addressesAt, firstOrdinal);
  std::memcpy(block.bytes.data() + libraryAt, name.c_str(), name.size());
  return block;
}

// The loader then brings the library in on the main thread, before the program's own libraries are started,
// and ends the process when it cannot.
bool addImport(const ProcessMemory& memory, Image& image, const std::string& name) {
  const auto before = readImports(memory, image);
  if (!before) return false;
  const std::size_t room = buildImports(image, *before, name, 0).bytes.size();
  const std::uintptr_t at = memory.allocateAbove(image.end(), room);
  if (at == 0) return false;
  const auto offset = static_cast<std::uint32_t>(at - image.base);
  const ImportBlock block = buildImports(image, *before, name, offset);
  if (!memory.write(at, block.bytes.data(), block.bytes.size())) return false;
  image.directory(importIndex) = {offset + static_cast<std::uint32_t>(block.descriptorsAt),
                                  static_cast<std::uint32_t>(block.descriptorBytes)};
  image.directory(boundIndex) = {};
  // Without a table of addresses the loader of Windows takes none of the imports' memory for writable.
  if (image.directory(addressesIndex).VirtualAddress == 0) {
    image.directory(addressesIndex) = {offset, static_cast<std::uint32_t>(block.bytes.size())};
  }
  return memory.write(image.headersAt, &image.headers, sizeof image.headers);
}

// For programs whose imports the loader does not read, and for names that an import table does not hold.
bool loadByThread(HANDLE process, const ProcessMemory& memory, const std::wstring& library) {
  const std::size_t bytes = (library.size() + 1) * sizeof(wchar_t);
  void* const name = VirtualAllocEx(process, nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (name == nullptr) return false;
  bool loaded = false;
  if (memory.write(reinterpret_cast<std::uintptr_t>(name), library.c_str(), bytes)) {
    const auto load = reinterpret_cast<LPTHREAD_START_ROUTINE>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "LoadLibraryW")));
    const HANDLE thread = CreateRemoteThread(process, nullptr, 0, load, name, 0, nullptr);
    DWORD module = 0;
    if (thread != nullptr) {
      WaitForSingleObject(thread, INFINITE);
      loaded = GetExitCodeThread(thread, &module) != FALSE && module != 0;
      CloseHandle(thread);
    }
  }
  const DWORD error = loaded ? ERROR_SUCCESS : ERROR_MOD_NOT_FOUND;
  VirtualFreeEx(process, name, 0, MEM_RELEASE);
  SetLastError(error);
  return loaded;
}

// A 32-bit process: on a 64-bit Windows one that runs under WOW64, as this one does.
bool hasThirtyTwoBits(HANDLE process) {
  BOOL self = FALSE;
  BOOL other = FALSE;
  if (IsWow64Process(GetCurrentProcess(), &self) == FALSE || IsWow64Process(process, &other) == FALSE)
    return true;
  return self == other;
}

}  // namespace

Injected inject(HANDLE process, const std::wstring& library) {
  if (!hasThirtyTwoBits(process)) return Injected::notThirtyTwoBits;
  const ProcessMemory memory(process);
  auto image = readImage(process, memory);
  if (!image) return Injected::failed;
  if (image->headers.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR32_MAGIC) return Injected::notThirtyTwoBits;
  const bool isManaged = image->directory(managedIndex).VirtualAddress != 0;
  const auto name = importName(library);
  const bool done =
      name && !isManaged ? addImport(memory, *image, *name) : loadByThread(process, memory, library);
  return done ? Injected::done : Injected::failed;
}

void restoreImports() {
  const HANDLE self = GetCurrentProcess();
  const ProcessMemory memory(self);
  auto image = readImage(self, memory);
  if (!image) return;
  const std::uintptr_t descriptors = image->base + image->directory(importIndex).VirtualAddress;
  SavedDirectories saved;
  if (descriptors < image->end() || !memory.read(descriptors - sizeof saved, saved)) return;
  if (std::memcmp(saved.mark, SavedDirectories::expectedMark, sizeof saved.mark) != 0) return;
  image->directory(importIndex) = saved.imports;
  image->directory(boundIndex) = saved.bound;
  image->directory(addressesIndex) = saved.addresses;
  memory.write(image->headersAt, &image->headers, sizeof image->headers);
}

}  // namespace sim
