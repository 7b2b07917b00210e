#include <bit>
#include <cstring>

#include "cli/base/Failure.h"
#include "cli/files/NumberFile.h"
#include "cli/frames/Picture.h"

namespace cli {

namespace {

constexpr Choice kinds[] = {{"auto", static_cast<std::uint32_t>(SampleKind::byFormat)},
                            {"bayer", static_cast<std::uint32_t>(SampleKind::bayer)},
                            {"yuyv", static_cast<std::uint32_t>(SampleKind::yuyv)},
                            {"rgb565", static_cast<std::uint32_t>(SampleKind::rgb565)},
                            {"rgb555", static_cast<std::uint32_t>(SampleKind::rgb555)},
                            {"bgr24", static_cast<std::uint32_t>(SampleKind::bgr24)},
                            {"grey", static_cast<std::uint32_t>(SampleKind::grey)}};

constexpr Choice patterns[] = {{"grbg", KVEXA_BAYER_GRBG},
                               {"rggb", KVEXA_BAYER_RGGB},
                               {"bggr", KVEXA_BAYER_BGGR},
                               {"gbrg", KVEXA_BAYER_GBRG}};

constexpr Choice orders[] = {{"uyvy", 1}, {"yuyv", 0}};

constexpr Choice methods[] = {{"integer-studio", KVEXA_YUYV_INTEGER_STUDIO},
                              {"double-studio", KVEXA_YUYV_DOUBLE_STUDIO},
                              {"integer-full", KVEXA_YUYV_INTEGER_FULL},
                              {"double-full", KVEXA_YUYV_DOUBLE_FULL}};

constexpr std::size_t kernelNumbers = 108;
constexpr std::size_t matrixNumbers = 13;
constexpr std::uint32_t mostLevel = 65535;

SampleKind kindOf(const PictureOptions& options, const CapParam& parameters) {
  const auto wanted = static_cast<SampleKind>(options.kind);
  if (wanted != SampleKind::byFormat) return wanted;
  if (parameters.HWEXCHG != 0) return SampleKind::rgb565;  // the board makes colours itself
  switch (parameters.INPUTFORMAT) {
    case KVEXA_INPUT_YUV:
    case KVEXA_INPUT_YUV_PAIR: return SampleKind::yuyv;
    case KVEXA_INPUT_RGB565: return SampleKind::rgb565;
    case KVEXA_INPUT_RGB555: return SampleKind::rgb555;
    case KVEXA_INPUT_TRIPLE_3:
    case KVEXA_INPUT_BGR24: return SampleKind::bgr24;
    case KVEXA_INPUT_GREY8: return SampleKind::grey;
    default: return SampleKind::bayer;
  }
}

// Bytes that a pixel has in the frame.
std::uint32_t bytesPerPixel(SampleKind kind, bool isWide) {
  switch (kind) {
    case SampleKind::yuyv: return isWide ? 4 : 2;
    case SampleKind::rgb565:
    case SampleKind::rgb555: return 2;
    case SampleKind::bgr24: return 3;
    default: return isWide ? 2 : 1;
  }
}

// Five or six bits become eight; the bits that are missing are 0, as in the library's files.
void unpackWord(std::uint32_t word, bool is565, std::uint8_t* pixel) {
  const std::uint32_t green = is565 ? word >> 3 & 0xFC : word >> 2 & 0xF8;
  const std::uint32_t red = is565 ? word >> 8 & 0xF8 : word >> 7 & 0xF8;
  pixel[0] = static_cast<std::uint8_t>(word << 3 & 0xF8);
  pixel[1] = static_cast<std::uint8_t>(green);
  pixel[2] = static_cast<std::uint8_t>(red);
}

const std::uint16_t* words(const std::uint8_t* frame) {
  return static_cast<const std::uint16_t*>(static_cast<const void*>(frame));
}

}  // namespace

const char* nameOf(SampleKind kind) {
  for (const Choice& each : kinds) {
    if (each.value == static_cast<std::uint32_t>(kind)) return each.name.data();
  }
  return "";
}

void addPictureOptions(Options& options, PictureOptions& picture) {
  options.choice("--format", picture.kind, kinds, "what the samples are; auto: by the capture parameters")
      .choice("--pattern", picture.pattern, patterns, "Bayer pattern of the sensor")
      .text("--kernels", picture.kernels, "file of 108 numbers: 12 kernels of 3 x 3 for Bayer samples")
      .choice("--order", picture.order, orders, "order of YUYV samples")
      .choice("--method", picture.method, methods, "equations from YUYV to colours")
      .text("--matrix", picture.matrix, "file of 13 numbers: a colour matrix for YUYV samples")
      .number("--quality", picture.quality, 0, 100, "of JPEG files")
      .flag("--mosaic", picture.mosaic, "PNG and TIFF: the samples as they are, not colours")
      .number("--black", picture.black, 0, mostLevel, "black level of the sensor")
      .number("--white", picture.white, 0, mostLevel, "white level; 0 for the largest value of the depth")
      .text("--gains", picture.gains, "DNG: factors that make grey grey: red,green,blue");
}

PictureMaker::PictureMaker(const PictureOptions& options, const CapParam& parameters,
                           const FrameLayout& layout)
    : options_(options),
      layout_(layout),
      kind_(kindOf(options, parameters)),
      isWide_(layout.bits > 8 && parameters.INPUTFORMAT != KVEXA_INPUT_YUV &&
              parameters.INPUTFORMAT != KVEXA_INPUT_YUV_PAIR) {
  if (!options.kernels.empty()) {
    kernels_ = readNumbers(options.kernels, kernelNumbers, "a set of kernels");
    if (kind_ != SampleKind::bayer) throw UsageFailure("--kernels is for Bayer samples, and these are not");
  }
  if (!options.matrix.empty()) {
    matrix_ = readNumbers(options.matrix, matrixNumbers, "a colour matrix");
    if (kind_ != SampleKind::yuyv) throw UsageFailure("--matrix is for YUYV samples, and these are not");
  }
  findHindrance();
}

void PictureMaker::findHindrance() {
  const std::uint64_t rowBytes = std::uint64_t{layout_.width} * layout_.unit;
  const std::uint32_t pixelBytes = bytesPerPixel(kind_, isWide_);
  width_ = static_cast<std::uint32_t>(rowBytes / pixelBytes);
  if (rowBytes * layout_.height > layout_.bytes) {
    hindrance_ = "the samples are packed by the serial input";
  } else if (kind_ == SampleKind::bayer && layout_.unit != pixelBytes) {
    hindrance_ = format("the samples are not Bayer: %u bytes for one of %u bits", layout_.unit, layout_.bits);
  } else if (width_ == 0 || width_ * std::uint64_t{pixelBytes} != rowBytes) {
    hindrance_ = format("rows of %u bytes hold no whole number of pixels", static_cast<unsigned>(rowBytes));
  } else if (kind_ == SampleKind::bayer && (width_ < 4 || layout_.height < 4)) {
    hindrance_ = format("a Bayer frame of %u x %u is too small, 4 x 4 is the least", width_, layout_.height);
  }
}

const char* PictureMaker::kindName() const { return kinds[static_cast<std::size_t>(kind_)].name.data(); }

std::string PictureMaker::make(const std::uint8_t* frame, kvexa::Image& image) const {
  if (!hindrance_.empty()) throw Failure("there can be no picture: " + hindrance_);
  image.resize(width_, layout_.height);
  if (kind_ == SampleKind::bayer) return makeBayer(frame, image);
  if (kind_ == SampleKind::yuyv) return makeYuyv(frame, image);
  unpack(frame, image);
  return "";
}

std::string PictureMaker::makeBayer(const std::uint8_t* frame, kvexa::Image& image) const {
  if (kernels_.empty()) {
    std::string call = isWide_ ? "kVexaRaw16ToRgb888" : "kVexaRaw8ToRgb888";
    require(call, isWide_ ? image.fromBayer16(words(frame), options_.pattern, layout_.bits)
                          : image.fromBayer8(frame, options_.pattern));
    return call;
  }
  std::string call = isWide_ ? "kVexaRaw16ToMtxRgb888" : "kVexaRaw8ToMtxRgb888";
  require(call, isWide_ ? kVexaRaw16ToMtxRgb888(words(frame), image.pixels(), width_, layout_.height,
                                                options_.pattern, kernels_.data(), layout_.bits)
                        : kVexaRaw8ToMtxRgb888(frame, image.pixels(), width_, layout_.height,
                                               options_.pattern, kernels_.data()));
  return call;
}

std::string PictureMaker::makeYuyv(const std::uint8_t* frame, kvexa::Image& image) const {
  const bool hasMatrix = !matrix_.empty();
  std::string call =
      std::string("kVexaYuyv") + (isWide_ ? "16" : "8") + "To" + (hasMatrix ? "MtxRgbT2" : "RgbT2");
  const auto convert = [&]() -> std::int32_t {
    if (isWide_ && hasMatrix) {
      return kVexaYuyv16ToMtxRgbT2(words(frame), image.pixels(), width_, layout_.height, options_.order,
                                   KVEXA_FORMAT_BGR24, matrix_.data(), layout_.bits);
    }
    if (isWide_) {
      return kVexaYuyv16ToRgbT2(words(frame), image.pixels(), width_, layout_.height, options_.method,
                                options_.order, KVEXA_FORMAT_BGR24, layout_.bits);
    }
    if (hasMatrix) {
      return kVexaYuyv8ToMtxRgbT2(frame, image.pixels(), width_, layout_.height, options_.order,
                                  KVEXA_FORMAT_BGR24, matrix_.data());
    }
    return image.fromYuyv8(frame, options_.method, options_.order);
  };
  require(call, convert());
  return call;
}

void PictureMaker::unpack(const std::uint8_t* frame, kvexa::Image& image) const {
  const std::size_t count = std::size_t{width_} * layout_.height;
  std::uint8_t* pixel = image.pixels();
  if (kind_ == SampleKind::bgr24) {
    std::memcpy(pixel, frame, count * 3);
    return;
  }
  for (std::size_t i = 0; i < count; ++i, pixel += 3) {
    if (kind_ == SampleKind::grey) {
      const std::uint8_t value =
          isWide_ ? static_cast<std::uint8_t>(words(frame)[i] >> (layout_.bits - 8)) : frame[i];
      std::memset(pixel, value, 3);
    } else {
      unpackWord(words(frame)[i], kind_ == SampleKind::rgb565, pixel);
    }
  }
}

}  // namespace cli
