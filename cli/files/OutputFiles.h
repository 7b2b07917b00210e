// The files that a command makes: kept when it succeeds, removed when it does not, with the folders that were
// made for them.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// Folders that are made when the first file goes into one. Throws Failure.
class MadeFolders {
 public:
  // Throws Failure when something else than a folder is in the way; makes nothing.
  static void check(const std::string& folder);

  void make(const std::string& folder);
  // Those that were made and are empty.
  void removeEmpty();

 private:
  std::vector<std::filesystem::path> made_;
};

class OutputFiles {
 public:
  OutputFiles() = default;
  // Removes every file that was named, unless keep() was called.
  ~OutputFiles();
  OutputFiles(const OutputFiles&) = delete;
  OutputFiles& operator=(const OutputFiles&) = delete;

  // Told of every file that the command is about to make; makes its folder.
  void add(const std::string& file);
  void keep() { kept_ = true; }

 private:
  MadeFolders folders_;
  std::vector<std::string> files_;
  bool kept_ = false;
};

// The folder of a file's name; empty for a name alone.
std::string folderOf(const std::string& file);

// The whole text or what was there before: it becomes the file when all of it is written. Throws Failure.
void writeWholeFile(const std::string& file, std::string_view content);

// The name that it has until then.
std::string unfinishedName(const std::string& file);

}  // namespace cli
