#include "sim/bench/Files.h"

#include <windows.h>

#include <memory>

namespace sim {

namespace {

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE file) const { CloseHandle(file); }
};
using UniqueFile = std::unique_ptr<void, HandleCloser>;

bool isAbsolute(const std::string& path) {
  const bool hasDrive = path.size() > 2 && path[1] == ':' && (path[2] == '\\' || path[2] == '/');
  return hasDrive || path.starts_with('\\') || path.starts_with('/');
}

}  // namespace

std::wstring wideText(std::string_view utf8) {
  const auto length = static_cast<int>(utf8.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, nullptr, 0)), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

std::string utf8Text(std::wstring_view wide) {
  const auto length = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), bytes, nullptr, nullptr);
  return text;
}

std::optional<std::string> readWholeFile(const std::string& path, std::uint64_t mostBytes) {
  const UniqueFile file(CreateFileW(wideText(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) return std::nullopt;
  LARGE_INTEGER size;
  if (GetFileSizeEx(file.get(), &size) == FALSE || static_cast<std::uint64_t>(size.QuadPart) > mostBytes)
    return std::nullopt;
  std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD read = 0;
  if (ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) == FALSE)
    return std::nullopt;
  text.resize(read);
  return text;
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of("\\/:");
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

std::string inFolder(const std::string& folder, const std::string& name) {
  if (isAbsolute(name)) return name;
  const bool isOpen = folder.ends_with('\\') || folder.ends_with('/') || folder.ends_with(':');
  return folder + (isOpen ? "" : "\\") + name;
}

std::string absolutePath(const std::string& path) {
  const std::wstring wide = wideText(path);
  std::wstring whole(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
  if (whole.empty()) return path;
  whole.resize(GetFullPathNameW(wide.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
  return utf8Text(whole);
}

}  // namespace sim
