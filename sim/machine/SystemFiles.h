// The files of the simulated machine's Windows, as far as their versions are asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace sim {

// At first the drivers of both boards are there, each with one product version.
class SystemFiles {
 public:
  // An entry of a file's version resource. Without a text the resource names the language but has no product
  // version in it.
  struct ProductVersion {
    std::uint16_t language = 0;
    std::uint16_t codePage = 0;
    std::optional<std::string> text;
  };

  SystemFiles();

  const std::string& windowsDirectory() const { return windowsDirectory_; }
  void setWindowsDirectory(const std::string& path) { windowsDirectory_ = path; }

  // The path of the driver file of that name.
  std::string driverPath(const std::string& name) const;

  // From now on the file is there and has these versions. No versions: it has no version resource. A file
  // outside the Windows directory that was never set is the real machine's.
  void set(const std::string& path, const std::vector<ProductVersion>& versions);
  void remove(const std::string& path);

  // ---- for the redirected calls ----
  // A version block, empty when the file is not there or has none; nothing when it is the real machine's.
  std::optional<std::vector<std::uint8_t>> versionBlock(const std::string& path) const;

  // Whether a block comes from here, and what is in it under a name. Null when nothing is.
  static bool isBlock(const void* block);
  static const void* query(const void* block, const std::string& name, std::uint32_t& length);

 private:
  static std::string key(const std::string& path);

  mutable std::mutex mutex_;
  std::string windowsDirectory_ = R"(C:\Windows)";
  std::map<std::string, std::vector<ProductVersion>> files_;
};

}  // namespace sim
