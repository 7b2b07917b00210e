#include "files/BinWriter.h"

#include <array>

#include "files/ImageRect.h"
#include "files/OutputFile.h"

namespace kvexa::files {

namespace {

// Bytes a pixel of the input formats; 0 where there is no such format.
constexpr auto pixelBytes = [] {
  std::array<std::uint8_t, KVEXA_INPUT_WORD_47 + 1> bytes{};
  for (const auto format : {KVEXA_INPUT_BYTE_1, KVEXA_INPUT_GREY8, KVEXA_INPUT_BYTE_40, KVEXA_INPUT_BYTE_41,
                            KVEXA_INPUT_BYTE_42, KVEXA_INPUT_BYTE_43}) {
    bytes[format] = 1;
  }
  for (const auto format :
       {KVEXA_INPUT_WORD_2, KVEXA_INPUT_RGB565, KVEXA_INPUT_RGB555, KVEXA_INPUT_WORD_14, KVEXA_INPUT_YUV,
        KVEXA_INPUT_WORD_44, KVEXA_INPUT_WORD_45, KVEXA_INPUT_WORD_46, KVEXA_INPUT_WORD_47}) {
    bytes[format] = 2;
  }
  for (const auto format : {KVEXA_INPUT_TRIPLE_3, KVEXA_INPUT_BGR24}) bytes[format] = 3;
  bytes[KVEXA_INPUT_PACKED] = 4;
  return bytes;
}();

}  // namespace

std::int32_t saveBin(const char* path, const void* image, std::uint32_t imageWidth, std::uint32_t imageHeight,
                     const SaveRect* rect, std::uint32_t format) {
  const Image source{static_cast<const std::uint8_t*>(image), imageWidth, imageHeight};
  const std::uint32_t bytesPerPixel = format < pixelBytes.size() ? pixelBytes[format] : 0;
  if (path == nullptr || bytesPerPixel == 0 || !isInside(source, rect) ||
      !isAddressable(source, *rect, bytesPerPixel)) {
    return KVEXA_BAD_ARGUMENT;
  }
  const std::size_t rowBytes = std::size_t{rect->width} * bytesPerPixel;
  OutputFile file(0);
  if (!file || !file.create(path)) return KVEXA_FILE_NOT_OPENED;
  if (rect->width == imageWidth) {
    file.write(rowOf(source, *rect, 0, bytesPerPixel), rowBytes * rect->height);
  } else {
    for (std::uint32_t row = 0; row < rect->height; ++row) {
      file.write(rowOf(source, *rect, row, bytesPerPixel), rowBytes);
    }
  }
  return file.finish() ? KVEXA_OK : KVEXA_FILE_NOT_OPENED;
}

}  // namespace kvexa::files
