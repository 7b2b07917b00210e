// The conversions one pixel at a time, by the colours of sites and by the equations: slow, and written
// apart from the library, which is compared with it.
#include <cmath>
#include <cstring>

#include "Converters.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

struct Channels {
  std::uint32_t red, green, blue;
};

struct Image {
  const Converter& converter;
  const std::uint8_t* source;
  std::uint32_t width, height;
  const Options& options;

  std::uint32_t sample(std::size_t index) const {
    if (converter.sampleBytes == 1) return source[index];
    return source[2 * index] | static_cast<std::uint32_t>(source[2 * index + 1]) << 8;
  }
  std::uint32_t sample(std::uint32_t row, std::uint32_t column) const {
    return sample(std::size_t{row} * width + column);
  }
  char site(std::uint32_t row, std::uint32_t column) const {
    static constexpr const char* cells[] = {"GRBG", "RGGB", "BGGR", "GBRG"};
    return cells[options.pattern][row % 2 * 2 + column % 2];
  }
};

void putWord(std::uint8_t* pixel, std::uint32_t word) {
  pixel[0] = static_cast<std::uint8_t>(word);
  pixel[1] = static_cast<std::uint8_t>(word >> 8);
}

void putChannels(const Image& image, std::uint8_t* pixel, const Channels& c) {
  const std::uint32_t n = image.converter.bits(image.options);
  switch (image.converter.format(image.options)) {
    case KVEXA_FORMAT_BGR24:
      pixel[0] = static_cast<std::uint8_t>(c.blue >> (n - 8));
      pixel[1] = static_cast<std::uint8_t>(c.green >> (n - 8));
      pixel[2] = static_cast<std::uint8_t>(c.red >> (n - 8));
      break;
    case KVEXA_FORMAT_RGB565:
      if (n == 8) {
        putWord(pixel, (c.red & 0xF8) * 256 + (c.green & 0xFC) * 8 + (c.blue & 0xFF) / 8);
      } else {
        putWord(pixel, (c.red >> (n - 5)) * 2048 + (c.green >> (n - 6)) * 32 + (c.blue >> (n - 5)));
      }
      break;
    default: putWord(pixel, (c.red & 0xF8) * 256 + (c.green & 0xF8) * 4 + (c.blue & 0xFF) / 8);
  }
}

// The truncated mean of the samples of a colour around a site, in the image and in the given rows.
std::uint32_t mean(const Image& image, std::uint32_t row, std::uint32_t column, char colour,
                   std::uint32_t firstRow, std::uint32_t lastRow) {
  if (image.site(row, column) == colour) return image.sample(row, column);
  std::uint32_t sum = 0, count = 0;
  for (std::uint32_t r = firstRow; r <= lastRow && r < image.height; ++r) {
    for (std::uint32_t c = column > 0 ? column - 1 : 0; c <= column + 1 && c < image.width; ++c) {
      if (image.site(r, c) != colour) continue;
      sum += image.sample(r, c);
      ++count;
    }
  }
  return sum / count;
}

void expectBayer(const Image& image, std::vector<std::uint8_t>& pixels) {
  const std::size_t size = image.converter.format(image.options) == KVEXA_FORMAT_BGR24 ? 3 : 2;
  for (std::uint32_t row = 0; row < image.height; ++row) {
    for (std::uint32_t column = 0; column < image.width; ++column) {
      std::uint8_t* pixel = &pixels[(std::size_t{row} * image.width + column) * size];
      const bool top = row == 0 && column > 0 && column + 1 < image.width;
      const std::uint32_t first = top ? 2 : row > 0 ? row - 1 : 0;
      const std::uint32_t last = top ? 3 : row + 1;
      const auto of = [&](char colour) { return mean(image, top ? 2 : row, column, colour, first, last); };
      Channels channels{of('R'), of('G'), of('B')};
      const bool halved = top && image.site(0, column) == 'G' && image.options.pattern == 0 && size == 2 &&
                          image.converter.sampleBytes == 1;
      if (halved) channels.blue /= 2;
      putChannels(image, pixel, channels);
    }
  }
}

