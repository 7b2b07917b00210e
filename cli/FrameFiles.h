// The pictures of a stream: numbered files, each whole or not there.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <string>

#include "FrameSetup.h"

namespace cli {

class FrameFiles {
 public:
  // The last '#' of the file's name is replaced by the frame's number, with leading zeros; `count` frames
  // come, or without end when it is 0. Makes the folder when it is not there. Throws Failure when several
  // frames would go to one file.
  FrameFiles(std::string name, std::uint32_t count);

  // Converts a frame of 8-bit Bayer samples and saves it. Throws Failure and leaves no part of a file.
  void save(std::uint32_t number, const std::uint8_t* samples, const FrameLayout& frame,
            std::uint32_t pattern);

 private:
  std::string pathOf(std::uint32_t number) const;

  std::string name_;
  std::size_t mark_;
  unsigned digits_;
  kvexa::Image colour_{0, 0};
};

}  // namespace cli
