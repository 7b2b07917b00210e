#include "tests/support/TemporaryFile.h"

#include <windows.h>

#include <fstream>
#include <stdexcept>

namespace kvexa::test {

TemporaryFile::TemporaryFile(const std::string& content) {
  char folder[MAX_PATH];
  char path[MAX_PATH];
  if (GetTempPathA(MAX_PATH, folder) == 0 || GetTempFileNameA(folder, "kvx", 0, path) == 0)
    throw std::runtime_error("no temporary file");
  path_ = path;
  std::ofstream(path_, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() { DeleteFileA(path_.c_str()); }

}  // namespace kvexa::test
