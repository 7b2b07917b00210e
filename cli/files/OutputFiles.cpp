#include "cli/files/OutputFiles.h"

#include <fstream>
#include <system_error>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

namespace cli {

namespace fs = std::filesystem;

void MadeFolders::check(const std::string& folder) {
  std::error_code error;
  for (fs::path path = toPath(folder); !path.empty(); path = path.parent_path()) {
    if (fs::is_directory(path, error)) return;
    if (fs::exists(path, error)) throw Failure(folder + ": cannot be made a folder, a file is in the way");
    if (path == path.parent_path()) return;
  }
}

void MadeFolders::make(const std::string& folder) {
  if (folder.empty()) return;
  check(folder);
  std::error_code error;
  std::vector<fs::path> missing;
  for (fs::path path = toPath(folder); !path.empty() && !fs::exists(path, error); path = path.parent_path()) {
    missing.push_back(path);
    if (path == path.parent_path()) break;
  }
  fs::create_directories(toPath(folder), error);
  if (!fs::is_directory(toPath(folder), error)) throw Failure(folder + ": cannot be made a folder");
  made_.insert(made_.begin(), missing.begin(), missing.end());
}

void MadeFolders::removeEmpty() {
  for (const fs::path& folder : made_) {
    std::error_code error;
    if (fs::is_empty(folder, error)) fs::remove(folder, error);
  }
}

OutputFiles::~OutputFiles() {
  if (kept_) return;
  for (const std::string& file : files_) {
    std::error_code ignored;
    fs::remove(toPath(file), ignored);
  }
  folders_.removeEmpty();
}

void OutputFiles::add(const std::string& file) {
  folders_.make(folderOf(file));
  if (isFolder(file)) throw Failure(file + ": is a folder, so no file can have this name");
  files_.push_back(file);
}

std::string folderOf(const std::string& file) {
  const std::size_t end = file.find_last_of("/\\");
  return end == std::string::npos ? "" : file.substr(0, end == 0 ? 1 : end);
}

std::string unfinishedName(const std::string& file) { return file + ".part"; }

void writeWholeFile(const std::string& file, std::string_view content) {
  if (isFolder(file)) throw Failure(file + ": is a folder, so no file can have this name");
  const std::string unfinished = unfinishedName(file);
  OutputFiles files;
  files.add(unfinished);
  std::ofstream stream(unfinished, std::ios::binary);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  stream.close();
  std::error_code error;
  if (stream) fs::rename(toPath(unfinished), toPath(file), error);
  if (!stream || error) {
    throw Failure(file + ": cannot be written", ExitCode::file,
                  "check rights and free space, and whether another program has it open");
  }
  files.keep();
}

}  // namespace cli
