#include "win32/FileVersion.h"

#include <windows.h>

#include <array>
#include <cstdio>
#include <span>
#include <string_view>

#include "win32/ByteBuffer.h"

namespace kvexa::win32 {

namespace {

constexpr std::size_t versionDigits = 4;

struct Translation {
  WORD language;
  WORD codePage;
};

// The version resource of a file.
class VersionResource {
 public:
  explicit VersionResource(const char* path) : block_(sizeOf(path)) {
    const auto bytes = static_cast<DWORD>(block_ ? block_.all().size() : 0);
    isRead_ = bytes != 0 && GetFileVersionInfoA(path, 0, bytes, block_.all().data()) != FALSE;
  }

  explicit operator bool() const { return isRead_; }

  std::span<const Translation> translations() {
    void* found = nullptr;
    UINT bytes = 0;
    if (VerQueryValueA(block_.all().data(), "\\VarFileInfo\\Translation", &found, &bytes) == FALSE) return {};
    return {static_cast<const Translation*>(found), bytes / sizeof(Translation)};
  }

  // With the length that the resource gives; empty when there is none.
  std::string_view productVersion(const Translation& translation) {
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "\\StringFileInfo\\%04x%04x\\ProductVersion",
                  translation.language, translation.codePage);
    void* found = nullptr;
    UINT length = 0;
    if (VerQueryValueA(block_.all().data(), name.data(), &found, &length) == FALSE || found == nullptr)
      return {};
    return {static_cast<const char*>(found), length};
  }

 private:
  static ByteBuffer sizeOf(const char* path) {
    DWORD unused = 0;
    const DWORD bytes = GetFileVersionInfoSizeA(path, &unused);
    return bytes != 0 ? ByteBuffer(bytes) : ByteBuffer::none();
  }

  ByteBuffer block_;
  bool isRead_ = false;
};

bool digitsOf(std::string_view text, std::uint32_t& version) {
  std::uint32_t value = 0;
  std::size_t digits = 0;
  for (const char character : text) {
    if (character < '0' || character > '9') continue;
    value = value * 16 + static_cast<std::uint32_t>(character - '0');
    ++digits;
  }
  if (digits != versionDigits) return false;
  version = value;
  return true;
}

}  // namespace

bool readFileVersion(const char* path, std::uint32_t& version) {
  VersionResource resource(path);
  if (!resource) return false;
  std::string_view last;
  for (const Translation& translation : resource.translations()) {
    last = resource.productVersion(translation);
    if (last.data() == nullptr) continue;
    std::printf("ProductVersion[%04x%04x]:%d:%s\n", translation.language, translation.codePage,
                static_cast<int>(last.size()), last.data());
  }
  return digitsOf(last, version);
}

bool readDriverVersion(const char* name, std::uint32_t& version) {
  std::array<char, MAX_PATH> path{};
  const UINT length = GetWindowsDirectoryA(path.data(), MAX_PATH);
  if (length == 0 || length >= path.size()) return false;
  const int added =
      std::snprintf(path.data() + length, path.size() - length, "\\System32\\drivers\\%s", name);
  return added > 0 && length + static_cast<UINT>(added) < path.size() &&
         readFileVersion(path.data(), version);
}

bool readLibraryVersion(std::uint32_t& version) { return readFileVersion("KVEXA_LIB.dll", version); }

}  // namespace kvexa::win32
