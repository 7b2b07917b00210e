// Pictures of captured frames: what the samples are, how they become colours, and the files.
#pragma once

#include <kvexa.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "cli/base/Options.h"
#include "cli/base/Output.h"
#include "cli/frames/FrameSetup.h"
#include "cli/raw/PictureFile.h"

namespace cli {

// What the samples of a frame are.
enum class SampleKind : std::uint32_t { byFormat, bayer, yuyv, rgb565, rgb555, bgr24, grey };

// The word of --format.
const char* nameOf(SampleKind kind);

struct PictureOptions {
  std::uint32_t kind = 0;  // SampleKind
  std::uint32_t pattern = 0;
  std::uint32_t order = 1;  // of YUYV samples: 0 luma first, 1 chroma first
  std::uint32_t method = 0;
  std::uint32_t quality = 90;   // of JPEG files
  std::string kernels;          // a file of 108 numbers, for Bayer samples
  std::string matrix;           // a file of 13 numbers, for YUYV samples
  bool mosaic = false;          // PNG and TIFF: the samples as they are instead of colours
  std::uint32_t black = 0;      // DNG
  std::uint32_t white = 0;      // DNG; 0: the largest value of the depth
  std::string gains = "1,1,1";  // DNG
};

void addPictureOptions(Options& options, PictureOptions& picture);

// Makes pictures of 24 bits a pixel.
class PictureMaker {
 public:
  // Reads the kernels and the matrix. Throws Failure.
  PictureMaker(const PictureOptions& options, const CapParam& parameters, const FrameLayout& layout);

  const char* kindName() const;

  // Why there can be no picture; empty when there can.
  const std::string& hindrance() const { return hindrance_; }

  // Never byFormat.
  SampleKind kind() const { return kind_; }
  std::uint32_t width() const { return width_; }  // pixels
  bool isWide() const { return isWide_; }         // samples of two bytes

  // The name of the library's conversion is given back, or "" where none is needed. Throws CallFailure.
  std::string make(const std::uint8_t* frame, kvexa::Image& image) const;

 private:
  void findHindrance();
  std::string makeBayer(const std::uint8_t* frame, kvexa::Image& image) const;
  std::string makeYuyv(const std::uint8_t* frame, kvexa::Image& image) const;
  void unpack(const std::uint8_t* frame, kvexa::Image& image) const;

  PictureOptions options_;
  FrameLayout layout_;
  SampleKind kind_;
  bool isWide_;              // samples of two bytes
  std::uint32_t width_ = 0;  // pixels
  std::vector<double> kernels_;
  std::vector<double> matrix_;
  std::string hindrance_;
};

// How a file is written, by the ending of its name.
enum class FileKind { folder, raw, bin, bmp, jpeg, png, tiff, dng, npy };

// Throws UsageFailure for endings of pictures that are not written.
FileKind fileKindOf(const std::string& name);

// Whether colours, or samples that are not packed, are needed for it.
bool isPicture(FileKind kind);

// Frames and their pictures as files.
class FrameWriter {
 public:
  // Throws UsageFailure for gains that are none.
  FrameWriter(const PictureMaker& maker, const PictureOptions& options, const FrameLayout& layout);

  // Why there can be no such file, or nothing.
  std::string hindrance(FileKind kind) const;

  // Tells every step when there is somebody to tell. Throws Failure; part of a file may be there then.
  void write(const std::string& path, FileKind kind, const std::uint8_t* frame, Output* output);

 private:
  void writeRaw(const std::string& path, const std::uint8_t* frame, Output* output) const;
  void writeBin(const std::string& path, const std::uint8_t* frame, Output* output) const;
  void writeBmp(const std::string& path, Output* output);
  void makePicture(const std::uint8_t* frame, Output* output);
  void writePicture(const std::string& path, FileKind kind, const std::uint8_t* frame, Output* output);

  const PictureMaker& maker_;
  const PictureOptions& options_;
  FrameLayout layout_;
  kvexa::Image image_{0, 0};
  BitmapWriter bitmap_;
  PictureSettings settings_;
};

}  // namespace cli
