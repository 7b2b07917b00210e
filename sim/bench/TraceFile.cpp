#include "sim/bench/TraceFile.h"

#include <windows.h>

#include "sim/bench/Files.h"

namespace sim {

namespace {

// Holds the other processes off for one line: not everywhere is an append one step. The byte that is locked
// lies where no file ends.
class OneWriter {
 public:
  explicit OneWriter(HANDLE file)
      : file_(file), isHeld_(LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place_) != FALSE) {}
  ~OneWriter() {
    if (isHeld_) UnlockFileEx(file_, 0, 1, 0, &place_);
  }
  OneWriter(const OneWriter&) = delete;
  OneWriter& operator=(const OneWriter&) = delete;

 private:
  HANDLE file_;
  OVERLAPPED place_ = [] {
    OVERLAPPED place{};
    place.OffsetHigh = 0x7FFFFFFF;
    return place;
  }();
  bool isHeld_;
};

}  // namespace

TraceFile::TraceFile(const std::string& path)
    : file_(CreateFileW(wideText(path).c_str(), FILE_APPEND_DATA | FILE_READ_DATA | SYNCHRONIZE,
                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                        nullptr)) {
  if (file_ == INVALID_HANDLE_VALUE) throw TraceError(path + ": cannot be written");
}

TraceFile::~TraceFile() { CloseHandle(file_); }

void TraceFile::write(const std::string& line) {
  const std::string whole = line + "\r\n";
  const OneWriter alone(file_);
  DWORD written = 0;
  WriteFile(file_, whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr);
}

}  // namespace sim
