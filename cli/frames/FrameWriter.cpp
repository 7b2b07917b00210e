#include <array>
#include <cstring>
#include <fstream>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/frames/Picture.h"

namespace cli {

namespace {

struct Ending {
  std::string_view text;
  FileKind kind;
};

constexpr std::array<Ending, 5> endings{{{".raw", FileKind::raw},
                                         {".bin", FileKind::bin},
                                         {".bmp", FileKind::bmp},
                                         {".jpg", FileKind::jpeg},
                                         {".jpeg", FileKind::jpeg}}};

// Endings that nobody gives a folder.
constexpr std::array<std::string_view, 8> otherPictures{".png", ".tif", ".tiff", ".dng",
                                                        ".npy", ".gif", ".ppm",  ".pgm"};

constexpr std::uint32_t rowMultiple = 4;

// The format of kVexaSaveBinFile with so many bytes a pixel.
std::uint32_t binFormat(std::uint32_t bytes) {
  switch (bytes) {
    case 1: return KVEXA_INPUT_BYTE_1;
    case 2: return KVEXA_INPUT_WORD_2;
    case 3: return KVEXA_INPUT_TRIPLE_3;
    default: return KVEXA_INPUT_PACKED;
  }
}

void tell(Output* output, const std::string& call, std::int32_t result, const std::string& path) {
  if (output != nullptr && !call.empty()) output->record(call, result);
  require(call, result, path);
}

}  // namespace

FileKind fileKindOf(const std::string& name) {
  if (isFolder(name)) return FileKind::folder;
  const std::string ending = endingOf(name);
  for (const Ending& each : endings) {
    if (ending == each.text) return each.kind;
  }
  for (const std::string_view each : otherPictures) {
    if (ending == each) {
      throw UsageFailure(name + ": files with this ending are not written",
                         "choose .raw, .bin, .bmp, .jpg or .jpeg");
    }
  }
  return FileKind::folder;
}

void FrameWriter::write(const std::string& path, FileKind kind, const std::uint8_t* frame, Output* output) {
  switch (kind) {
    case FileKind::raw: writeRaw(path, frame, output); return;
    case FileKind::bin: writeBin(path, frame, output); return;
    case FileKind::bmp:
      makePicture(path, frame, output);
      writeBmp(path, output);
      return;
    default:
      makePicture(path, frame, output);
      tell(output, "kVexaSaveJpegFile", image_.saveJpeg(path, options_.quality), path);
  }
}

void FrameWriter::makePicture(const std::string& path, const std::uint8_t* frame, Output* output) {
  if (!maker_.hindrance().empty()) {
    throw Failure(path + ": there can be no picture: " + maker_.hindrance(), ExitCode::file,
                  "a name that ends in .raw or .bin keeps the samples");
  }
  const std::string call = maker_.make(frame, image_);
  if (output != nullptr && !call.empty()) output->record(call, KVEXA_OK);
}

void FrameWriter::writeRaw(const std::string& path, const std::uint8_t* frame, Output* output) const {
  std::ofstream stream(path, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(frame), static_cast<std::streamsize>(layout_.bytes));
  if (!stream.flush()) {
    throw Failure(path + ": cannot be written", ExitCode::file, "check rights and free space");
  }
  const std::uint64_t samples = std::uint64_t{layout_.width} * layout_.height * layout_.unit;
  if (output == nullptr || samples >= layout_.bytes) return;
  output->detail("padding", format("the last %u bytes of %s fill the transfer up",
                                   static_cast<unsigned>(layout_.bytes - samples), path.c_str()));
  output->put("padding", layout_.bytes - samples);
}

void FrameWriter::writeBin(const std::string& path, const std::uint8_t* frame, Output* output) const {
  if (std::uint64_t{layout_.width} * layout_.height * layout_.unit > layout_.bytes) {
    throw Failure(path + ": the samples are packed by the serial input", ExitCode::file,
                  "a name that ends in .raw keeps them");
  }
  const SaveRect all{0, 0, layout_.width, layout_.height};
  tell(output, "kVexaSaveBinFile",
       kVexaSaveBinFile(path.c_str(), frame, layout_.width, layout_.height, &all, binFormat(layout_.unit)),
       path);
}

// The library writes rows at their exact length, and other programs want whole words.
void FrameWriter::writeBmp(const std::string& path, Output* output) {
  const std::uint32_t width = image_.width();
  const std::uint32_t padded = (width + rowMultiple - 1) / rowMultiple * rowMultiple;
  if (padded == width) {
    tell(output, "kVexaSaveBmpFile", image_.saveBmp(path), path);
    return;
  }
  padded_.resize(padded, image_.height());
  std::memset(padded_.pixels(), 0, std::size_t{3} * padded * image_.height());
  for (std::size_t row = 0; row < image_.height(); ++row) {
    std::memcpy(padded_.pixels() + row * padded * 3, image_.pixels() + row * width * 3,
                std::size_t{3} * width);
  }
  tell(output, "kVexaSaveBmpFile", padded_.saveBmp(path), path);
  if (output == nullptr) return;
  output->detail("padding", format("%s has %u columns instead of %u, the last ones black: bitmaps need rows "
                                   "of whole words",
                                   path.c_str(), padded, width));
  output->put("picturePadding", padded - width);
}

}  // namespace cli
