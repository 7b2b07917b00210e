// The files that a command makes: kept when it succeeds, removed when it does not.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace cli {

class OutputFiles {
 public:
  // Makes the folder when it is not there.
  explicit OutputFiles(const std::string& folder);

  // Removes every file that was named, unless keep() was called.
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // The path of a file that the command is about to make.
  std::string name(const std::string& file);

  void write(const std::string& file, std::span<const std::uint8_t> bytes);
  void keep() { kept_ = true; }

 private:
  std::filesystem::path folder_;
  std::vector<std::filesystem::path> files_;
  bool kept_ = false;
};

}  // namespace cli
