// A file for functions of the library that take names, removed in the end.
#pragma once

#include <string>
#include <string_view>

namespace cli::serve {

class TemporaryFile {
 public:
  // The name ends as wanted: ".dat". Throws Failure.
  TemporaryFile(std::string_view content, std::string_view ending);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace cli::serve
