#include "cli/raw/RawFile.h"

#include <array>
#include <fstream>
#include <system_error>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

namespace cli {

namespace {

struct FormatFacts {
  const char* name;
  std::uint32_t samplesPerPixel;
  std::uint32_t mostBits;
};

// In the order of RawFormat.
constexpr std::array<FormatFacts, 5> formats{
    {{"bayer", 1, 16}, {"grey", 1, 16}, {"yuyv", 2, 16}, {"rgb565", 2, 8}, {"bgr24", 3, 8}}};

const FormatFacts& factsOf(RawFormat format) { return formats[static_cast<std::size_t>(format)]; }

std::uint64_t roundUp(std::uint64_t size) {
  constexpr std::uint64_t transferUnit = 512;
  return (size + transferUnit - 1) / transferUnit * transferUnit;
}

}  // namespace

const char* nameOf(RawFormat format) { return factsOf(format).name; }

std::uint32_t RawLayout::samplesPerPixel() const { return factsOf(format).samplesPerPixel; }

std::uint64_t RawLayout::bytes() const {
  return std::uint64_t{width} * height * samplesPerPixel() * bytesPerSample();
}

std::string RawLayout::text() const {
  return std::to_string(width) + " x " + std::to_string(height) + " " + nameOf(format) + ", " +
         std::to_string(bits) + " bits";
}

void checkLayout(const RawLayout& layout) {
  // More does not fit into a 32-bit process together with its picture.
  constexpr std::uint64_t mostBytes = std::uint64_t{1} << 29;
  constexpr std::uint32_t mostPixels = 65535;
  if (layout.width == 0 || layout.height == 0 || layout.width > mostPixels || layout.height > mostPixels) {
    throw Failure("a frame has 1 to 65535 pixels a side, not " + std::to_string(layout.width) + " x " +
                  std::to_string(layout.height));
  }
  const std::uint32_t mostBits = factsOf(layout.format).mostBits;
  if (layout.bits < 8 || layout.bits > mostBits) {
    throw Failure(std::string(nameOf(layout.format)) + " samples have 8 " +
                  (mostBits == 8 ? "bits" : "to " + std::to_string(mostBits) + " bits") + ", not " +
                  std::to_string(layout.bits));
  }
  if (layout.format == RawFormat::yuyv && layout.width % 2 != 0) {
    throw Failure("yuyv frames have an even width: two pixels share their colour");
  }
  if (layout.bytes() > mostBytes) throw Failure("a frame of " + layout.text() + " is too large");
}

void RawFrame::read(const std::filesystem::path& path, const RawLayout& layout) {
  std::error_code error;
  const std::uint64_t size = std::filesystem::file_size(path, error);
  std::ifstream file(path, std::ios::binary);
  if (error || !file) throw Failure(shownName(path) + ": cannot be opened");
  size_ = layout.bytes();
  if (size != size_ && size != roundUp(size_)) {
    throw Failure(shownName(path) + ": has " + std::to_string(size) + " bytes, a frame of " + layout.text() +
                  " has " + std::to_string(size_) + "; give its width, height, format and bits");
  }
  words_.resize(static_cast<std::size_t>((size_ + 1) / 2));
  file.read(reinterpret_cast<char*>(words_.data()), static_cast<std::streamsize>(size_));
  if (!file) throw Failure(shownName(path) + ": cannot be read");
}

}  // namespace cli
