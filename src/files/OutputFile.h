// A file that is written in large pieces.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "win32/ByteBuffer.h"
#include "win32/Handles.h"

namespace kvexa::files {

class OutputFile {
 public:
  // What is put is collected; `largestPut` bytes can be asked for at a time. The file is not made yet.
  explicit OutputFile(std::size_t largestPut);

  // False when there is no memory.
  explicit operator bool() const { return static_cast<bool>(collected_); }

  // Creates the file, or empties the one that is there.
  bool create(const char* path);

  // Room for that many bytes, at most largestPut, which the caller fills. finish reports what cannot
  // be written.
  std::span<std::uint8_t> put(std::size_t bytes);

  // Bytes that lie together already go out from where they are.
  void write(const std::uint8_t* bytes, std::size_t count);

  // Writes what is left and closes the file. Whether all of it went to the file.
  bool finish();

 private:
  void flush();
  void send(const std::uint8_t* bytes, std::size_t count);

  ByteBuffer collected_;
  std::size_t used_ = 0;
  win32::UniqueFile file_;
  bool failed_ = false;
};

}  // namespace kvexa::files
