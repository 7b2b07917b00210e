#include "convert/bayer/BayerToRgb.h"

#include <algorithm>
#include <cstddef>

#include "convert/base/FrameLimits.h"
#include "convert/base/Packing.h"
#include "convert/bayer/BayerPixel.h"

namespace kvexa::convert {
namespace {

// A converter for one pattern, sample type and packing.
template <typename SampleType, Packing packingOfPixels, std::uint32_t patternCode>
struct Conversion {
  using Sample = SampleType;
  static constexpr Packing packing = packingOfPixels;
  static constexpr std::uint32_t pattern = patternCode;
  static constexpr std::size_t bytesPerPixel = pixelBytes(packing);

  Packer<Sample, packing> pack;
  unsigned bits;
  std::size_t width;
  std::size_t height;
  const RowLoops& loops;

  template <Site site, Reach reach>
  void writePixel(const BayerRows<Sample>& rows, std::uint8_t* output, std::size_t column) const {
    pack(output + column * bytesPerPixel, channel<site, reach, Colour::red>(rows, column),
         channel<site, reach, Colour::green>(rows, column), channel<site, reach, Colour::blue>(rows, column));
  }

  // Columns first to width - 2; start is the site of column 0.
  template <Site start, Reach reach>
  void writeColumns(const BayerRows<Sample>& rows, std::uint8_t* output, std::size_t first) const {
    constexpr Site odd = start.neighbour(0, 1);
    std::size_t column = first;
    if (column % 2 == 0 && column + 1 < width) writePixel<start, reach>(rows, output, column++);
    for (; column + 2 < width; column += 2) {
      writePixel<odd, reach>(rows, output, column);
      writePixel<start, reach>(rows, output, column + 1);
    }
    if (column + 1 < width) writePixel<odd, reach>(rows, output, column);
  }

  template <Site start, Reach reach>
  void writeEnds(const BayerRows<Sample>& rows, std::uint8_t* output) const {
    constexpr Reach leftEnd{reach.above, reach.below, false, true};
    constexpr Reach rightEnd{reach.above, reach.below, true, false};
    writePixel<start, leftEnd>(rows, output, 0);
    if (width % 2 != 0) {
      writePixel<start, rightEnd>(rows, output, width - 1);
    } else {
      writePixel<start.neighbour(0, 1), rightEnd>(rows, output, width - 1);
    }
  }

  // wide: sums of four 16-bit samples may not fit 16 bits.
  template <Site start>
  void writeInteriorRow(const BayerRows<Sample>& rows, std::uint8_t* output, bool wide) const {
    constexpr Site odd = start.neighbour(0, 1);
    constexpr bool colourFirst = odd.colour() != Colour::green;
    constexpr bool bytes888 = packing == Packing::rgb888;
    BayerRowLoop loop = loops.bayer8[bytes888][odd.redRow][colourFirst];
    if constexpr (sizeof(Sample) == 2) loop = loops.bayer16[wide][bytes888][odd.redRow][colourFirst];
    std::size_t first = 1;
    if (loop != nullptr) {
      first = loop(rows.above.bytes(), rows.own.bytes(), rows.below.bytes(), output, width, bits);
    }
    writeColumns<start, Reach{}>(rows, output, first);
    writeEnds<start, Reach{}>(rows, output);
  }

  // The top row is made from rows 2 and 3, row 3 being its only neighbour row; this is intended. Its
  // corners alone use rows 0 and 1.
  template <Site origin>
  void writeTopRow(const std::uint8_t* source, std::uint8_t* output) const {
    constexpr Reach reach{.above = false};
    const auto row = [&](std::size_t index) {
      return SampleRow<Sample>(source + index * width * sizeof(Sample));
    };
    const BayerRows<Sample> rows{row(2), row(2), row(3)};
    writeColumns<origin, reach>(rows, output, 1);
    if constexpr (pattern == 0 && packing == Packing::rgb565 && sizeof(Sample) == 1) {
      halveBlueOfGreenSites(rows, output);
    }
    writeEnds<origin, reach>({row(0), row(0), row(1)}, output);
  }

  // Green sites of this one converter's top row carry half the blue; this is intended.
  void halveBlueOfGreenSites(const BayerRows<Sample>& rows, std::uint8_t* output) const {
    for (std::size_t column = 2; column + 1 < width; column += 2) {
      std::uint8_t* pixel = output + column * bytesPerPixel;
      const auto word = loadWord<std::uint16_t>(pixel);
      storeWord(pixel, static_cast<std::uint16_t>((word & 0xFFE0) | rows.below[column] >> 4));
    }
  }

