// A raw frame as a picture of any kind that the tool writes.
#pragma once

#include <kvexa_frames.hpp>

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "cli/pictures/Picture.h"
#include "cli/raw/Bitmap.h"
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

// "1.9,1,1.6". Throws UsageFailure.
std::array<double, 3> parseGains(const std::string& text);

// Whether Bayer or grey samples go into such a file as they are, not as colours.
bool keepsSamples(PictureKind kind, bool isBayer, const PictureSettings& settings);

// What samples stand for when they are written as they are.
struct SampleFacts {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bits = 8;
  bool isBayer = true;
  std::uint32_t pattern = 0;  // KvexaBayerPattern
};

// Bayer or grey samples, or red, green and blue of an image, which it turns from the order of the library to
// that of the files. The samples stay with their owner.
pictures::Picture picturesSamples(std::span<const std::uint8_t> samples, const SampleFacts& facts);
pictures::Picture picturesColours(kvexa::Image& image);

// A whole file of a kind that the library does not write: PNG, TIFF, DNG, NPY. DNG files are of Bayer
// samples.
pictures::Bytes pictureBytes(PictureKind kind, const pictures::Picture& picture, const SampleFacts& facts,
                             const PictureSettings& settings);

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

  // Black columns that the picture has behind those of the frame.
  std::uint32_t padding() const { return kind_ == PictureKind::bmp ? bitmapPadding(layout_.width) : 0; }

 private:
  void saveThroughLibrary(const std::filesystem::path& path);
  pictures::Bytes fileOf(const RawFrame& frame);
  void develop(const RawFrame& frame);
  void developGrey(const RawFrame& frame);
  void developRgb565(const RawFrame& frame);

  RawLayout layout_;
  PictureKind kind_;
  PictureSettings settings_;
  kvexa::Image colour_{0, 0};
  BitmapWriter bitmap_;
};

}  // namespace cli
