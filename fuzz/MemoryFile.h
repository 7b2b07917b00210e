// A file whose content is in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace fuzz {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using MemoryFile = std::unique_ptr<std::FILE, CloseFile>;

// fmemopen refuses an empty buffer, so an empty file is one that was read to its end.
inline MemoryFile openMemory(const std::uint8_t* data, std::size_t size) {
  static char one[1];
  MemoryFile file(size != 0 ? fmemopen(const_cast<std::uint8_t*>(data), size, "rb") : fmemopen(one, 1, "rb"));
  if (size == 0) std::getc(file.get());
  return file;
}

}  // namespace fuzz
