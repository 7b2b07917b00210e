// Memory whose edges are watched: on Windows a page that faults stands on either side; elsewhere the
// address sanitizer watches an allocation of the exact size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace kvexa::test {

enum class MemoryEdge {
  lower,  // the first byte follows a page that faults
  upper   // the last byte is followed by a page that faults
};

#if defined(_WIN32)

class GuardedMemory {
 public:
  GuardedMemory(std::size_t size, MemoryEdge edge, std::uint8_t fill) : size_(size) {
    constexpr std::size_t page = 4096;
    const std::size_t room = (size + page - 1) / page * page;
    // Reserved pages fault as pages without access do; only the middle becomes usable.
    base_ = static_cast<std::uint8_t*>(VirtualAlloc(nullptr, room + 2 * page, MEM_RESERVE, PAGE_NOACCESS));
    if (base_ == nullptr) throw std::bad_alloc();
    if (VirtualAlloc(base_ + page, room, MEM_COMMIT, PAGE_READWRITE) == nullptr) {
      VirtualFree(base_, 0, MEM_RELEASE);
      throw std::bad_alloc();
    }
    data_ = base_ + page + (edge == MemoryEdge::upper ? room - size : 0);
    std::memset(data_, fill, size);
  }
  ~GuardedMemory() { VirtualFree(base_, 0, MEM_RELEASE); }
  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  std::uint8_t* data() { return data_; }
  std::size_t size() const { return size_; }

 private:
  std::uint8_t* base_ = nullptr;
  std::uint8_t* data_ = nullptr;
  std::size_t size_;
};

#else

class GuardedMemory {
 public:
  GuardedMemory(std::size_t size, MemoryEdge, std::uint8_t fill)
      : size_(size), bytes_(new std::uint8_t[size]) {
    std::memset(bytes_.get(), fill, size);
  }

  std::uint8_t* data() { return bytes_.get(); }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  std::unique_ptr<std::uint8_t[]> bytes_;
};

#endif

inline std::vector<std::uint8_t> bytesOf(GuardedMemory& memory) {
  return {memory.data(), memory.data() + memory.size()};
}

}  // namespace kvexa::test
