#include "cli/serve/picture/Jpeg.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

// Needs stdio's names.
#include <jpeglib.h>

#include "cli/base/Failure.h"

namespace cli::serve {

namespace {

constexpr std::size_t pixelBytes = 3;
constexpr std::uint32_t fileHeaderBytes = 14;
constexpr std::uint32_t headerBytes = 40;
constexpr std::uint32_t rowMultiple = 4;
constexpr std::uint32_t planesAndDepth = 24 << 16 | 1;

// The encoder ends the process when it meets an error, unless its handler returns elsewhere.
struct Errors {
  jpeg_error_mgr handler;  // first: the encoder knows this address
  std::jmp_buf caller;
};

[[noreturn]] void returnToCaller(j_common_ptr encoder) {
  std::longjmp(reinterpret_cast<Errors*>(encoder->err)->caller, 1);
}

void keepSilent(j_common_ptr /*encoder*/) {}

struct Job {
  const std::uint8_t* bgr;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t quality;
  unsigned char* bytes;  // from malloc; the encoder may take others
  unsigned long length;  // NOLINT(google-runtime-int): the encoder's type
};

void encode(jpeg_compress_struct& encoder, Job& job) {
  jpeg_create_compress(&encoder);
  jpeg_mem_dest(&encoder, &job.bytes, &job.length);
  encoder.image_width = job.width;
  encoder.image_height = job.height;
  encoder.input_components = pixelBytes;
  encoder.in_color_space = JCS_EXT_BGR;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, static_cast<int>(job.quality), TRUE);
  jpeg_start_compress(&encoder, TRUE);
  for (std::size_t i = 0; i < job.height; ++i) {
    // The encoder only reads.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast)
    JSAMPROW row = const_cast<JSAMPROW>(job.bgr + i * job.width * pixelBytes);
    jpeg_write_scanlines(&encoder, &row, 1);
  }
  jpeg_finish_compress(&encoder);
}

// False when the encoder met an error. It returns here past every function that it has called, so none of
// them, and not this one, may own anything.
bool compress(Job& job) {
  Errors errors{};
  jpeg_compress_struct encoder{};
  encoder.err = jpeg_std_error(&errors.handler);
  errors.handler.error_exit = returnToCaller;
  errors.handler.output_message = keepSilent;
  const bool isDone = setjmp(errors.caller) == 0 && (encode(encoder, job), true);
  jpeg_destroy_compress(&encoder);
  return isDone;
}

struct Freer {
  void operator()(unsigned char* bytes) const { std::free(bytes); }  // NOLINT: the encoder's memory
};

void putWord(std::vector<std::uint8_t>& bytes, std::size_t place, std::uint32_t value) {
  for (unsigned i = 0; i < 4; ++i) bytes[place + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

}  // namespace

std::vector<std::uint8_t> jpegOf(const kvexa::Image& image, std::uint32_t quality) {
  Job job{image.pixels(), image.width(), image.height(), quality, nullptr, 0};
  const bool isDone = compress(job);
  const std::unique_ptr<unsigned char, Freer> owner(job.bytes);
  if (!isDone) {
    throw Failure(
        "the picture cannot be encoded as JPEG: a side has more than 65500 pixels, or there is no memory");
  }
  return {job.bytes, job.bytes + job.length};
}

std::vector<std::uint8_t> bmpOf(const kvexa::Image& image) {
  const std::uint64_t rowBytes =
      (std::uint64_t{image.width()} * pixelBytes + rowMultiple - 1) / rowMultiple * rowMultiple;
  const std::uint64_t all = fileHeaderBytes + headerBytes + rowBytes * image.height();
  if (all > INT32_MAX) throw Failure("the picture is too large for a bitmap");
  std::vector<std::uint8_t> file(static_cast<std::size_t>(all));
  file[0] = 'B';
  file[1] = 'M';
  putWord(file, 2, static_cast<std::uint32_t>(all));
  putWord(file, 10, fileHeaderBytes + headerBytes);
  putWord(file, 14, headerBytes);
  putWord(file, 18, image.width());
  putWord(file, 22, image.height());
  putWord(file, 26, planesAndDepth);
  putWord(file, 34, static_cast<std::uint32_t>(all) - fileHeaderBytes - headerBytes);
  const std::size_t width = image.width() * pixelBytes;
  for (std::size_t row = 0; row < image.height(); ++row) {  // the bottom row comes first
    std::memcpy(file.data() + fileHeaderBytes + headerBytes +
                    (image.height() - 1 - row) * static_cast<std::size_t>(rowBytes),
                image.pixels() + row * width, width);
  }
  return file;
}

}  // namespace cli::serve
