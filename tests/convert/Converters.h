// All 22 converters with one form of call, so that what holds for all of them is written once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvexa::test {

enum class Family { bayer, filtered, yuyv, yuyvMatrix };

struct Options {
  std::uint32_t pattern = 0;
  std::uint32_t bits = 12;
  std::uint32_t method = 0;
  std::uint32_t order = 1;
  std::uint32_t format = 10;
  const double* kernels = nullptr;  // 108
  const double* matrix = nullptr;   // 13
};

struct Converter {
  const char* name;
  Family family;
  std::size_t sampleBytes;
  bool interiorOnly;
  // Which options the function takes; the others are fixed.
  bool takesMethod;
  bool takesOrder;
  std::uint32_t fixedFormat;  // 0: takes one
  std::uint32_t fixedMethod;
  std::int32_t (*call)(const void* source, void* destination, std::uint32_t width, std::uint32_t height,
                       const Options& options);

  std::uint32_t format(const Options& options) const {
    return fixedFormat != 0 ? fixedFormat : options.format;
  }
  std::uint32_t method(const Options& options) const { return takesMethod ? options.method : fixedMethod; }
  bool chromaFirst(const Options& options) const { return !takesOrder || options.order != 0; }
  std::uint32_t bits(const Options& options) const { return sampleBytes == 2 ? options.bits : 8; }
  bool isYuyv() const { return family == Family::yuyv || family == Family::yuyvMatrix; }

  std::size_t sourceBytes(std::uint32_t width, std::uint32_t height) const;
  std::size_t destinationBytes(std::uint32_t width, std::uint32_t height, const Options& options) const;
};

const std::vector<Converter>& allConverters();

// What the converter must write, worked out pixel by pixel and apart from the library. Bytes that it must
// leave alone keep the given fill.
std::vector<std::uint8_t> expectedPixels(const Converter& converter, const std::vector<std::uint8_t>& source,
                                         std::uint32_t width, std::uint32_t height, const Options& options,
                                         std::uint8_t fill);

// The same into pixels that have the converter's size already.
void expectPixels(const Converter& converter, const std::uint8_t* source, std::uint32_t width,
                  std::uint32_t height, const Options& options, std::vector<std::uint8_t>& pixels);

}  // namespace kvexa::test
