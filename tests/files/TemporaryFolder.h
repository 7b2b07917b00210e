// A folder of one test, removed with everything in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace kvexa::test {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    char parent[MAX_PATH + 1] = {};
    char path[MAX_PATH + 1] = {};
    // GetTempFileNameA makes a file of an unused name; the folder takes its place.
    if (GetTempPathA(MAX_PATH, parent) == 0 || GetTempFileNameA(parent, "kvx", 0, path) == 0 ||
        DeleteFileA(path) == 0 || CreateDirectoryA(path, nullptr) == 0) {
      throw std::runtime_error("no temporary folder");
    }
    path_ = path;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "\\" + name; }

  std::string write(const std::string& name, const std::string& content) const {
    const std::string file = path(name);
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(content.data(), static_cast<std::streamsize>(content.size()));
    stream.close();
    if (!stream) throw std::runtime_error("cannot write " + file);
    return file;
  }

  std::vector<std::uint8_t> read(const std::string& name) const {
    std::ifstream stream(path(name), std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + path(name));
    const std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    return {content.begin(), content.end()};
  }

  bool isEmpty() const { return std::filesystem::is_empty(path_); }

 private:
  std::string path_;
};

}  // namespace kvexa::test
