// Every converter against the slow conversion, byte for byte, with both buffers flush against memory that
// faults.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

#include "ConversionInputs.h"
#include "kvexa.h"
#include "tests/files/GuardedMemory.h"

namespace kvexa::test {
namespace {

class ConversionEquality : public testing::TestWithParam<std::size_t> {
 protected:
  const Converter& converter() const { return allConverters()[GetParam()]; }
  std::uint32_t smallest() const { return converter().interiorOnly ? 3 : converter().isYuyv() ? 1 : 4; }

  // Options that the converter takes, chosen by turn so that all of them come up.
  Options optionsOf(unsigned turn) const {
    Options options;
    options.pattern = turn % 4;
    options.bits = 9 + turn / 4 % 8;
    options.method = turn % 4;
    options.order = turn / 4 % 2;
    options.format = 10 + turn / 8 % 3;
    options.kernels = kernels_.data();
    options.matrix = matrix_.data();
    return options;
  }

  void chooseWeights(Weights weights) {
    kernels_ = kernelsOf(random_, weights);
    matrix_ = matrixOf(random_, weights);
  }

  void expectEqual(std::uint32_t width, std::uint32_t height, const Options& options, Content content,
                   MemoryEdge edge, std::size_t sourceShift = 0, std::size_t destinationShift = 0) {
    const std::size_t sourceBytes = converter().sourceBytes(width, height);
    const auto samples =
        samplesOf(random_, sourceBytes, converter().sampleBytes, converter().bits(options), content);
    const std::uint8_t fill = static_cast<std::uint8_t>(random_.word());
    const auto expected = expectedPixels(converter(), samples, width, height, options, fill);

    GuardedMemory source(sourceBytes + sourceShift, edge, 0);
    GuardedMemory destination(expected.size() + destinationShift, edge, fill);
    const std::size_t sourceStart = edge == MemoryEdge::lower ? sourceShift : 0;
    const std::size_t destinationStart = edge == MemoryEdge::lower ? destinationShift : 0;
    std::copy(samples.begin(), samples.end(), source.data() + sourceStart);
    ASSERT_EQ(KVEXA_OK, converter().call(source.data() + sourceStart, destination.data() + destinationStart,
                                         width, height, options));

    const std::uint8_t* actual = destination.data() + destinationStart;
    const auto at = std::mismatch(expected.begin(), expected.end(), actual);
    ASSERT_TRUE(at.first == expected.end())
        << describe(width, height, options) << ", byte " << at.first - expected.begin() << ": expected "
        << unsigned{*at.first} << ", got " << unsigned{*at.second};
    for (std::size_t i = 0; i < destinationShift; ++i) {
      const std::size_t outside = edge == MemoryEdge::lower ? i : expected.size() + i;
      ASSERT_EQ(fill, destination.data()[outside]) << "written outside of the image";
    }
    ASSERT_TRUE(std::equal(samples.begin(), samples.end(), source.data() + sourceStart));
  }

  std::string describe(std::uint32_t width, std::uint32_t height, const Options& options) const {
    return std::to_string(width) + " x " + std::to_string(height) + ", pattern " +
           std::to_string(options.pattern) + ", bits " + std::to_string(options.bits) + ", method " +
           std::to_string(options.method) + ", order " + std::to_string(options.order) + ", format " +
           std::to_string(options.format);
  }

  RandomSource random_;
  KernelBlock kernels_{};
  ColourMatrix matrix_{};
};

class WeightedConversionEquality : public ConversionEquality {};

TEST_P(ConversionEquality, everySizeUpToFortyByForty) {
  unsigned turn = 0;
  for (std::uint32_t height = smallest(); height <= 40; ++height) {
    chooseWeights(allWeights[height % std::size(allWeights)]);
    for (std::uint32_t width = smallest(); width <= 40; ++width, ++turn) {
      if (width * height < 2) continue;
      ASSERT_NO_FATAL_FAILURE(expectEqual(width, height, optionsOf(turn), allContents[turn % 4],
                                          turn / 4 % 2 == 0 ? MemoryEdge::lower : MemoryEdge::upper));
    }
  }
}

// Widths around several vectors, each with all options.
TEST_P(ConversionEquality, everyOptionAtWidthsOfSeveralVectors) {
  for (const std::uint32_t width : {41u, 64u, 66u, 67u, 97u, 128u, 131u, 203u}) {
    for (unsigned turn = 0; turn < 96; ++turn) {
      chooseWeights(allWeights[turn % std::size(allWeights)]);
      ASSERT_NO_FATAL_FAILURE(expectEqual(width, 5 + turn % 3, optionsOf(turn), allContents[turn / 4 % 4],
                                          turn % 2 == 0 ? MemoryEdge::lower : MemoryEdge::upper));
    }
  }
}

TEST_P(ConversionEquality, buffersAtEveryAddress) {
  chooseWeights(Weights::any);
  for (std::size_t shift = 0; shift < 64; ++shift) {
    for (const auto edge : {MemoryEdge::lower, MemoryEdge::upper}) {
      const auto options = optionsOf(static_cast<unsigned>(shift));
      ASSERT_NO_FATAL_FAILURE(expectEqual(70, 6, options, Content::anything, edge, shift, 0));
      ASSERT_NO_FATAL_FAILURE(expectEqual(71, 6, options, Content::anything, edge, 0, shift));
      ASSERT_NO_FATAL_FAILURE(expectEqual(72, 5, options, Content::anything, edge, shift, 63 - shift));
    }
  }
}

TEST_P(ConversionEquality, wideAndTallFrames) {
  unsigned turn = 0;
  for (const auto& [width, height] : {std::pair{640u, 48u}, {4093u, 7u}, {7u, 1001u}, {2050u, 6u}}) {
    for (const auto weights : allWeights) {
      chooseWeights(weights);
      ASSERT_NO_FATAL_FAILURE(
          expectEqual(width, height, optionsOf(turn), allContents[turn % 4], MemoryEdge::upper));
      ++turn;
    }
  }
}

// Frames of cameras, up to 13 megapixels; in the short run a smaller one stands for them.
TEST_P(ConversionEquality, framesOfCameras) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes = {{801, 60}};
  if (std::getenv("KVEXA_LONG_TESTS") != nullptr)
    sizes = {{640, 480}, {1920, 1080}, {2593, 1945}, {4208, 3120}};
  unsigned turn = 0;
  for (const auto& [width, height] : sizes) {
    chooseWeights(allWeights[turn % 3]);
    ASSERT_NO_FATAL_FAILURE(
        expectEqual(width, height, optionsOf(turn), allContents[turn % 4], MemoryEdge::upper));
    ++turn;
  }
}

// The weights of a kernel decide how it is computed, so each kind meets each content and depth.
TEST_P(WeightedConversionEquality, everyKindOfWeightsWithEveryContentAndDepth) {
  for (const auto weights : allWeights) {
    for (const auto content : allContents) {
      for (std::uint32_t bits = 9; bits <= (converter().sampleBytes == 2 ? 16u : 9u); ++bits) {
        chooseWeights(weights);
        Options options = optionsOf(bits);
        options.bits = bits;
        ASSERT_NO_FATAL_FAILURE(expectEqual(150, 8, options, content, MemoryEdge::upper));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Converters, ConversionEquality, everyConverter(), nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, WeightedConversionEquality,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.family == Family::filtered ||
                                  converter.family == Family::yuyvMatrix;
                         })),
                         nameOfConverter);

}  // namespace
}  // namespace kvexa::test
