// The files of a stream: numbered, each whole or not there.
#pragma once

#include <cstdint>
#include <string>

#include "cli/files/OutputFiles.h"
#include "cli/frames/Picture.h"

namespace cli {

class FrameFiles {
 public:
  // The last '#' of the file's name is replaced by the frame's number, with leading zeros; `count` frames
  // come, or without end when it is 0. The ending says what is written. Throws Failure when several frames
  // would go to one file.
  FrameFiles(std::string name, std::uint32_t count);
  ~FrameFiles();
  FrameFiles(const FrameFiles&) = delete;
  FrameFiles& operator=(const FrameFiles&) = delete;

  FileKind kind() const { return kind_; }

  // Throws Failure and leaves no part of a file.
  void save(std::uint32_t number, const std::uint8_t* frame, FrameWriter& writer);

 private:
  std::string pathOf(std::uint32_t number) const;

  std::string name_;
  FileKind kind_;
  std::size_t mark_;
  unsigned digits_;
  MadeFolders folders_;
  bool hasFolder_ = false;
};

}  // namespace cli
