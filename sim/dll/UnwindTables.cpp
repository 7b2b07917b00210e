#include "sim/dll/UnwindTables.h"

#include <cstdint>
#include <cstring>

extern "C" {
// Of the compiler's run-time library that is linked into this one.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
void __register_frame_info(const void* begin, void* object);
}

namespace sim {

namespace {

// The compiler's run-time library keeps its notes of a table here; it is smaller.
std::uint32_t notes[16];

}  // namespace

// The start-up code gives the tables to a libgcc_s_dw2-1.dll when the program has one, while this library
// throws with the code that is linked into it: the first exception would end the process.
void registerUnwindTables(HMODULE module) {
  if (GetModuleHandleA("libgcc_s_dw2-1.dll") == nullptr) return;
  const auto* const base = reinterpret_cast<const std::uint8_t*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* image = reinterpret_cast<const IMAGE_NT_HEADERS32*>(base + dos->e_lfanew);
  const auto* section = IMAGE_FIRST_SECTION(image);
  for (int i = 0; i < image->FileHeader.NumberOfSections; ++i, ++section) {
    constexpr char name[IMAGE_SIZEOF_SHORT_NAME + 1] = ".eh_fram";
    if (std::memcmp(section->Name, name, IMAGE_SIZEOF_SHORT_NAME) != 0) continue;
    __register_frame_info(base + section->VirtualAddress, notes);
  }
}

}  // namespace sim
