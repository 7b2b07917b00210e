#include "tests/support/HandleCount.h"

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <vector>

// Declared here because the headers' enumeration of information classes does not reach this one.
extern "C" __declspec(dllimport) LONG WINAPI
    NtQuerySystemInformation(ULONG informationClass, void* buffer, ULONG length, ULONG* returned);

namespace kvexa::test {

namespace {

constexpr ULONG extendedHandleInformation = 64;
constexpr LONG lengthMismatch = static_cast<LONG>(0xC0000004UL);

struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR handleValue;
  ULONG grantedAccess;
  USHORT creatorBackTraceIndex;
  USHORT objectTypeIndex;
  ULONG attributes;
  ULONG reserved;
};

struct HandleListHead {
  ULONG_PTR count;
  ULONG_PTR reserved;
};

std::vector<std::byte> handleList() {
  std::vector<std::byte> list(1U << 16);
  for (;;) {
    const LONG status = NtQuerySystemInformation(extendedHandleInformation, list.data(),
                                                 static_cast<ULONG>(list.size()), nullptr);
    if (status == 0) return list;
    if (status != lengthMismatch) throw std::runtime_error("the system does not list its handles");
    list.resize(list.size() * 2);
  }
}

}  // namespace

unsigned processHandleCount() {
  const auto list = handleList();
  HandleListHead head;
  std::memcpy(&head, list.data(), sizeof head);

  unsigned own = 0;
  for (ULONG_PTR i = 0; i < head.count; ++i) {
    HandleEntry entry;
    std::memcpy(&entry, list.data() + sizeof head + i * sizeof entry, sizeof entry);
    if (entry.processId == GetCurrentProcessId()) ++own;
  }
  return own;
}

}  // namespace kvexa::test
