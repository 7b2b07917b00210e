// Numbers threads in the order in which they come. Windows gives a thread's own number to a later one.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

namespace sim::record {

class ThreadNumbers {
 public:
  ThreadNumbers() : slot_(TlsAlloc()) {}
  ~ThreadNumbers() { TlsFree(slot_); }
  ThreadNumbers(const ThreadNumbers&) = delete;
  ThreadNumbers& operator=(const ThreadNumbers&) = delete;

  // Of the calling thread, from 1; 0 when it has none yet. Leaves the last error alone.
  std::uint32_t known() const {
    const DWORD error = GetLastError();
    void* const value = TlsGetValue(slot_);
    SetLastError(error);
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
  }

  void set(std::uint32_t number) const {
    const DWORD error = GetLastError();
    TlsSetValue(slot_, reinterpret_cast<void*>(static_cast<std::uintptr_t>(number)));
    SetLastError(error);
  }

  std::uint32_t current() {
    std::uint32_t number = known();
    if (number == 0) set(number = ++last_);
    return number;
  }

 private:
  DWORD slot_;
  std::atomic<std::uint32_t> last_ = 0;
};

}  // namespace sim::record
