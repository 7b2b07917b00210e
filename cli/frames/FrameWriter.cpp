#include <algorithm>
#include <array>
#include <fstream>
#include <utility>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/frames/Picture.h"
#include "cli/pictures/FileWriter.h"

namespace cli {

namespace {

struct Ending {
  std::string_view text;
  FileKind kind;
};

constexpr std::array<Ending, 10> endings{{{".raw", FileKind::raw},
                                          {".bin", FileKind::bin},
                                          {".bmp", FileKind::bmp},
                                          {".jpg", FileKind::jpeg},
                                          {".jpeg", FileKind::jpeg},
                                          {".png", FileKind::png},
                                          {".tif", FileKind::tiff},
                                          {".tiff", FileKind::tiff},
                                          {".dng", FileKind::dng},
                                          {".npy", FileKind::npy}}};

// Endings that nobody gives a folder.
constexpr std::array<std::string_view, 4> otherPictures{".gif", ".ppm", ".pgm", ".webp"};

constexpr std::array<std::pair<FileKind, PictureKind>, 4> pictureKinds{{{FileKind::png, PictureKind::png},
                                                                        {FileKind::tiff, PictureKind::tiff},
                                                                        {FileKind::dng, PictureKind::dng},
                                                                        {FileKind::npy, PictureKind::npy}}};

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
                         "choose .raw, .bin, .bmp, .jpg, .png, .tif, .dng or .npy");
    }
  }
  return FileKind::folder;
}

bool isPicture(FileKind kind) {
  return kind != FileKind::folder && kind != FileKind::raw && kind != FileKind::bin;
}

FrameWriter::FrameWriter(const PictureMaker& maker, const PictureOptions& options, const FrameLayout& layout)
    : maker_(maker), options_(options), layout_(layout) {
  settings_.mosaic = options.mosaic;
  settings_.black = options.black;
  settings_.white = options.white;
  settings_.gains = parseGains(options.gains);
}

std::string FrameWriter::hindrance(FileKind kind) const {
  if (!isPicture(kind)) return "";
  if (!maker_.hindrance().empty()) return maker_.hindrance();
  const bool isBayer = maker_.kind() == SampleKind::bayer;
  if (kind == FileKind::dng && !isBayer) {
    return std::string("a DNG file holds a Bayer mosaic, not ") + maker_.kindName();
  }
  if (options_.mosaic && !isBayer && maker_.kind() != SampleKind::grey) {
    return std::string("--mosaic keeps Bayer or grey samples, not ") + maker_.kindName();
  }
  if (options_.mosaic && (kind == FileKind::bmp || kind == FileKind::jpeg)) {
    return "--mosaic goes with PNG and TIFF files (DNG and NPY files keep the samples anyhow)";
  }
  return "";
}

void FrameWriter::write(const std::string& path, FileKind kind, const std::uint8_t* frame, Output* output) {
  switch (kind) {
    case FileKind::raw: writeRaw(path, frame, output); return;
    case FileKind::bin: writeBin(path, frame, output); return;
    case FileKind::bmp:
      makePicture(frame, output);
      writeBmp(path, output);
      return;
    case FileKind::jpeg:
      makePicture(frame, output);
      tell(output, "kVexaSaveJpegFile", image_.saveJpeg(path, options_.quality), path);
      return;
    default: writePicture(path, kind, frame, output);
  }
}

void FrameWriter::writePicture(const std::string& path, FileKind kind, const std::uint8_t* frame,
                               Output* output) {
  const auto found = std::ranges::find(pictureKinds, kind, &std::pair<FileKind, PictureKind>::first);
  const bool isBayer = maker_.kind() == SampleKind::bayer;
  const bool isPlain = isBayer || maker_.kind() == SampleKind::grey;
  const SampleFacts facts{layout_.width, layout_.height, layout_.bits, isBayer, options_.pattern};
  const std::size_t bytes = std::size_t{layout_.width} * layout_.height * layout_.unit;
  pictures::Picture picture;
  if (isPlain && keepsSamples(found->second, isBayer, settings_)) {
    picture = picturesSamples({frame, bytes}, facts);
  } else {
    makePicture(frame, output);
    picture = picturesColours(image_);
  }
  try {
    pictures::writeFile(toPath(path), pictureBytes(found->second, picture, facts, settings_));
  } catch (const pictures::PictureError& error) {
    throw Failure(path + ": " + error.what(), ExitCode::file);
  }
}

void FrameWriter::makePicture(const std::uint8_t* frame, Output* output) {
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

void FrameWriter::writeBmp(const std::string& path, Output* output) {
  tell(output, "kVexaSaveBmpFile", bitmap_.save(image_, path), path);
  if (output == nullptr || bitmapPadding(image_.width()) == 0) return;
  output->detail("padding", path + " " + paddingText(image_.width()));
  output->put("picturePadding", bitmapPadding(image_.width()));
}

}  // namespace cli
