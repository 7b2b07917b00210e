#include "cli/serve/board/TemporaryFile.h"

#include <windows.h>

#include <fstream>

#include "cli/base/Failure.h"

namespace cli::serve {

namespace {

// Two servers may run at a time, and files of a killed one may be there.
std::string freshName(std::string_view ending) {
  char folder[MAX_PATH + 1] = "";
  char name[MAX_PATH + 1] = "";
  if (GetTempPathA(sizeof folder, folder) == 0 || GetTempFileNameA(folder, "kvx", 0, name) == 0) {
    throw Failure("there is no folder for temporary files", ExitCode::file, "look at the variable TEMP");
  }
  DeleteFileA(name);
  return name + std::string(ending);
}

}  // namespace

TemporaryFile::TemporaryFile(std::string_view content, std::string_view ending) : path_(freshName(ending)) {
  std::ofstream file(path_, std::ios::binary);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    DeleteFileA(path_.c_str());
    throw Failure("a temporary file cannot be written", ExitCode::file, "check the free space");
  }
}

TemporaryFile::~TemporaryFile() { DeleteFileA(path_.c_str()); }

}  // namespace cli::serve
