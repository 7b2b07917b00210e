#include "cli/base/Paths.h"

#include <windows.h>

#include <algorithm>
#include <cctype>
#include <system_error>

#include "sim/bench/Files.h"

namespace cli {

namespace {

std::wstring widen(const std::string& ansi) {
  const int length = static_cast<int>(ansi.size());
  std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, nullptr, 0)),
                    L'\0');
  MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

}  // namespace

std::filesystem::path toPath(const std::string& ansi) { return {widen(ansi)}; }

std::string toUtf8(const std::string& ansi) { return sim::utf8Text(widen(ansi)); }

std::string shownName(const std::filesystem::path& path) {
  const std::wstring wide = path.generic_wstring();
  const int length = static_cast<int>(wide.size());
  const int count = WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(count), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), length, text.data(), count, nullptr, nullptr);
  return text;
}

std::string absoluteUtf8(const std::string& ansi) { return sim::absolutePath(toUtf8(ansi)); }

std::string endingOf(const std::string& name) {
  const std::size_t folder = name.find_last_of("/\\:");
  const std::size_t point = name.rfind('.');
  if (point == std::string::npos || (folder != std::string::npos && point < folder)) return {};
  std::string ending = name.substr(point);
  std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return std::tolower(c); });
  return ending;
}

bool isFolder(const std::string& ansi) {
  std::error_code error;
  return std::filesystem::is_directory(toPath(ansi), error);
}

}  // namespace cli
