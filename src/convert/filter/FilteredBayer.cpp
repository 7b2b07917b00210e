#include "convert/filter/FilteredBayer.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "base/Truncation.h"
#include "convert/base/FloatingPoint.h"
#include "convert/base/FrameLimits.h"
#include "convert/bayer/BayerPixel.h"
#include "convert/filter/VectorisedFilter.h"

namespace kvexa::convert {
namespace {

using Kernel = std::array<double, 9>;  // row above, own row, row below
struct KernelBlock {
  std::array<Kernel, 12> kernels;
};

// The three kernels of a site begin here: blue, green in a blue row, green in a red row, red.
constexpr std::size_t firstKernel(Site site) { return (site.redRow ? 6U : 0U) + (site.redColumn ? 3U : 0U); }
static_assert(firstKernel({false, false}) == 0 && firstKernel({false, true}) == 3);
static_assert(firstKernel({true, false}) == 6 && firstKernel({true, true}) == 9);

// The order of the terms is part of the result. Only the top is clamped, by intent; a sum that is not a
// number falls through.
template <typename Sample>
std::uint32_t weightedSum(const Kernel& k, const BayerRows<Sample>& rows, std::size_t column,
                          double ceiling) {
  const auto above = [&](std::size_t i) { return static_cast<double>(rows.above[column - 1 + i]); };
  const auto own = [&](std::size_t i) { return static_cast<double>(rows.own[column - 1 + i]); };
  const auto below = [&](std::size_t i) { return static_cast<double>(rows.below[column - 1 + i]); };
  double sum = k[8] * below(2);
  sum += k[6] * below(0);
  sum += k[5] * own(2);
  sum += k[3] * own(0);
  sum += k[2] * above(2);
  sum += k[0] * above(0);
  sum += k[7] * below(1);
  sum += k[1] * above(1);
  sum += k[4] * own(1);
  return truncateToWord(sum > ceiling ? ceiling : sum);
}

template <typename SampleType, Packing packing, std::uint32_t pattern>
struct Filter {
  using Sample = SampleType;
  static constexpr std::size_t bytesPerPixel = pixelBytes(packing);

  const KernelBlock& block;
  Packer<Sample, packing> pack;
  double ceiling;
  std::size_t width;
  std::size_t height;

  template <Site site>
  void writePixel(const BayerRows<Sample>& rows, std::uint8_t* pixel, std::size_t column) const {
    constexpr std::size_t first = firstKernel(site);
    pack(pixel, weightedSum(block.kernels[first], rows, column, ceiling),
         weightedSum(block.kernels[first + 1], rows, column, ceiling),
         weightedSum(block.kernels[first + 2], rows, column, ceiling));
  }

  // Columns first (an odd one) to width - 2; start is the site of column 0, pixels that of column 1.
  template <Site start>
  void writeRow(const BayerRows<Sample>& rows, std::uint8_t* pixels, std::size_t first) const {
    constexpr Site odd = start.neighbour(0, 1);
    std::size_t column = first;
    std::uint8_t* pixel = pixels + (first - 1) * bytesPerPixel;
    for (; column + 2 < width; column += 2, pixel += 2 * bytesPerPixel) {
      writePixel<odd>(rows, pixel, column);
      writePixel<start>(rows, pixel + bytesPerPixel, column + 1);
    }
    if (column + 1 < width) writePixel<odd>(rows, pixel, column);
  }

  // The first interior columns by the loops of the instruction set; returns how many.
  std::size_t writeVectorised(const RowLoops& rowLoops, const std::uint8_t* source, std::uint8_t* pixels,
                              std::size_t pitch, unsigned bits) const {
    if (rowLoops.filter[0][0] == nullptr) return 0;
    constexpr Site even = patternOrigin(pattern);
    const auto weightsOf = [&](Site atEvenPixels, Site atOddPixels) {
      return FilterRowWeights(block.kernels[firstKernel(atEvenPixels)].data(),
                              block.kernels[firstKernel(atOddPixels)].data(), sizeof(Sample), bits);
    };
    FilterRowWeights oddRows = weightsOf(even.neighbour(1, 1), even.neighbour(1, 0));
    FilterRowWeights evenRows = weightsOf(even.neighbour(0, 1), even);
    return filterVectorised({source, pixels, width, height, sizeof(Sample), bytesPerPixel, pitch}, rowLoops,
                            oddRows, evenRows);
  }

