// Image conversions: pure computations on the caller's buffers. Nothing in them throws.
#include "api/Dispatch.h"
#include "convert/bayer/BayerToRgb.h"
#include "convert/filter/FilteredBayer.h"
#include "convert/yuyv/YuyvToRgb.h"

using namespace kvexa::convert;

namespace {

constexpr int32_t result(bool converted) noexcept { return converted ? KVEXA_OK : KVEXA_BAD_ARGUMENT; }

static_assert(yuyvFormatRgb888 == KVEXA_FORMAT_BGR24 && yuyvFormatRgb565 == KVEXA_FORMAT_RGB565 &&
              yuyvFormatRgb555 == KVEXA_FORMAT_RGB555);

constexpr YuyvOrder orderOf(uint32_t flag) {
  return flag == 0 ? YuyvOrder::lumaFirst : YuyvOrder::chromaFirst;
}

}  // namespace

KVEXA_EXPORT(int32_t)
kVexaRaw8ToRgb565(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                  uint32_t pattern) {
  return result(raw8ToRgb565(source, destination, width, height, pattern));
}

KVEXA_EXPORT(int32_t)
kVexaRaw8ToRgb888(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                  uint32_t pattern) {
  return result(raw8ToRgb888(source, destination, width, height, pattern));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToRgb565(const uint16_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                   uint32_t pattern, uint32_t bits) {
  return result(raw16ToRgb565(source, destination, width, height, pattern, bits));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToRgb888(const uint16_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                   uint32_t pattern, uint32_t bits) {
  return result(raw16ToRgb888(source, destination, width, height, pattern, bits));
}

KVEXA_EXPORT(int32_t)
kVexaRaw8ToMtxRgb565(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                     uint32_t pattern, const double* kernels) {
  return result(
      filterRaw8(source, destination, width, height, pattern, kernels, Packing::rgb565, Extent::framed));
}

KVEXA_EXPORT(int32_t)
kVexaRaw8ToMtxRgb888(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                     uint32_t pattern, const double* kernels) {
  return result(
      filterRaw8(source, destination, width, height, pattern, kernels, Packing::rgb888, Extent::framed));
}

KVEXA_EXPORT(int32_t)
kVexaRaw8ToMtxRgb565Ex(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                       uint32_t pattern, const double* kernels) {
  return result(
      filterRaw8(source, destination, width, height, pattern, kernels, Packing::rgb565, Extent::interior));
}

KVEXA_EXPORT(int32_t)
kVexaRaw8ToMtxRgb888Ex(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                       uint32_t pattern, const double* kernels) {
  return result(
      filterRaw8(source, destination, width, height, pattern, kernels, Packing::rgb888, Extent::interior));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToMtxRgb565(const uint16_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                      uint32_t pattern, const double* kernels, uint32_t bits) {
  return result(filterRaw16(source, destination, width, height, pattern, kernels, bits, Packing::rgb565,
                            Extent::framed));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToMtxRgb888(const uint16_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                      uint32_t pattern, const double* kernels, uint32_t bits) {
  return result(filterRaw16(source, destination, width, height, pattern, kernels, bits, Packing::rgb888,
                            Extent::framed));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToMtxRgb565Ex(const uint16_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                        uint32_t pattern, const double* kernels, uint32_t bits) {
  return result(filterRaw16(source, destination, width, height, pattern, kernels, bits, Packing::rgb565,
                            Extent::interior));
}

KVEXA_EXPORT(int32_t)
kVexaRaw16ToMtxRgb888Ex(const uint16_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                        uint32_t pattern, const double* kernels, uint32_t bits) {
  return result(filterRaw16(source, destination, width, height, pattern, kernels, bits, Packing::rgb888,
                            Extent::interior));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToRgb565(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height) {
  return result(yuyv8ToRgb(source, destination, width, height, YuyvMethod::integerStudio,
                           YuyvOrder::chromaFirst, yuyvFormatRgb565));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToRgb888(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height) {
  return result(yuyv8ToRgb(source, destination, width, height, YuyvMethod::integerStudio,
                           YuyvOrder::chromaFirst, yuyvFormatRgb888));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToRgb565Ex(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height) {
  return result(yuyv8ToRgb(source, destination, width, height, YuyvMethod::doubleStudio,
                           YuyvOrder::chromaFirst, yuyvFormatRgb565));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToRgb888Ex(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height) {
  return result(yuyv8ToRgb(source, destination, width, height, YuyvMethod::doubleStudio,
                           YuyvOrder::chromaFirst, yuyvFormatRgb888));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToMtxRgb565(const uint8_t* source, uint16_t* destination, uint32_t width, uint32_t height,
                     const double* matrix) {
  return result(
      yuyv8ToMtxRgb(source, destination, width, height, matrix, YuyvOrder::chromaFirst, yuyvFormatRgb565));
}

KVEXA_EXPORT(int32_t)
kVexaYuyvToMtxRgb888(const uint8_t* source, uint8_t* destination, uint32_t width, uint32_t height,
                     const double* matrix) {
  return result(
      yuyv8ToMtxRgb(source, destination, width, height, matrix, YuyvOrder::chromaFirst, yuyvFormatRgb888));
}

KVEXA_EXPORT(int32_t)
kVexaYuyv8ToRgbT2(const uint8_t* source, void* destination, uint32_t width, uint32_t height, uint32_t method,
                  uint32_t order, uint32_t format) {
  if (method >= yuyvMethodCount) return KVEXA_BAD_ARGUMENT;
  return result(yuyv8ToRgb(source, destination, width, height, YuyvMethod{method}, orderOf(order), format));
}

KVEXA_EXPORT(int32_t)
kVexaYuyv16ToRgbT2(const uint16_t* source, void* destination, uint32_t width, uint32_t height,
                   uint32_t method, uint32_t order, uint32_t format, uint32_t bits) {
  if (method >= yuyvMethodCount) return KVEXA_BAD_ARGUMENT;
  return result(
      yuyv16ToRgb(source, destination, width, height, YuyvMethod{method}, orderOf(order), format, bits));
}

KVEXA_EXPORT(int32_t)
kVexaYuyv8ToMtxRgbT2(const uint8_t* source, void* destination, uint32_t width, uint32_t height,
                     uint32_t order, uint32_t format, const double* matrix) {
  if (order > 1) return KVEXA_BAD_ARGUMENT;
  return result(yuyv8ToMtxRgb(source, destination, width, height, matrix, orderOf(order), format));
}

KVEXA_EXPORT(int32_t)
kVexaYuyv16ToMtxRgbT2(const uint16_t* source, void* destination, uint32_t width, uint32_t height,
                      uint32_t order, uint32_t format, const double* matrix, uint32_t bits) {
  if (order > 1) return KVEXA_BAD_ARGUMENT;
  return result(yuyv16ToMtxRgb(source, destination, width, height, matrix, orderOf(order), format, bits));
}
