#include "convert/yuyv/YuyvToRgb.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "convert/base/Bytes.h"
#include "convert/base/FloatingPoint.h"
#include "convert/base/FrameLimits.h"
#include "convert/base/Packing.h"
#include "convert/yuyv/VectorisedYuyv.h"
#include "convert/yuyv/YuyvMethods.h"

namespace kvexa::convert {
namespace {

template <std::uint32_t format>
struct YuyvPacker;

template <>
struct YuyvPacker<yuyvFormatRgb888> : Packer<std::uint8_t, Packing::rgb888> {
  static constexpr std::size_t bytes = 3;
};

template <>
struct YuyvPacker<yuyvFormatRgb565> : Packer<std::uint8_t, Packing::rgb565> {
  static constexpr std::size_t bytes = 2;
};

// Red stays in bits 15 to 11, where RGB565 has it, and bit 10 is always 0; this is intended.
template <>
struct YuyvPacker<yuyvFormatRgb555> {
  static constexpr std::size_t bytes = 2;

  void operator()(std::uint8_t* pixel, std::uint32_t red, std::uint32_t green, std::uint32_t blue) const {
    const std::uint32_t word = (red & 0xF8) << 8 | (green & 0xF8) << 2 | blue >> 3;
    storeWord(pixel, static_cast<std::uint16_t>(word));
  }
};

struct Frame {
  const void* source;
  void* destination;
  std::uint32_t width;
  std::uint32_t height;
  YuyvOrder order;
  std::uint32_t format;
  const RowLoops& loops;
};

template <typename Sample, YuyvOrder order, std::uint32_t format, typename Method>
void convertGroups(const Frame& frame, const Method& method) {
  constexpr std::size_t chroma = order == YuyvOrder::chromaFirst ? 0 : 1;
  constexpr std::size_t luma = 1 - chroma;
  constexpr YuyvPacker<format> pack;
  // A copy whose address is never taken cannot be overwritten by a pixel, so its weights stay in registers.
  // The integer methods have constants.
  const std::conditional_t<std::is_same_v<Method, IntegerMethod>, const Method&, Method> equations = method;
  const auto groups = static_cast<std::size_t>(std::uint64_t{frame.width} * frame.height / 2);
  const std::uint8_t* source = bytesOf(frame.source);
  std::uint8_t* pixels = bytesOf(frame.destination);
  VectorisedYuyv vectorised =
      vectorisedOf(frame.loops, method, sizeof(Sample), order, format - yuyvFormatRgb888);
  for (std::size_t group = vectorised.run(frame.loops, source, pixels, groups, sizeof(Sample), pack.bytes);
       group < groups; ++group) {
    const SampleRow<Sample> samples(source + group * 4 * sizeof(Sample));
    const std::uint32_t u = samples[chroma];
    const std::uint32_t v = samples[chroma + 2];
    const RgbPixel first = equations.pixel(samples[luma], u, v);
    const RgbPixel second = equations.pixel(samples[luma + 2], u, v);
    std::uint8_t* pixel = pixels + group * 2 * pack.bytes;
    pack(pixel, first.red, first.green, first.blue);
    pack(pixel + pack.bytes, second.red, second.green, second.blue);
  }
}

template <typename Sample, YuyvOrder order, typename Method>
void convertOrder(const Frame& frame, const Method& method) {
  switch (frame.format) {
    case yuyvFormatRgb888: return convertGroups<Sample, order, yuyvFormatRgb888>(frame, method);
    case yuyvFormatRgb565: return convertGroups<Sample, order, yuyvFormatRgb565>(frame, method);
    default: return convertGroups<Sample, order, yuyvFormatRgb555>(frame, method);
  }
}

template <typename Sample, typename Method>
void convertFrame(const Frame& frame, const Method& method) {
  if (frame.order == YuyvOrder::chromaFirst) {
    convertOrder<Sample, YuyvOrder::chromaFirst>(frame, method);
  } else {
    convertOrder<Sample, YuyvOrder::lumaFirst>(frame, method);
  }
}

bool isConvertible(const Frame& frame, std::size_t sampleBytes) {
  const std::size_t largerPixel = sampleBytes == 2 ? 4 : 3;
  return frame.source != nullptr && frame.destination != nullptr && frame.width != 0 && frame.height != 0 &&
         std::uint64_t{frame.width} * frame.height >= 2 &&
         fitsMemory(frame.width, frame.height, largerPixel) && frame.format >= yuyvFormatRgb888 &&
         frame.format <= yuyvFormatRgb555;
}

template <typename Sample>
bool convert(const Frame& frame, YuyvMethod method, unsigned extraBits) {
  if (!isConvertible(frame, sizeof(Sample))) return false;
  switch (method) {
    case YuyvMethod::integerStudio:
      convertFrame<Sample>(frame, IntegerMethod{integerStudioWeights, extraBits});
      return true;
    case YuyvMethod::doubleStudio:
      inDefaultFloatingPoint([&] {
        convertFrame<Sample>(frame, DoubleMethod{doubleStudioWeights, extraBits});
      });
      return true;
    case YuyvMethod::integerFull:
      convertFrame<Sample>(frame, IntegerMethod{integerFullWeights, extraBits});
      return true;
    case YuyvMethod::doubleFull:
      inDefaultFloatingPoint([&] {
        convertFrame<Sample>(frame, DoubleMethod{doubleFullWeights, extraBits});
      });
      return true;
  }
  return false;
}

template <typename Sample>
bool convert(const Frame& frame, const double* matrix, unsigned extraBits) {
  if (matrix == nullptr || !isConvertible(frame, sizeof(Sample))) return false;
  inDefaultFloatingPoint([&] {
    std::array<double, 13> copy;
    std::memcpy(copy.data(), matrix, sizeof copy);
    convertFrame<Sample>(frame, MatrixMethod(copy, extraBits));
  });
  return true;
}

}  // namespace

bool yuyv8ToRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                YuyvMethod method, YuyvOrder order, std::uint32_t format, const RowLoops& loops) noexcept {
  return convert<std::uint8_t>({source, destination, width, height, order, format, loops}, method, 0);
}

bool yuyv16ToRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                 YuyvMethod method, YuyvOrder order, std::uint32_t format, std::uint32_t bits,
                 const RowLoops& loops) noexcept {
  return isSampleDepth(bits) &&
         convert<std::uint16_t>({source, destination, width, height, order, format, loops}, method, bits - 8);
}

bool yuyv8ToMtxRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                   const double* matrix, YuyvOrder order, std::uint32_t format,
                   const RowLoops& loops) noexcept {
  return convert<std::uint8_t>({source, destination, width, height, order, format, loops}, matrix, 0);
}

bool yuyv16ToMtxRgb(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                    const double* matrix, YuyvOrder order, std::uint32_t format, std::uint32_t bits,
                    const RowLoops& loops) noexcept {
  return isSampleDepth(bits) &&
         convert<std::uint16_t>({source, destination, width, height, order, format, loops}, matrix, bits - 8);
}

}  // namespace kvexa::convert
