#include "sim/dll/LastError.h"

#include <windows.h>

#include <memory>

namespace sim {

namespace {

// A slot of Windows' own: variables of the compiler's for each thread do not go with threads that began
// before the library was loaded.
DWORD slot = TLS_OUT_OF_INDEXES;

std::string* current() { return static_cast<std::string*>(TlsGetValue(slot)); }

}  // namespace

bool openLastErrors() {
  slot = TlsAlloc();
  return slot != TLS_OUT_OF_INDEXES;
}

void forgetLastError() {
  const std::unique_ptr<std::string> text(current());
  TlsSetValue(slot, nullptr);
}

void setLastError(const char* text) noexcept {
  try {
    if (current() == nullptr) TlsSetValue(slot, new std::string);
    *current() = text;
  } catch (...) {  // no memory for the sentence; the result code tells enough
  }
}

std::string lastError() { return current() != nullptr ? *current() : std::string(); }

}  // namespace sim