  // pixels is that of row 1, column 1; its rows are pitch pixels apart. The first columns may be done.
  void writeInterior(const std::uint8_t* source, std::uint8_t* pixels, std::size_t pitch,
                     std::size_t columnsDone) const {
    const std::size_t first = columnsDone + 1;
    if (first + 1 >= width) return;
    constexpr Site even = patternOrigin(pattern);
    constexpr Site odd = even.neighbour(1, 0);
    const std::size_t sourcePitch = width * sizeof(Sample);
    const auto row = [&](std::size_t index) { return SampleRow<Sample>(source + index * sourcePitch); };
    for (std::size_t r = 1; r + 1 < height; ++r, pixels += pitch * bytesPerPixel) {
      const BayerRows<Sample> rows{row(r - 1), row(r), row(r + 1)};
      if (r % 2 != 0) {
        writeRow<odd>(rows, pixels, first);
      } else {
        writeRow<even>(rows, pixels, first);
      }
    }
  }
};

struct Frame {
  const void* source;
  void* destination;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bits;
  const double* kernels;
  Extent extent;
  const RowLoops& rowLoops;
};

void blackenFrame(std::uint8_t* image, std::size_t width, std::size_t height, std::size_t bytesPerPixel) {
  const std::size_t pitch = width * bytesPerPixel;
  std::memset(image, 0, pitch);
  for (std::size_t row = 1; row + 1 < height; ++row) {
    std::memset(image + row * pitch, 0, bytesPerPixel);
    std::memset(image + (row + 1) * pitch - bytesPerPixel, 0, bytesPerPixel);
  }
  std::memset(image + (height - 1) * pitch, 0, pitch);
}

template <typename Sample, Packing packing, std::uint32_t pattern>
void filterFrame(const Frame& frame) {
  KernelBlock block;
  std::memcpy(&block, frame.kernels, sizeof block);
  Packer<Sample, packing> pack;
  if constexpr (sizeof(Sample) == 2) pack.bits = frame.bits;
  const double ceiling = static_cast<double>((1U << frame.bits) - 1);
  const Filter<Sample, packing, pattern> filter{block, pack, ceiling, frame.width, frame.height};

  const std::uint8_t* source = bytesOf(frame.source);
  std::uint8_t* pixels = bytesOf(frame.destination);
  std::size_t pitch = frame.width;
  if (frame.extent == Extent::interior) {
    pitch -= 2;
  } else {
    blackenFrame(pixels, frame.width, frame.height, pixelBytes(packing));
    pixels += (pitch + 1) * pixelBytes(packing);
  }
  const std::size_t done = filter.writeVectorised(frame.rowLoops, source, pixels, pitch, frame.bits);
  filter.writeInterior(source, pixels, pitch, done);
}

template <typename Sample, Packing packing>
void filterPattern(const Frame& frame, std::uint32_t pattern) {
  constexpr void (*filters[patternCount])(const Frame&) = {
      filterFrame<Sample, packing, 0>, filterFrame<Sample, packing, 1>, filterFrame<Sample, packing, 2>,
      filterFrame<Sample, packing, 3>};
  filters[pattern](frame);
}

template <typename Sample>
bool filter(const Frame& frame, std::uint32_t pattern, Packing packing) {
  const std::uint32_t smallest = frame.extent == Extent::interior ? 3 : 4;
  if (frame.source == nullptr || frame.destination == nullptr || frame.kernels == nullptr ||
      frame.width < smallest || frame.height < smallest || pattern >= patternCount ||
      !fitsMemory(frame.width, frame.height, std::max(sizeof(Sample), pixelBytes(packing)))) {
    return false;
  }
  inDefaultFloatingPoint([&] {
    if (packing == Packing::rgb565) {
      filterPattern<Sample, Packing::rgb565>(frame, pattern);
    } else {
      filterPattern<Sample, Packing::rgb888>(frame, pattern);
    }
  });
  return true;
}

}  // namespace

bool filterRaw8(const std::uint8_t* source, void* destination, std::uint32_t width, std::uint32_t height,
                std::uint32_t pattern, const double* kernels, Packing packing, Extent extent,
                const RowLoops& rowLoops) noexcept {
  // The height of an interior is compared as a signed number.
  if (extent == Extent::interior && height > 0x7FFFFFFFU) return false;
  return filter<std::uint8_t>({source, destination, width, height, 8, kernels, extent, rowLoops}, pattern,
                              packing);
}

bool filterRaw16(const std::uint16_t* source, void* destination, std::uint32_t width, std::uint32_t height,
                 std::uint32_t pattern, const double* kernels, std::uint32_t bits, Packing packing,
                 Extent extent, const RowLoops& rowLoops) noexcept {
  return isSampleDepth(bits) &&
         filter<std::uint16_t>({source, destination, width, height, bits, kernels, extent, rowLoops}, pattern,
                               packing);
}

}  // namespace kvexa::convert
