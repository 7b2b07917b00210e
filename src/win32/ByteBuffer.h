// A buffer whose allocation may fail without an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace kvexa {

class ByteBuffer {
 public:
  // size zero bytes; false in a condition when there is no memory for them.
  explicit ByteBuffer(std::size_t size) : bytes_(new (std::nothrow) std::uint8_t[size]()), size_(size) {}

  static ByteBuffer none() { return {}; }

  explicit operator bool() const { return bytes_ != nullptr; }
  std::span<std::uint8_t> all() { return {bytes_.get(), size_}; }

 private:
  ByteBuffer() = default;

  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t size_ = 0;
};

}  // namespace kvexa
