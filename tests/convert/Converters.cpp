#include "Converters.h"

#include "kvexa.h"

namespace kvexa::test {
namespace {

const std::uint8_t* bytes(const void* source) { return static_cast<const std::uint8_t*>(source); }
const std::uint16_t* words(const void* source) { return static_cast<const std::uint16_t*>(source); }
std::uint8_t* bytes(void* destination) { return static_cast<std::uint8_t*>(destination); }
std::uint16_t* words(void* destination) { return static_cast<std::uint16_t*>(destination); }

#define CALL(...)                                                                      \
  [](const void* source, void* destination, std::uint32_t width, std::uint32_t height, \
     [[maybe_unused]] const Options& options) -> std::int32_t { return __VA_ARGS__; }

constexpr auto rgb888 = KVEXA_FORMAT_BGR24;
constexpr auto rgb565 = KVEXA_FORMAT_RGB565;

std::vector<Converter> makeConverters() {
  return {
      {"kVexaRaw8ToRgb565", Family::bayer, 1, false, false, false, rgb565, 0,
       CALL(kVexaRaw8ToRgb565(bytes(source), words(destination), width, height, options.pattern))},
      {"kVexaRaw8ToRgb888", Family::bayer, 1, false, false, false, rgb888, 0,
       CALL(kVexaRaw8ToRgb888(bytes(source), bytes(destination), width, height, options.pattern))},
      {"kVexaRaw16ToRgb565", Family::bayer, 2, false, false, false, rgb565, 0,
       CALL(kVexaRaw16ToRgb565(words(source), words(destination), width, height, options.pattern,
                               options.bits))},
      {"kVexaRaw16ToRgb888", Family::bayer, 2, false, false, false, rgb888, 0,
       CALL(kVexaRaw16ToRgb888(words(source), bytes(destination), width, height, options.pattern,
                               options.bits))},
      {"kVexaRaw8ToMtxRgb565", Family::filtered, 1, false, false, false, rgb565, 0,
       CALL(kVexaRaw8ToMtxRgb565(bytes(source), words(destination), width, height, options.pattern,
                                 options.kernels))},
      {"kVexaRaw8ToMtxRgb888", Family::filtered, 1, false, false, false, rgb888, 0,
       CALL(kVexaRaw8ToMtxRgb888(bytes(source), bytes(destination), width, height, options.pattern,
                                 options.kernels))},
      {"kVexaRaw8ToMtxRgb565Ex", Family::filtered, 1, true, false, false, rgb565, 0,
       CALL(kVexaRaw8ToMtxRgb565Ex(bytes(source), words(destination), width, height, options.pattern,
                                   options.kernels))},
      {"kVexaRaw8ToMtxRgb888Ex", Family::filtered, 1, true, false, false, rgb888, 0,
       CALL(kVexaRaw8ToMtxRgb888Ex(bytes(source), bytes(destination), width, height, options.pattern,
                                   options.kernels))},
      {"kVexaRaw16ToMtxRgb565", Family::filtered, 2, false, false, false, rgb565, 0,
       CALL(kVexaRaw16ToMtxRgb565(words(source), words(destination), width, height, options.pattern,
                                  options.kernels, options.bits))},
      {"kVexaRaw16ToMtxRgb888", Family::filtered, 2, false, false, false, rgb888, 0,
       CALL(kVexaRaw16ToMtxRgb888(words(source), bytes(destination), width, height, options.pattern,
                                  options.kernels, options.bits))},
      {"kVexaRaw16ToMtxRgb565Ex", Family::filtered, 2, true, false, false, rgb565, 0,
       CALL(kVexaRaw16ToMtxRgb565Ex(words(source), words(destination), width, height, options.pattern,
                                    options.kernels, options.bits))},
      {"kVexaRaw16ToMtxRgb888Ex", Family::filtered, 2, true, false, false, rgb888, 0,
       CALL(kVexaRaw16ToMtxRgb888Ex(words(source), bytes(destination), width, height, options.pattern,
                                    options.kernels, options.bits))},
      {"kVexaYuyvToRgb565", Family::yuyv, 1, false, false, false, rgb565, 0,
       CALL(kVexaYuyvToRgb565(bytes(source), words(destination), width, height))},
      {"kVexaYuyvToRgb888", Family::yuyv, 1, false, false, false, rgb888, 0,
       CALL(kVexaYuyvToRgb888(bytes(source), bytes(destination), width, height))},
      {"kVexaYuyvToRgb565Ex", Family::yuyv, 1, false, false, false, rgb565, 1,
       CALL(kVexaYuyvToRgb565Ex(bytes(source), words(destination), width, height))},
      {"kVexaYuyvToRgb888Ex", Family::yuyv, 1, false, false, false, rgb888, 1,
       CALL(kVexaYuyvToRgb888Ex(bytes(source), bytes(destination), width, height))},
      {"kVexaYuyvToMtxRgb565", Family::yuyvMatrix, 1, false, false, false, rgb565, 0,
       CALL(kVexaYuyvToMtxRgb565(bytes(source), words(destination), width, height, options.matrix))},
      {"kVexaYuyvToMtxRgb888", Family::yuyvMatrix, 1, false, false, false, rgb888, 0,
       CALL(kVexaYuyvToMtxRgb888(bytes(source), bytes(destination), width, height, options.matrix))},
      {"kVexaYuyv8ToRgbT2", Family::yuyv, 1, false, true, true, 0, 0,
       CALL(kVexaYuyv8ToRgbT2(bytes(source), destination, width, height, options.method, options.order,
                              options.format))},
      {"kVexaYuyv16ToRgbT2", Family::yuyv, 2, false, true, true, 0, 0,
       CALL(kVexaYuyv16ToRgbT2(words(source), destination, width, height, options.method, options.order,
                               options.format, options.bits))},
      {"kVexaYuyv8ToMtxRgbT2", Family::yuyvMatrix, 1, false, false, true, 0, 0,
       CALL(kVexaYuyv8ToMtxRgbT2(bytes(source), destination, width, height, options.order, options.format,
                                 options.matrix))},
      {"kVexaYuyv16ToMtxRgbT2", Family::yuyvMatrix, 2, false, false, true, 0, 0,
       CALL(kVexaYuyv16ToMtxRgbT2(words(source), destination, width, height, options.order, options.format,
                                  options.matrix, options.bits))},
  };
}

#undef CALL

}  // namespace

const std::vector<Converter>& allConverters() {
  static const std::vector<Converter> converters = makeConverters();
  return converters;
}

std::string nameOfConverter(std::size_t index) { return allConverters()[index].name; }

std::size_t Converter::sourceBytes(std::uint32_t width, std::uint32_t height) const {
  const std::size_t pixels = std::size_t{width} * height;
  return isYuyv() ? pixels / 2 * 4 * sampleBytes : pixels * sampleBytes;
}

std::size_t Converter::destinationBytes(std::uint32_t width, std::uint32_t height,
                                        const Options& options) const {
  const std::size_t pixel = format(options) == KVEXA_FORMAT_BGR24 ? 3 : 2;
  if (interiorOnly) return std::size_t{width - 2} * (height - 2) * pixel;
  return std::size_t{width} * height * pixel;
}

}  // namespace kvexa::test
