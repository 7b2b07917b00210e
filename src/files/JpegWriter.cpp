#include "files/JpegWriter.h"

#include <array>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>

// Needs stdio's names.
#include <jpeglib.h>

#include "files/File.h"
#include "files/ImageRect.h"
#include "files/Rgb16.h"
#include "win32/ByteBuffer.h"

namespace kvexa::files {

namespace {

constexpr std::uint32_t largestQuality = 100;
constexpr std::size_t pixelBytes = 3;
constexpr std::size_t fileBufferBytes = 1 << 20;
constexpr std::size_t largestSize = std::numeric_limits<std::size_t>::max();

struct Source {
  std::uint32_t format;
  std::uint32_t pixelBytes;
  void (*toBgr)(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels);
};

void copyBgr(const std::uint8_t* source, std::uint8_t* destination, std::size_t pixels) {
  std::memcpy(destination, source, pixels * pixelBytes);
}

constexpr std::array<Source, 3> sources{{
    {KVEXA_FORMAT_BGR24, 3, copyBgr},
    {KVEXA_FORMAT_RGB565, 2, rgb565ToBgr},
    {KVEXA_FORMAT_RGB555, 2, rgb555ToBgr},
}};

const Source* find(std::uint32_t format) {
  for (const Source& each : sources) {
    if (each.format == format) return &each;
  }
  return nullptr;
}

// The encoder ends the process when it meets an error, unless its handler returns elsewhere.
struct Errors {
  jpeg_error_mgr handler;  // first: the encoder knows this address
  std::jmp_buf caller;
};

[[noreturn]] void returnToCaller(j_common_ptr encoder) {
  std::longjmp(reinterpret_cast<Errors*>(encoder->err)->caller, 1);
}

// A library does not write to an application's standard error.
void keepSilent(j_common_ptr /*encoder*/) {}

struct Job {
  std::FILE* file;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t quality;
  const std::uint8_t* bgr;  // packed rows
  std::uint8_t* row;        // room for one of them
};

void reorder(const std::uint8_t* bgr, std::uint8_t* rgb, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels * pixelBytes; i += pixelBytes) {
    rgb[i] = bgr[i + 2];
    rgb[i + 1] = bgr[i + 1];
    rgb[i + 2] = bgr[i];
  }
}

void encode(jpeg_compress_struct& encoder, const Job& job) {
  jpeg_create_compress(&encoder);
  jpeg_stdio_dest(&encoder, job.file);
  encoder.image_width = job.width;
  encoder.image_height = job.height;
  encoder.input_components = pixelBytes;
  encoder.in_color_space = JCS_RGB;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, static_cast<int>(job.quality), TRUE);
  jpeg_start_compress(&encoder, TRUE);
  JSAMPROW row = job.row;
  for (std::size_t i = 0; i < job.height; ++i) {
    reorder(job.bgr + i * job.width * pixelBytes, row, job.width);
    jpeg_write_scanlines(&encoder, &row, 1);
  }
  jpeg_finish_compress(&encoder);
}

// False when the encoder met an error. It returns here past every function that it has called, so none of
// them, and not this one, may own anything.
bool compress(const Job& job) {
  Errors errors{};
  jpeg_compress_struct encoder{};
  encoder.err = jpeg_std_error(&errors.handler);
  errors.handler.error_exit = returnToCaller;
  errors.handler.output_message = keepSilent;
  const bool isDone = setjmp(errors.caller) == 0 && (encode(encoder, job), true);
  jpeg_destroy_compress(&encoder);
  return isDone;
}

void fill(const Image& image, const SaveRect& rect, const Source& source, std::uint8_t* bgr) {
  for (std::uint32_t row = 0; row < rect.height; ++row) {
    source.toBgr(rowOf(image, rect, row, source.pixelBytes), bgr, rect.width);
    bgr += std::size_t{rect.width} * pixelBytes;
  }
}

}  // namespace

std::int32_t saveJpeg(const char* path, const void* image, std::uint32_t imageWidth,
                      std::uint32_t imageHeight, const SaveRect* rect, std::uint32_t format,
                      std::uint32_t quality) {
  const Image whole{static_cast<const std::uint8_t*>(image), imageWidth, imageHeight};
  const Source* source = find(format);
  if (path == nullptr || source == nullptr || quality > largestQuality || !isInside(whole, rect) ||
      !endsWithin(largestSize, whole, *rect, source->pixelBytes)) {
    return KVEXA_BAD_ARGUMENT;
  }
  // Without memory for the copy nothing is written, and the result is good all the same. That is intended.
  const std::uint64_t copyBytes = std::uint64_t{rect->width} * rect->height * pixelBytes;
  if (copyBytes > largestSize) return KVEXA_OK;
  if (!isAddressable(whole, *rect, source->pixelBytes)) return KVEXA_BAD_ARGUMENT;
  ByteBuffer copy(static_cast<std::size_t>(copyBytes));
  if (!copy) return KVEXA_OK;
  fill(whole, *rect, *source, copy.all().data());

  ByteBuffer row(rect->width * pixelBytes);
  const File file = openForWriting(path);
  if (!row || !file) return KVEXA_FAILED;
  std::setvbuf(file.get(), nullptr, _IOFBF, fileBufferBytes);
  const bool isDone =
      compress({file.get(), rect->width, rect->height, quality, copy.all().data(), row.all().data()});
  return isDone ? KVEXA_OK : KVEXA_FAILED;
}

}  // namespace kvexa::files
