#include "tests/files/LibraryWrites.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {

namespace {

LibraryWrites* active = nullptr;

// What the library's imports led to before.
decltype(&::WriteFile) writeFile = nullptr;
decltype(&std::fwrite) writeStream = nullptr;

}  // namespace

struct LibraryWrites::Functions {
  static BOOL WINAPI write(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written,
                           LPOVERLAPPED overlapped) {
    const auto taken = static_cast<DWORD>(active->allowed(count));
    if (taken != 0 || count == 0) return writeFile(file, bytes, taken, written, overlapped);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
  }

  static std::size_t __cdecl stream(const void* bytes, std::size_t size, std::size_t count, FILE* file) {
    const std::size_t taken = active->allowed(size * count);
    return taken == 0 ? 0 : writeStream(bytes, 1, taken, file) / size;
  }
};

LibraryWrites::LibraryWrites() {
  active = this;
  const auto at = [](auto& function) { return reinterpret_cast<void**>(&function); };
  patch("WriteFile", reinterpret_cast<void*>(&Functions::write), at(writeFile));
  patch("fwrite", reinterpret_cast<void*>(&Functions::stream), at(writeStream));
}

LibraryWrites::~LibraryWrites() {
  while (!patches_.empty()) patches_.pop_back();
  active = nullptr;
}

void LibraryWrites::patch(const char* name, void* replacement, void** original) {
  const auto entries = sim::findImports(libraryModule(), name);
  if (entries.size() != 1) throw std::runtime_error(std::string("the library does not import ") + name);
  *original = *entries.front();
  patches_.emplace_back(entries.front(), replacement);
}

std::size_t LibraryWrites::allowed(std::size_t bytes) {
  ++count_;
  return onWrite ? std::min(onWrite(count_, bytes), bytes) : bytes;
}

}  // namespace kvexa::test
