#include "FrameFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Failure.h"

namespace cli {

namespace {

constexpr std::size_t fewestDigits = 4;
constexpr std::size_t digitsWithoutEnd = 6;

std::size_t findMark(const std::string& name) {
  const std::size_t mark = name.rfind('#');
  const std::size_t folder = name.find_last_of("/\\");
  // A '#' in the name of a folder is part of that name.
  return mark != std::string::npos && folder != std::string::npos && mark < folder ? std::string::npos : mark;
}

void check(const std::string& path, const char* call, std::int32_t result) {
  kvexa::require(path + ": " + call, result);
}

}  // namespace

FrameFiles::FrameFiles(std::string name, std::uint32_t count)
    : name_(std::move(name)),
      mark_(findMark(name_)),
      digits_(static_cast<unsigned>(count == 0 ? digitsWithoutEnd
                                               : std::max(fewestDigits, std::to_string(count).size()))) {
  if (mark_ == std::string::npos && count != 1) {
    throw Failure(name_ + ": needs a '#' where the frames' numbers go");
  }
  const std::filesystem::path folder = std::filesystem::path(name_).parent_path();
  if (folder.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (!std::filesystem::is_directory(folder, error)) {
    throw Failure(folder.generic_string() + ": cannot be made a folder");
  }
}

void FrameFiles::save(std::uint32_t number, const std::uint8_t* samples, const FrameLayout& frame,
                      std::uint32_t pattern) {
  const std::string path = pathOf(number);
  colour_.resize(frame.width, frame.height);
  check(path, "kVexaRaw8ToRgb888", colour_.fromBayer8(samples, pattern));
  const std::int32_t result = colour_.saveBmp(path);
  if (result < 0) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  }
  check(path, "kVexaSaveBmpFile", result);
}

std::string FrameFiles::pathOf(std::uint32_t number) const {
  if (mark_ == std::string::npos) return name_;
  std::string digits = std::to_string(number);
  if (digits.size() < digits_) digits.insert(0, digits_ - digits.size(), '0');
  return std::string(name_).replace(mark_, 1, digits);
}

}  // namespace cli
