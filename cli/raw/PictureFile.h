// A raw frame as a picture of any kind that the tool writes.
#pragma once

#include <kvexa_frames.hpp>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>

#include "cli/pictures/Picture.h"
#include "cli/raw/RawFile.h"

namespace cli {

enum class PictureKind { bmp, jpeg, png, tiff, dng, npy };

// By the name's ending, without the point, in any case. Throws Failure, which names the endings that there
// are.
PictureKind pictureKindOf(const std::string& ending);

struct PictureSettings {
  bool mosaic = false;                   // PNG and TIFF: the samples as they are instead of colours
  std::uint32_t quality = 90;            // of JPEG files
  std::uint32_t black = 0;               // DNG
  std::uint32_t white = 0;               // DNG; 0: the largest value of the depth
  std::array<double, 3> gains{1, 1, 1};  // DNG: red, green, blue
  std::uint32_t yuyvMethod = 0;          // KvexaYuyvMethod
  std::uint32_t yuyvOrder = 0;           // 0 for Y0, U, Y1, V; 1 for U, Y0, V, Y1
};

// Throws Failure when a frame of this layout cannot become a picture of this kind.
void checkKind(const RawLayout& layout, PictureKind kind, const PictureSettings& settings);

// Makes and writes pictures, one after the other, with memory that serves for all.
class PictureFile {
 public:
  PictureFile(const RawLayout& layout, PictureKind kind, const PictureSettings& settings)
      : layout_(layout), kind_(kind), settings_(settings) {}

  // Throws Failure, or what the writers throw; nothing is left then.
  void save(const RawFrame& frame, const std::filesystem::path& path);

  const RawLayout& layout() const { return layout_; }

  // Columns that the picture lacks: the library writes bitmaps that other programs can read when their width
  // is a multiple of 4.
  std::uint32_t columnsCut() const { return kind_ == PictureKind::bmp ? layout_.width % 4 : 0; }

 private:
  void saveThroughLibrary(const std::filesystem::path& path);
  pictures::Bytes fileOf(const RawFrame& frame);
  pictures::Picture samplesAsTheyAre(const RawFrame& frame) const;
  void develop(const RawFrame& frame);
  void developGrey(const RawFrame& frame);
  void developRgb565(const RawFrame& frame);
  void swapRedAndBlue();

  RawLayout layout_;
  PictureKind kind_;
  PictureSettings settings_;
  kvexa::Image colour_{0, 0};
};

}  // namespace cli
