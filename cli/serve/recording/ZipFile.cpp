#include "cli/serve/recording/ZipFile.h"

#include <zlib.h>

#include <algorithm>

#include "cli/base/Failure.h"
#include "cli/pictures/Bytes.h"

namespace cli::serve {

namespace {

using pictures::append;
using pictures::appendLittle;
using pictures::Bytes;

constexpr std::uint32_t fileMark = 0x04034B50;
constexpr std::uint32_t directoryMark = 0x02014B50;
constexpr std::uint32_t endMark = 0x06054B50;
constexpr std::uint32_t version = 20;
constexpr std::uint32_t noTime = 0;
constexpr std::uint32_t noDate = 0x21;  // the first day that there is
constexpr std::uint32_t headBytes = 30;

// What stands alike before a file and in the directory.
void appendCommon(Bytes& bytes, std::uint32_t sum, std::uint32_t length, std::size_t nameLength) {
  appendLittle<2>(bytes, version);
  appendLittle<2>(bytes, 0);
  appendLittle<2>(bytes, 0);  // stored
  appendLittle<2>(bytes, noTime);
  appendLittle<2>(bytes, noDate);
  appendLittle<4>(bytes, sum);
  appendLittle<4>(bytes, length);
  appendLittle<4>(bytes, length);
  appendLittle<2>(bytes, static_cast<std::uint32_t>(nameLength));
  appendLittle<2>(bytes, 0);
}

HANDLE temporaryFile() {
  wchar_t folder[MAX_PATH + 1] = L"";
  wchar_t name[MAX_PATH + 1] = L"";
  if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"kvx", 0, name) == 0) {
    return INVALID_HANDLE_VALUE;
  }
  return CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_DELETE, nullptr, CREATE_ALWAYS,
                     FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
}

Failure diskFailure() {
  return Failure("the archive cannot be written", ExitCode::file, "check the free space");
}

}  // namespace

ZipFile::ZipFile() : file_(temporaryFile()) {
  if (file_ == INVALID_HANDLE_VALUE) {
    throw Failure("there is no place for temporary files", ExitCode::file, "look at the variable TEMP");
  }
}

ZipFile::~ZipFile() { CloseHandle(file_); }

void ZipFile::add(const std::string& name, std::span<const std::uint8_t> bytes) {
  if (size_ + bytes.size() + headBytes + name.size() > mostZipBytes || entries_.size() >= mostZipEntries) {
    throw Failure("the archive has no room for more frames", ExitCode::file, "record into a folder");
  }
  const auto length = static_cast<std::uint32_t>(bytes.size());
  const auto sum = static_cast<std::uint32_t>(crc32(0, bytes.data(), length));
  entries_.push_back({name, sum, length, static_cast<std::uint32_t>(size_)});
  Bytes head;
  appendLittle<4>(head, fileMark);
  appendCommon(head, sum, length, name.size());
  append(head, name);
  write(head);
  write(bytes);
}

void ZipFile::finish() {
  Bytes directory;
  for (const Entry& each : entries_) {
    appendLittle<4>(directory, directoryMark);
    appendLittle<2>(directory, version);
    appendCommon(directory, each.sum, each.bytes, each.name.size());
    for (int i = 0; i < 3; ++i) appendLittle<2>(directory, 0);  // comment, disk, inner attributes
    appendLittle<4>(directory, 0);
    appendLittle<4>(directory, each.offset);
    append(directory, each.name);
  }
  const auto length = static_cast<std::uint32_t>(directory.size());
  const auto count = static_cast<std::uint32_t>(entries_.size());
  appendLittle<4>(directory, endMark);
  appendLittle<4>(directory, 0);
  appendLittle<2>(directory, count);
  appendLittle<2>(directory, count);
  appendLittle<4>(directory, length);
  appendLittle<4>(directory, static_cast<std::uint32_t>(size_));
  appendLittle<2>(directory, 0);
  write(directory);
}

void ZipFile::write(std::span<const std::uint8_t> bytes) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(size_);
  place.OffsetHigh = static_cast<DWORD>(size_ >> 32);
  DWORD written = 0;
  if (WriteFile(file_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, &place) == FALSE ||
      written != bytes.size()) {
    throw diskFailure();
  }
  size_ += bytes.size();
}

std::vector<std::uint8_t> ZipFile::read(std::uint64_t offset, std::size_t bytes) const {
  std::vector<std::uint8_t> part(static_cast<std::size_t>(std::min<std::uint64_t>(bytes, size_ - offset)));
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  DWORD taken = 0;
  if (ReadFile(file_, part.data(), static_cast<DWORD>(part.size()), &taken, &place) == FALSE ||
      taken != part.size()) {
    throw Failure("the archive cannot be read");
  }
  return part;
}

}  // namespace cli::serve
