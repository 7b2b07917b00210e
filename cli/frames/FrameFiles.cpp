#include "cli/frames/FrameFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

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

}  // namespace

FrameFiles::FrameFiles(std::string name, std::uint32_t count)
    : name_(std::move(name)),
      kind_(fileKindOf(name_)),
      mark_(findMark(name_)),
      digits_(static_cast<unsigned>(count == 0 ? digitsWithoutEnd
                                               : std::max(fewestDigits, std::to_string(count).size()))) {
  if (isFolder(name_) || name_.ends_with('/') || name_.ends_with('\\')) {
    throw UsageFailure(name_ + ": is a folder, and the frames need a name with a '#' in it",
                       "for example " + name_ + "/frame-#.bmp");
  }
  if (kind_ == FileKind::folder) kind_ = FileKind::bmp;
  if (mark_ == std::string::npos && count != 1) {
    throw UsageFailure(name_ + ": needs a '#' where the frames' numbers go", "for example frame-#.bmp");
  }
  MadeFolders::check(folderOf(name_));
}

FrameFiles::~FrameFiles() { folders_.removeEmpty(); }

void FrameFiles::save(std::uint32_t number, const std::uint8_t* frame, FrameWriter& writer) {
  const std::string path = pathOf(number);
  if (!hasFolder_) folders_.make(folderOf(name_));
  hasFolder_ = true;
  try {
    writer.write(path, kind_, frame, nullptr);
  } catch (...) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(toPath(path), ignored)) {
      std::filesystem::remove(toPath(path), ignored);
    }
    throw;
  }
}

std::string FrameFiles::pathOf(std::uint32_t number) const {
  if (mark_ == std::string::npos) return name_;
  std::string digits = std::to_string(number);
  if (digits.size() < digits_) digits.insert(0, digits_ - digits.size(), '0');
  return std::string(name_).replace(mark_, 1, digits);
}

}  // namespace cli
