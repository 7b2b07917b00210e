#include "cli/trace/RecordingFile.h"

#include <windows.h>

#include "sim/bench/Files.h"

namespace cli::trace {

void RecordingFile::Closer::operator()(void* file) const { CloseHandle(file); }

RecordingFile::RecordingFile(const std::string& path)
    : path_(path),
      file_(CreateFileW(sim::wideText(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
  if (file_.get() != INVALID_HANDLE_VALUE) return;
  static_cast<void>(file_.release());
  throw sim::record::RecordingError(path + ": cannot be read");
}

sim::record::RecordingReader RecordingFile::reader() const {
  SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN);
  return {[file = file_.get()](std::span<char> buffer) -> std::size_t {
            DWORD read = 0;
            const BOOL done =
                ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &read, nullptr);
            return done != FALSE ? read : 0;
          },
          path_};
}

}  // namespace cli::trace
