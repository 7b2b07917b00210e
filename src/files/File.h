// Files of the run-time library, closed by their owner.
#pragma once

#include <cstdio>
#include <memory>

namespace kvexa::files {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, FileCloser>;

// Always as raw bytes: no newline is translated. Null when the file cannot be opened.
inline File openForReading(const char* path) { return File(std::fopen(path, "rb")); }
inline File openForWriting(const char* path) { return File(std::fopen(path, "wb")); }

}  // namespace kvexa::files
