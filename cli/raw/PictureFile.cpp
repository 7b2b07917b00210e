#include "cli/raw/PictureFile.h"

#include <algorithm>
#include <cctype>
#include <system_error>
#include <utility>

#include "cli/base/Failure.h"
#include "cli/pictures/DngWriter.h"
#include "cli/pictures/FileWriter.h"

namespace cli {

namespace {

constexpr std::array<std::pair<const char*, PictureKind>, 8> endings{{{"bmp", PictureKind::bmp},
                                                                      {"jpg", PictureKind::jpeg},
                                                                      {"jpeg", PictureKind::jpeg},
                                                                      {"png", PictureKind::png},
                                                                      {"tif", PictureKind::tiff},
                                                                      {"tiff", PictureKind::tiff},
                                                                      {"dng", PictureKind::dng},
                                                                      {"npy", PictureKind::npy}}};

constexpr std::array<const char*, 4> patternNames{"GRBG", "RGGB", "BGGR", "GBRG"};

void require(const char* call, std::int32_t result) {
  if (result < 0) throw Failure(std::string(call) + " returned " + kvexa::describe(result));
}

bool hasPlainSamples(const RawLayout& layout) {
  return layout.format == RawFormat::bayer || layout.format == RawFormat::grey;
}

}  // namespace

PictureKind pictureKindOf(const std::string& ending) {
  std::string lower = ending;
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  std::string names;
  for (const auto& [name, kind] : endings) {
    if (lower == name) return kind;
    names += (names.empty() ? "" : ", ") + std::string(name);
  }
  throw Failure("'" + ending + "' is no kind of picture; there are " + names);
}

void checkKind(const RawLayout& layout, PictureKind kind, const PictureSettings& settings) {
  checkLayout(layout);
  if (kind == PictureKind::dng && layout.format != RawFormat::bayer) {
    throw Failure(std::string("a DNG file holds a Bayer mosaic, not ") + nameOf(layout.format));
  }
  if (settings.mosaic && !hasPlainSamples(layout)) {
    throw Failure(std::string("--mosaic keeps Bayer or grey samples, not ") + nameOf(layout.format));
  }
  if (settings.mosaic && (kind == PictureKind::bmp || kind == PictureKind::jpeg)) {
    throw Failure("--mosaic goes with PNG and TIFF files (DNG and NPY files keep the samples anyhow)");
  }
  if (kind == PictureKind::bmp && layout.width < 4) {
    throw Failure("a bitmap that other programs can read is at least 4 pixels wide");
  }
}

void PictureFile::save(const RawFrame& frame, const std::filesystem::path& path) {
  if (kind_ == PictureKind::bmp || kind_ == PictureKind::jpeg) {
    develop(frame);
    saveThroughLibrary(path);
  } else {
    pictures::writeFile(path, fileOf(frame));
  }
}

void PictureFile::saveThroughLibrary(const std::filesystem::path& path) {
  const std::string name = kvexa::ansi(path.wstring());
  const SaveRect part{0, 0, layout_.width - columnsCut(), layout_.height};
  const bool isBitmap = kind_ == PictureKind::bmp;
  const std::int32_t result =
      isBitmap ? kVexaSaveBmpFile(name.c_str(), colour_.pixels(), layout_.width, layout_.height, &part,
                                  KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS)
               : kVexaSaveJpegFile(name.c_str(), colour_.pixels(), layout_.width, layout_.height, &part,
                                   KVEXA_FORMAT_BGR24, settings_.quality);
  std::error_code ignored;
  if (result < 0 && std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  require(isBitmap ? "kVexaSaveBmpFile" : "kVexaSaveJpegFile", result);
}

pictures::Bytes PictureFile::fileOf(const RawFrame& frame) {
  pictures::Picture picture;
  if (hasPlainSamples(layout_) && (settings_.mosaic || kind_ == PictureKind::dng ||
                                   kind_ == PictureKind::npy || layout_.format == RawFormat::grey)) {
    picture = samplesAsTheyAre(frame);
  } else {
    develop(frame);
    swapRedAndBlue();
    const std::size_t bytes = std::size_t{3} * layout_.width * layout_.height;
    picture = {{colour_.pixels(), bytes}, layout_.width, layout_.height, 3, 1, ""};
  }
  switch (kind_) {
    case PictureKind::png: return pictures::pngOf(picture);
    case PictureKind::tiff: return pictures::tiffOf(picture);
    case PictureKind::npy: return pictures::npyOf(picture);
    default: break;
  }
  const auto black = static_cast<std::uint16_t>(settings_.black);
  const std::uint32_t white = settings_.white != 0 ? settings_.white : (1U << layout_.bits) - 1;
  return pictures::dngOf({.picture = picture,
                          .pattern = layout_.pattern,
                          .white = white,
                          .black = {black, black, black, black},
                          .gains = settings_.gains});
}

pictures::Picture PictureFile::samplesAsTheyAre(const RawFrame& frame) const {
  std::string description = std::to_string(layout_.bits) + " bits, values as captured";
  if (layout_.format == RawFormat::bayer) {
    description += std::string(", Bayer pattern ") + patternNames[layout_.pattern];
  }
  return {frame.bytes(), layout_.width, layout_.height, 1, layout_.bytesPerSample(), description};
}

void PictureFile::develop(const RawFrame& frame) {
  const bool isWide = layout_.bytesPerSample() == 2;
  const std::uint8_t* bytes = frame.bytes().data();
  colour_.resize(layout_.width, layout_.height);
  switch (layout_.format) {
    case RawFormat::bayer:
      if (isWide) {
        require("kVexaRaw16ToRgb888", colour_.fromBayer16(frame.words(), layout_.pattern, layout_.bits));
      } else {
        require("kVexaRaw8ToRgb888", colour_.fromBayer8(bytes, layout_.pattern));
      }
      break;
    case RawFormat::yuyv:
      if (isWide) {
        require(
            "kVexaYuyv16ToRgbT2",
            kVexaYuyv16ToRgbT2(frame.words(), colour_.pixels(), layout_.width, layout_.height,
                               settings_.yuyvMethod, settings_.yuyvOrder, KVEXA_FORMAT_BGR24, layout_.bits));
      } else {
        require("kVexaYuyv8ToRgbT2", colour_.fromYuyv8(bytes, settings_.yuyvMethod, settings_.yuyvOrder));
      }
      break;
    case RawFormat::grey: developGrey(frame); break;
    case RawFormat::rgb565: developRgb565(frame); break;
    case RawFormat::bgr24: std::ranges::copy(frame.bytes(), colour_.pixels()); break;
  }
}

void PictureFile::developGrey(const RawFrame& frame) {
  const std::size_t count = std::size_t{layout_.width} * layout_.height;
  const std::uint8_t* bytes = frame.bytes().data();
  std::uint8_t* to = colour_.pixels();
  const bool isWide = layout_.bytesPerSample() == 2;
  for (std::size_t i = 0; i < count; ++i, to += 3) {
    const unsigned value = isWide ? frame.words()[i] >> (layout_.bits - 8) : bytes[i];
    std::fill_n(to, 3, static_cast<std::uint8_t>(std::min(value, 255U)));
  }
}

void PictureFile::developRgb565(const RawFrame& frame) {
  const std::size_t count = std::size_t{layout_.width} * layout_.height;
  std::uint8_t* to = colour_.pixels();
  for (std::size_t i = 0; i < count; ++i, to += 3) {
    const unsigned pixel = frame.words()[i];
    to[0] = static_cast<std::uint8_t>((pixel & 0x1F) << 3);
    to[1] = static_cast<std::uint8_t>((pixel >> 5 & 0x3F) << 2);
    to[2] = static_cast<std::uint8_t>((pixel >> 11) << 3);
  }
}

// The library's pictures have blue first, those of PNG, TIFF and NPY files red.
void PictureFile::swapRedAndBlue() {
  const std::size_t count = std::size_t{layout_.width} * layout_.height;
  std::uint8_t* pixel = colour_.pixels();
  for (std::size_t i = 0; i < count; ++i, pixel += 3) std::swap(pixel[0], pixel[2]);
}

}  // namespace cli
