// The three image writers as one kind of function, for what they have in common.
#pragma once

#include <array>
#include <cstdint>
#include <ostream>

#include "kvexa.h"

namespace kvexa::test {

struct ImageWriter {
  const char* name;
  std::int32_t cannotWrite;  // the file cannot be created, or not written to its end
  std::uint32_t pixelBytes;  // of the image
  std::int32_t (*save)(const char* path, const void* image, std::uint32_t width, std::uint32_t height,
                       const SaveRect& rect);
};

inline const std::array<ImageWriter, 4> imageWriters{{
    {"bin", KVEXA_FILE_NOT_OPENED, 3,
     [](const char* path, const void* image, std::uint32_t width, std::uint32_t height,
        const SaveRect& rect) {
       return kVexaSaveBinFile(path, image, width, height, &rect, KVEXA_FORMAT_BGR24);
     }},
    {"bitmap", KVEXA_FILE_NOT_OPENED, 3,
     [](const char* path, const void* image, std::uint32_t width, std::uint32_t height,
        const SaveRect& rect) {
       return kVexaSaveBmpFile(path, image, width, height, &rect, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS);
     }},
    {"convertedBitmap", KVEXA_FILE_NOT_OPENED, 1,
     [](const char* path, const void* image, std::uint32_t width, std::uint32_t height,
        const SaveRect& rect) {
       return kVexaSaveBmpFile(path, image, width, height, &rect, KVEXA_FORMAT_GREY8, KVEXA_BMP_24_BITS);
     }},
    {"jpeg", KVEXA_FAILED, 3,
     [](const char* path, const void* image, std::uint32_t width, std::uint32_t height,
        const SaveRect& rect) {
       return kVexaSaveJpegFile(path, image, width, height, &rect, KVEXA_FORMAT_BGR24, 90);
     }},
}};

inline std::ostream& operator<<(std::ostream& stream, const ImageWriter& writer) {
  return stream << writer.name;
}

}  // namespace kvexa::test
