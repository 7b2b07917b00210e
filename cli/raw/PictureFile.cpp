#include "cli/raw/PictureFile.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
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

bool keepsSamples(PictureKind kind, bool isBayer, const PictureSettings& settings) {
  return settings.mosaic || !isBayer || kind == PictureKind::dng || kind == PictureKind::npy;
}

std::array<double, 3> parseGains(const std::string& text) {
  std::array<double, 3> gains{};
  const char* place = text.c_str();
  for (std::size_t i = 0; i < gains.size(); ++i) {
    char* end = nullptr;
    gains[i] = std::strtod(place, &end);
    const char separator = i + 1 == gains.size() ? '\0' : ',';
    // In this form it is false for a value that is no number.
    if (end == place || *end != separator || !(gains[i] >= -1e6 && gains[i] <= 1e6)) {
      throw UsageFailure("--gains: '" + text + "' is not three numbers, as 1.9,1,1.6");
    }
    place = end + 1;
  }
  return gains;
}

pictures::Picture picturesSamples(std::span<const std::uint8_t> samples, const SampleFacts& facts) {
  std::string description = std::to_string(facts.bits) + " bits, values as captured";
  if (facts.isBayer) description += std::string(", Bayer pattern ") + patternNames[facts.pattern];
  return {samples, facts.width, facts.height, 1, facts.bits > 8 ? 2U : 1U, description};
}

pictures::Picture picturesColours(kvexa::Image& image) {
  const std::size_t count = std::size_t{image.width()} * image.height();
  std::uint8_t* pixel = image.pixels();
  for (std::size_t i = 0; i < count; ++i, pixel += 3) std::swap(pixel[0], pixel[2]);
  return {{image.pixels(), 3 * count}, image.width(), image.height(), 3, 1, ""};
}

pictures::Bytes pictureBytes(PictureKind kind, const pictures::Picture& picture, const SampleFacts& facts,
                             const PictureSettings& settings) {
  switch (kind) {
    case PictureKind::png: return pictures::pngOf(picture);
    case PictureKind::tiff: return pictures::tiffOf(picture);
    case PictureKind::npy: return pictures::npyOf(picture);
    default: break;
  }
  const auto black = static_cast<std::uint16_t>(settings.black);
  return pictures::dngOf({.picture = picture,
                          .pattern = facts.pattern,
                          .white = settings.white != 0 ? settings.white : (1U << facts.bits) - 1,
                          .black = {black, black, black, black},
                          .gains = settings.gains});
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
  const bool isBitmap = kind_ == PictureKind::bmp;
  const std::int32_t result =
      isBitmap ? bitmap_.save(colour_, name) : colour_.saveJpeg(name, settings_.quality);
  std::error_code ignored;
  if (result < 0 && std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  require(isBitmap ? "kVexaSaveBmpFile" : "kVexaSaveJpegFile", result);
}

pictures::Bytes PictureFile::fileOf(const RawFrame& frame) {
  const bool isBayer = layout_.format == RawFormat::bayer;
  const SampleFacts facts{layout_.width, layout_.height, layout_.bits, isBayer, layout_.pattern};
  const bool isKept = hasPlainSamples(layout_) && keepsSamples(kind_, isBayer, settings_);
  if (!isKept) develop(frame);
  return pictureBytes(kind_, isKept ? picturesSamples(frame.bytes(), facts) : picturesColours(colour_), facts,
                      settings_);
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

}  // namespace cli
