#include "files/OutputFile.h"

#include <algorithm>

namespace kvexa::files {

namespace {

constexpr std::size_t pieceBytes = 1 << 20;

// Network drives refuse single writes that are much larger than this.
constexpr std::size_t largestWrite = 16 << 20;

}  // namespace

OutputFile::OutputFile(std::size_t largestPut) : collected_(std::max(largestPut, pieceBytes)) {}

bool OutputFile::create(const char* path) {
  file_.reset(CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
  return static_cast<bool>(file_);
}

std::span<std::uint8_t> OutputFile::put(std::size_t bytes) {
  if (bytes > collected_.all().size() - used_) flush();
  const std::span<std::uint8_t> room = collected_.all().subspan(used_, bytes);
  used_ += bytes;
  return room;
}

void OutputFile::write(const std::uint8_t* bytes, std::size_t count) {
  if (count < pieceBytes) {
    std::copy_n(bytes, count, put(count).begin());
    return;
  }
  flush();
  send(bytes, count);
}

bool OutputFile::finish() {
  flush();
  file_.reset();
  return !failed_;
}

void OutputFile::flush() {
  send(collected_.all().data(), used_);
  used_ = 0;
}

void OutputFile::send(const std::uint8_t* bytes, std::size_t count) {
  while (count > 0 && !failed_) {
    const auto piece = static_cast<DWORD>(std::min(count, largestWrite));
    DWORD written = 0;
    // A volume that is full may take a part and call that a success.
    failed_ = WriteFile(file_.get(), bytes, piece, &written, nullptr) == FALSE || written != piece;
    bytes += piece;
    count -= piece;
  }
}

}  // namespace kvexa::files