  void writeFrame(const std::uint8_t* source, std::uint8_t* destination) const {
    constexpr Site even = patternOrigin(pattern);
    constexpr Site odd = even.neighbour(1, 0);
    const std::size_t sourcePitch = width * sizeof(Sample);
    const auto rowsAround = [&](std::size_t row) {
      const std::uint8_t* own = source + row * sourcePitch;
      return BayerRows<Sample>{SampleRow<Sample>(own - sourcePitch), SampleRow<Sample>(own),
                               SampleRow<Sample>(own + sourcePitch)};
    };
    const auto outputRow = [&](std::size_t row) { return destination + row * width * bytesPerPixel; };

    writeTopRow<even>(source, destination);
    RowDepth depth(*this, source);
    std::size_t row = 1;
    for (; row + 2 < height; row += 2) {
      writeInteriorRow<odd>(rowsAround(row), outputRow(row), depth.isWide());
      writeInteriorRow<even>(rowsAround(row + 1), outputRow(row + 1), depth.isWide());
    }
    if (row + 1 < height) {
      writeInteriorRow<odd>(rowsAround(row), outputRow(row), depth.isWide());
      ++row;
    }
    if (row % 2 == 0) {
      writeBottomRow<even>(source + row * sourcePitch, outputRow(row));
    } else {
      writeBottomRow<odd>(source + row * sourcePitch, outputRow(row));
    }
  }

  // Reports for one interior row after the other whether its three source rows have samples of 2^14 or more.
  class RowDepth {
   public:
    RowDepth(const Conversion& conversion, const std::uint8_t* source)
        : conversion_(conversion), next_(source) {
      above_ = bitsOfNextRow();
      own_ = bitsOfNextRow();
    }

    bool isWide() {
      const std::uint32_t below = bitsOfNextRow();
      const std::uint32_t all = above_ | own_ | below;
      above_ = own_;
      own_ = below;
      return all >= 1U << 14;
    }

   private:
    std::uint32_t bitsOfNextRow() {
      if (sizeof(Sample) == 1 || conversion_.loops.combinedBits16 == nullptr) return 0;
      const std::uint8_t* row = next_;
      next_ += conversion_.width * sizeof(Sample);
      return conversion_.loops.combinedBits16(row, conversion_.width);
    }

    const Conversion& conversion_;
    const std::uint8_t* next_;
    std::uint32_t above_;
    std::uint32_t own_;
  };

  template <Site start>
  void writeBottomRow(const std::uint8_t* own, std::uint8_t* output) const {
    constexpr Reach reach{.below = false};
    const BayerRows<Sample> rows{SampleRow<Sample>(own - width * sizeof(Sample)), SampleRow<Sample>(own),
                                 SampleRow<Sample>(own)};
    writeColumns<start, reach>(rows, output, 1);
    writeEnds<start, reach>(rows, output);
  }
};

struct Frame {
  const void* source;
  void* destination;
  std::uint32_t width;
  std::uint32_t height;
  std::uint32_t bits;
};

template <typename Sample, Packing packing, std::uint32_t pattern>
void convertFrame(const Frame& frame, const RowLoops& loops) {
  Packer<Sample, packing> pack;
  if constexpr (sizeof(Sample) == 2) pack.bits = frame.bits;
  const Conversion<Sample, packing, pattern> conversion{pack, frame.bits, frame.width, frame.height, loops};
  conversion.writeFrame(bytesOf(frame.source), bytesOf(frame.destination));
}

template <typename Sample, Packing packing>
bool convert(const Frame& frame, std::uint32_t pattern, const RowLoops& loops) {
  constexpr void (*converters[patternCount])(const Frame&, const RowLoops&) = {
      convertFrame<Sample, packing, 0>, convertFrame<Sample, packing, 1>, convertFrame<Sample, packing, 2>,
      convertFrame<Sample, packing, 3>};
  constexpr std::size_t largerPixel = std::max(sizeof(Sample), pixelBytes(packing));
  if (frame.source == nullptr || frame.destination == nullptr || frame.width < 4 || frame.height < 4 ||
      !fitsMemory(frame.width, frame.height, largerPixel) || pattern >= patternCount) {
    return false;
  }
  converters[pattern](frame, loops);
  return true;
}

}  // namespace

bool raw8ToRgb565(const std::uint8_t* source, std::uint16_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern, const RowLoops& loops) noexcept {
  return convert<std::uint8_t, Packing::rgb565>({source, destination, width, height, 8}, pattern, loops);
}

bool raw8ToRgb888(const std::uint8_t* source, std::uint8_t* destination, std::uint32_t width,
                  std::uint32_t height, std::uint32_t pattern, const RowLoops& loops) noexcept {
  return convert<std::uint8_t, Packing::rgb888>({source, destination, width, height, 8}, pattern, loops);
}

bool raw16ToRgb565(const std::uint16_t* source, std::uint16_t* destination, std::uint32_t width,
                   std::uint32_t height, std::uint32_t pattern, std::uint32_t bits,
                   const RowLoops& loops) noexcept {
  return isSampleDepth(bits) &&
         convert<std::uint16_t, Packing::rgb565>({source, destination, width, height, bits}, pattern, loops);
}

bool raw16ToRgb888(const std::uint16_t* source, std::uint8_t* destination, std::uint32_t width,
                   std::uint32_t height, std::uint32_t pattern, std::uint32_t bits,
                   const RowLoops& loops) noexcept {
  return isSampleDepth(bits) &&
         convert<std::uint16_t, Packing::rgb888>({source, destination, width, height, bits}, pattern, loops);
}

}  // namespace kvexa::convert
