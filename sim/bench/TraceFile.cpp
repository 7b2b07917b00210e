#include "sim/bench/TraceFile.h"

#include <windows.h>

#include "sim/bench/Files.h"

namespace sim {

TraceFile::TraceFile(const std::string& path)
    : file_(CreateFileW(wideText(path).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  if (file_ == INVALID_HANDLE_VALUE) throw TraceError(path + ": cannot be written");
}

TraceFile::~TraceFile() { CloseHandle(file_); }

void TraceFile::write(const std::string& line) {
  const std::string whole = line + "\r\n";
  DWORD written = 0;
  WriteFile(file_, whole.data(), static_cast<DWORD>(whole.size()), &written, nullptr);
}

}  // namespace sim
