#pragma once

#include <string>

namespace kvexa::test {

// A text file in the user's folder for temporary files; it is deleted with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace kvexa::test
