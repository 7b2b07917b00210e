// A ZIP archive in a temporary file that is gone with its last user, also when the process is killed.
#pragma once

#include <windows.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace cli::serve {

class ZipFile {
 public:
  // Throws Failure.
  ZipFile();
  ~ZipFile();
  ZipFile(const ZipFile&) = delete;
  ZipFile& operator=(const ZipFile&) = delete;

  // Stored as it is. Throws Failure when it does not fit into an archive or onto the disk.
  void add(const std::string& name, std::span<const std::uint8_t> bytes);
  void finish();

  std::uint64_t size() const { return size_; }

  // Part of the finished archive. Throws Failure.
  std::vector<std::uint8_t> read(std::uint64_t offset, std::size_t bytes) const;

 private:
  void write(std::span<const std::uint8_t> bytes);

  struct Entry {
    std::string name;
    std::uint32_t sum;
    std::uint32_t bytes;
    std::uint32_t offset;
  };

  HANDLE file_;
  std::uint64_t size_ = 0;
  std::vector<Entry> entries_;
};

// The most that an archive holds.
constexpr std::uint64_t mostZipBytes = 0xFFFF0000;
constexpr std::uint32_t mostZipEntries = 65535;

}  // namespace cli::serve
