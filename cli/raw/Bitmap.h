// Bitmaps that other programs can read: the library writes rows at their exact length, and those programs
// want whole words.
#pragma once

#include <kvexa_frames.hpp>

#include <cstdint>
#include <string>

namespace cli {

// Black columns that fill the rows up.
std::uint32_t bitmapPadding(std::uint32_t width);

// For people: "has 1280 columns instead of 1277, the last ones black: ..."
std::string paddingText(std::uint32_t width);

// Writes one after the other, with memory that serves for all.
class BitmapWriter {
 public:
  // The result of kVexaSaveBmpFile; the name is in the ANSI code page.
  std::int32_t save(const kvexa::Image& image, const std::string& path);

 private:
  kvexa::Image padded_{0, 0};
};

}  // namespace cli