std::uint32_t truncated(double value) {
  if (std::isnan(value) || value >= 2147483648.0 || value <= -2147483649.0) return 0x80000000U;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

// The order of the terms is part of the result.
std::uint32_t filteredChannel(const Image& image, std::size_t centre, const double* k, double ceiling) {
  static constexpr unsigned order[] = {8, 6, 5, 3, 2, 0, 7, 1, 4};
  double total = 0.0;
  for (const unsigned i : order) {
    const double term = k[i] * image.sample(centre + (i / 3) * image.width + i % 3 - image.width - 1);
    total = i == 8 ? term : total + term;
  }
  return truncated(total > ceiling ? ceiling : total);
}

void expectFiltered(const Image& image, std::vector<std::uint8_t>& pixels) {
  const std::size_t size = image.converter.format(image.options) == KVEXA_FORMAT_BGR24 ? 3 : 2;
  const double ceiling = std::pow(2.0, image.converter.bits(image.options)) - 1.0;
  const std::uint32_t border = image.converter.interiorOnly ? 1 : 0;
  const std::size_t pitch = (image.width - 2 * border) * size;
  if (!image.converter.interiorOnly) pixels.assign(pixels.size(), 0);
  for (std::uint32_t row = 1; row + 1 < image.height; ++row) {
    const bool redRow = image.site(row, 0) == 'R' || image.site(row, 1) == 'R';
    for (std::uint32_t column = 1; column + 1 < image.width; ++column) {
      const char site = image.site(row, column);
      const unsigned set = site == 'B' ? 0 : site == 'R' ? 9 : redRow ? 6 : 3;
      const std::size_t centre = std::size_t{row} * image.width + column;
      const auto channel = [&](unsigned kernel) {
        return filteredChannel(image, centre, image.options.kernels + 9 * kernel, ceiling);
      };
      putChannels(image, &pixels[(row - border) * pitch + (column - border) * size],
                  {channel(set), channel(set + 1), channel(set + 2)});
    }
  }
}

std::uint32_t integerChannel(std::int64_t sum, unsigned shift) {
  if (sum < 0) return 0;
  if (sum >= std::int64_t{256 * 1024} << shift) return 255;
  return static_cast<std::uint32_t>(sum >> shift >> 10);
}

Channels integerPixel(bool full, std::int64_t y, std::int64_t u, std::int64_t v, unsigned s) {
  const auto offset = [s](std::int64_t value) { return value * (std::int64_t{1} << s); };
  if (full) {
    return {integerChannel(1024 * y + 1436 * v - offset(183763), s),
            integerChannel(1024 * y - 352 * u - 731 * v + offset(138674), s),
            integerChannel(1024 * y + 1815 * u - offset(232259), s)};
  }
  return {integerChannel(1192 * y + 1634 * v - offset(228224), s),
          integerChannel(1192 * y - 401 * u - 832 * v + offset(138752), s),
          integerChannel(1192 * y + 2065 * u - offset(283392), s)};
}

std::uint32_t doubleChannel(double value, unsigned shift) {
  if (value > static_cast<double>((256 << shift) - 1)) return 255;
  if (value < 0.0) return 0;
  return truncated(value) >> shift & 0xFF;
}

Channels doublePixel(bool full, double y, double u, double v, unsigned s) {
  const double centre = static_cast<double>(128 << s);
  if (full) {
    return {doubleChannel(y + 1.402 * (v - centre), s),
            doubleChannel(y - 0.344 * (u - centre) - 0.714 * (v - centre), s),
            doubleChannel(y + 1.772 * (u - centre), s)};
  }
  const double luma = (y - 16.0) * 1.164;
  return {doubleChannel(luma + 1.596 * (v - centre), s),
          doubleChannel(luma - 0.392 * (u - centre) - 0.813 * (v - centre), s),
          doubleChannel(luma + 2.017 * (u - centre), s)};
}

Channels matrixPixel(const double* m, double y, double u, double v, unsigned s) {
  const double scale = m[12] * static_cast<double>(1 << s);
  return {doubleChannel(m[0] * y + m[1] * u + m[2] * v + scale * m[3], s),
          doubleChannel(m[4] * y + m[5] * u + m[6] * v + scale * m[7], s),
          doubleChannel(m[8] * y + m[9] * u + m[10] * v + scale * m[11], s)};
}

Channels yuvPixel(const Image& image, std::uint32_t y, std::uint32_t u, std::uint32_t v) {
  const unsigned shift = image.converter.bits(image.options) - 8;
  if (image.converter.family == Family::yuyvMatrix) {
    return matrixPixel(image.options.matrix, y, u, v, shift);
  }
  const std::uint32_t method = image.converter.method(image.options);
  return method % 2 == 0 ? integerPixel(method == 2, y, u, v, shift)
                         : doublePixel(method == 3, y, u, v, shift);
}

void put8(std::uint8_t* pixel, const Channels& c, std::uint32_t format) {
  if (format == KVEXA_FORMAT_BGR24) {
    pixel[0] = static_cast<std::uint8_t>(c.blue);
    pixel[1] = static_cast<std::uint8_t>(c.green);
    pixel[2] = static_cast<std::uint8_t>(c.red);
  } else if (format == KVEXA_FORMAT_RGB565) {
    putWord(pixel, (c.red & 0xF8) * 256 + (c.green & 0xFC) * 8 + c.blue / 8);
  } else {
    putWord(pixel, (c.red & 0xF8) * 256 + (c.green & 0xF8) * 4 + c.blue / 8);
  }
}

void expectYuyv(const Image& image, std::vector<std::uint8_t>& pixels) {
  const std::uint32_t format = image.converter.format(image.options);
  const std::size_t size = format == KVEXA_FORMAT_BGR24 ? 3 : 2;
  const std::size_t chroma = image.converter.chromaFirst(image.options) ? 0 : 1;
  const std::size_t groups = std::size_t{image.width} * image.height / 2;
  for (std::size_t group = 0; group < groups; ++group) {
    const std::uint32_t u = image.sample(4 * group + chroma), v = image.sample(4 * group + chroma + 2);
    for (std::size_t i = 0; i < 2; ++i) {
      const std::uint32_t y = image.sample(4 * group + 1 - chroma + 2 * i);
      put8(&pixels[(2 * group + i) * size], yuvPixel(image, y, u, v), format);
    }
  }
}

}  // namespace

void expectPixels(const Converter& converter, const std::uint8_t* source, std::uint32_t width,
                  std::uint32_t height, const Options& options, std::vector<std::uint8_t>& pixels) {
  const Image image{converter, source, width, height, options};
  switch (converter.family) {
    case Family::bayer: expectBayer(image, pixels); break;
    case Family::filtered: expectFiltered(image, pixels); break;
    default: expectYuyv(image, pixels);
  }
}

std::vector<std::uint8_t> expectedPixels(const Converter& converter, const std::vector<std::uint8_t>& source,
                                         std::uint32_t width, std::uint32_t height, const Options& options,
                                         std::uint8_t fill) {
  std::vector<std::uint8_t> pixels(converter.destinationBytes(width, height, options), fill);
  expectPixels(converter, source.data(), width, height, options, pixels);
  return pixels;
}

}  // namespace kvexa::test
