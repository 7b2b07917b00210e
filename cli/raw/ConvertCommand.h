// kvexa convert: raw files to pictures, a single one or a folder of them, on all cores.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "cli/raw/PictureFile.h"
#include "cli/raw/RawFile.h"

namespace cli {

struct ConvertOptions {
  std::string input;   // a raw file, or a folder of *.raw and *.bin
  std::string output;  // a picture, or a folder
  std::string ending;  // of the pictures of a folder: "png"
  RawLayout layout;
  PictureSettings settings;
  bool quiet = false;
};

struct ConvertedFile {
  std::string input;
  std::string output;
  std::string failure;  // empty when the picture is there
};

struct ConvertReport {
  std::vector<ConvertedFile> files;  // in the order of their names
  std::uint32_t width = 0;           // of the frames
  std::uint32_t padding = 0;         // black columns of bitmaps, so that other programs can read them
  bool stopped = false;              // by Ctrl-C
};

// Throws Failure when nothing can be converted. Of a file that cannot be, nothing is left.
ConvertReport convert(const ConvertOptions& options);

void print(const ConvertReport& report);
nlohmann::json toJson(const ConvertReport& report);

// Throws Failure when not every file became a picture: the reason of a single one, or how many.
void requireAll(const ConvertReport& report);

}  // namespace cli
