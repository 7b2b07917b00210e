#include "OutputFiles.h"

#include <fstream>
#include <system_error>

#include "Failure.h"

namespace cli {

OutputFiles::OutputFiles(const std::string& folder) : folder_(folder) {
  std::error_code error;
  std::filesystem::create_directories(folder_, error);
  if (!std::filesystem::is_directory(folder_, error)) throw Failure(folder + ": cannot be made a folder");
}

OutputFiles::~OutputFiles() {
  if (kept_) return;
  for (const auto& file : files_) {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  }
}

std::string OutputFiles::name(const std::string& file) {
  files_.push_back(folder_ / file);
  return files_.back().generic_string();
}

void OutputFiles::write(const std::string& file, std::span<const std::uint8_t> bytes) {
  const std::string path = name(file);
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!stream.flush()) throw Failure(path + ": cannot be written");
}

}  // namespace cli
