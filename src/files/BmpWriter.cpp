#include "files/BmpWriter.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <span>

#include "files/ImageRect.h"
#include "files/OutputFile.h"
#include "files/Rgb16.h"

namespace kvexa::files {

namespace {

using RowConverter = void (*)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels);

void putWord(std::uint8_t* destination, std::uint32_t word) {
  destination[0] = static_cast<std::uint8_t>(word);
  destination[1] = static_cast<std::uint8_t>(word >> 8);
}

void greyTo565(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) {
    const std::uint32_t grey = source[i];
    // Green gets the same five bits as red and blue, so its lowest bit is 0. That is intended.
    putWord(destination + 2 * i, ((grey & 0xF8) << 8) + ((grey & 0xF8) << 3) + (grey >> 3));
  }
}

void greyTo24(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i) std::fill_n(destination + 3 * i, 3, source[i]);
}

struct Combination {
  std::uint32_t format;
  std::uint32_t kind;
  std::uint32_t sourceBytes;
  std::uint32_t outputBytes;
  RowConverter convert;  // null: the bytes go out as they are
};

constexpr std::array<Combination, 6> combinations{{
    {KVEXA_FORMAT_GREY8, KVEXA_BMP_8_BITS, 1, 1, nullptr},
    {KVEXA_FORMAT_GREY8, KVEXA_BMP_16_BITS, 1, 2, greyTo565},
    {KVEXA_FORMAT_GREY8, KVEXA_BMP_24_BITS, 1, 3, greyTo24},
    {KVEXA_FORMAT_RGB565, KVEXA_BMP_16_BITS, 2, 2, nullptr},
    {KVEXA_FORMAT_RGB565, KVEXA_BMP_24_BITS, 2, 3, rgb565ToBgr},
    {KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS, 3, 3, nullptr},
}};

constexpr std::uint32_t headerBytes = 54;
constexpr std::uint32_t informationBytes = 40;
constexpr std::uint32_t paletteBytes = 1024;
constexpr std::uint32_t bitFieldCompression = 3;
constexpr std::array<std::uint32_t, 3> rgb565Masks{0xF800, 0x07E0, 0x001F};

std::uint32_t extraBytes(std::uint32_t outputBytes) {
  switch (outputBytes) {
    case 1: return paletteBytes;
    case 2: return sizeof rgb565Masks;
    default: return 0;
  }
}

std::uint32_t coloursUsed(std::uint32_t outputBytes) {
  switch (outputBytes) {
    case 1: return 256;
    case 2: return 3;  // the masks count as colours; that is intended
    default: return 0;
  }
}

// Everything before the pixels: at most the headers and a palette.
class Preamble {
 public:
  Preamble(const SaveRect& rect, std::uint32_t outputBytes) {
    const std::uint32_t imageBytes = rect.width * rect.height * outputBytes;
    const std::uint32_t pixelOffset = headerBytes + extraBytes(outputBytes);
    putShort('B' | 'M' << 8);
    putLong(pixelOffset + imageBytes);
    putLong(0);
    putLong(pixelOffset);
    putLong(informationBytes);
    putLong(rect.width);
    putLong(rect.height);
    putShort(1);
    putShort(8 * outputBytes);
    putLong(outputBytes == 2 ? bitFieldCompression : 0);
    putLong(imageBytes);
    putLong(0);
    putLong(0);
    putLong(coloursUsed(outputBytes));
    putLong(0);
    if (outputBytes == 1) putPalette();
    if (outputBytes == 2) std::ranges::for_each(rgb565Masks, [this](std::uint32_t mask) { putLong(mask); });
  }

  std::span<const std::uint8_t> bytes() const { return {bytes_.data(), used_}; }

 private:
  void putShort(std::uint32_t value) {
    putWord(bytes_.data() + used_, value);
    used_ += 2;
  }

  void putLong(std::uint32_t value) {
    putShort(value);
    putShort(value >> 16);
  }

  void putPalette() {
    // All four bytes of an entry carry the grey, the reserved one too. That is intended.
    for (std::uint32_t grey = 0; grey < 256; ++grey) putLong(grey * 0x01010101);
  }

  std::array<std::uint8_t, headerBytes + paletteBytes> bytes_{};
  std::size_t used_ = 0;
};

void writeRows(OutputFile& file, const Image& image, const SaveRect& rect, const Combination& combination) {
  const std::size_t rowBytes = std::size_t{rect.width} * combination.outputBytes;
  for (std::uint32_t row = rect.height; row-- > 0;) {
    const std::uint8_t* bytes = rowOf(image, rect, row, combination.sourceBytes);
    // Rows are not padded to a multiple of four bytes. That is intended.
    if (combination.convert != nullptr) {
      combination.convert(bytes, file.put(rowBytes).data(), rect.width);
    } else {
      file.write(bytes, rowBytes);
    }
  }
}

const Combination* find(std::uint32_t format, std::uint32_t kind) {
  const auto* const found = std::ranges::find_if(combinations, [&](const Combination& candidate) {
    return candidate.format == format && candidate.kind == kind;
  });
  return found == combinations.end() ? nullptr : found;
}

// The size field of the file's header has 32 bits.
bool fitsIntoFile(const SaveRect& rect, std::uint32_t outputBytes) {
  const std::uint64_t room =
      std::numeric_limits<std::uint32_t>::max() - headerBytes - extraBytes(outputBytes);
  return std::uint64_t{rect.width} * rect.height <= room / outputBytes;
}

}  // namespace

std::int32_t saveBmp(const char* path, const void* image, std::uint32_t imageWidth, std::uint32_t imageHeight,
                     const SaveRect* rect, std::uint32_t format, std::uint32_t kind) {
  const Image source{static_cast<const std::uint8_t*>(image), imageWidth, imageHeight};
  const Combination* combination = find(format, kind);
  if (path == nullptr || combination == nullptr || !isInside(source, rect)) return KVEXA_BAD_ARGUMENT;
  if (!isAddressable(source, *rect, combination->sourceBytes) ||
      !fitsIntoFile(*rect, combination->outputBytes)) {
    return KVEXA_BAD_ARGUMENT;
  }
  OutputFile file(std::size_t{rect->width} * combination->outputBytes);
  if (!file || !file.create(path)) return KVEXA_FILE_NOT_OPENED;
  const Preamble preamble(*rect, combination->outputBytes);
  file.write(preamble.bytes().data(), preamble.bytes().size());
  writeRows(file, source, *rect, *combination);
  return file.finish() ? KVEXA_OK : KVEXA_FILE_NOT_OPENED;
}

}  // namespace kvexa::files
