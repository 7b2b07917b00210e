// What every converter refuses, and that it then writes nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "ConversionInputs.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

class ConversionRefusal : public testing::TestWithParam<std::size_t> {
 protected:
  ConversionRefusal() {
    options_.kernels = kernels_.data();
    options_.matrix = matrix_.data();
  }

  const Converter& converter() const { return allConverters()[GetParam()]; }

  std::int32_t call(std::uint32_t width, std::uint32_t height, const Options& options) {
    return converter().call(source_.data(), destination_.data(), width, height, options);
  }

  void expectRefused(std::uint32_t width, std::uint32_t height, const Options& options) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, call(width, height, options)) << width << " x " << height;
    EXPECT_TRUE(std::all_of(destination_.begin(), destination_.end(), [](auto v) { return v == 0xA5; }));
  }

  void expectRefusedAtEightByEight(const std::function<void(Options&)>& spoil) {
    Options options = options_;
    spoil(options);
    expectRefused(8, 8, options);
  }

  Options options_;
  KernelBlock kernels_{};
  ColourMatrix matrix_{};
  std::vector<std::uint8_t> source_ = std::vector<std::uint8_t>(512, 0x11);
  std::vector<std::uint8_t> destination_ = std::vector<std::uint8_t>(512, 0xA5);
};

class WeightedConversionRefusal : public ConversionRefusal {};
class MosaicConversionRefusal : public ConversionRefusal {};
class DeepConversionRefusal : public ConversionRefusal {};
class FormatConversionRefusal : public ConversionRefusal {};
class MethodConversionRefusal : public ConversionRefusal {};
class OrderConversionRefusal : public ConversionRefusal {};
class InteriorConversionRefusal : public ConversionRefusal {};

TEST_P(ConversionRefusal, soundArgumentsAreTaken) { EXPECT_EQ(KVEXA_OK, call(8, 8, options_)); }

TEST_P(ConversionRefusal, nullSource) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, converter().call(nullptr, destination_.data(), 8, 8, options_));
  EXPECT_EQ(0xA5, destination_[0]);
}

TEST_P(ConversionRefusal, nullDestination) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, converter().call(source_.data(), nullptr, 8, 8, options_));
}

TEST_P(WeightedConversionRefusal, nullKernelsOrMatrix) {
  if (converter().family == Family::filtered) {
    expectRefusedAtEightByEight([](Options& options) { options.kernels = nullptr; });
  }
  if (converter().family == Family::yuyvMatrix) {
    expectRefusedAtEightByEight([](Options& options) { options.matrix = nullptr; });
  }
}

TEST_P(ConversionRefusal, zeroSizes) {
  expectRefused(0, 8, options_);
  expectRefused(8, 0, options_);
  expectRefused(0, 0, options_);
  expectRefused(0, 0xFFFFFFFF, options_);
  expectRefused(0xFFFFFFFF, 0, options_);
}

TEST_P(ConversionRefusal, sizesWithoutACell) {
  if (converter().isYuyv()) {
    expectRefused(1, 1, options_);
    return;
  }
  const std::uint32_t smallest = converter().interiorOnly ? 3 : 4;
  for (std::uint32_t size = 0; size < smallest; ++size) {
    expectRefused(size, 8, options_);
    expectRefused(8, size, options_);
    expectRefused(size, size, options_);
  }
  EXPECT_EQ(KVEXA_OK, call(smallest, smallest, options_));
}

TEST_P(ConversionRefusal, largestSizes) {
  expectRefused(0xFFFFFFFF, 0xFFFFFFFF, options_);
  expectRefused(0xFFFFFFFE, 0xFFFFFFFF, options_);
}

// Sizes whose products wrap in 32 bits; where addresses have 64 bits such images exist.
#if UINTPTR_MAX == UINT32_MAX
TEST_P(ConversionRefusal, wrappingSizes) {
  expectRefused(0x10000, 0x10000, options_);  // pixels wrap to 0
  expectRefused(0x10000004, 0x10, options_);  // to 64
  expectRefused(0x10000001, 0x10, options_);  // to 16
  expectRefused(0x4000, 0x40001, options_);
  expectRefused(0x80000000, 4, options_);
  expectRefused(4, 0x80000000, options_);
  expectRefused(0xFFFFFFFF, 5, options_);
  expectRefused(5, 0xFFFFFFFF, options_);
  if (converter().format(options_) == KVEXA_FORMAT_BGR24) expectRefused(0x10000, 0x5556, options_);
}
#endif

TEST_P(InteriorConversionRefusal, heightThatIsNegativeAsASignedNumber) {
  expectRefused(3, 0x80000000, options_);
}

TEST_P(MosaicConversionRefusal, patternsAboveThree) {
  for (const std::uint32_t pattern : {4u, 5u, 8u, 0x80000000u, 0xFFFFFFFFu}) {
    expectRefusedAtEightByEight([=](Options& options) { options.pattern = pattern; });
  }
}

TEST_P(DeepConversionRefusal, bitsOutsideNineToSixteen) {
  for (const std::uint32_t bits : {0u, 1u, 8u, 17u, 32u, 0xFFFFFFFFu}) {
    expectRefusedAtEightByEight([=](Options& options) { options.bits = bits; });
  }
}

TEST_P(FormatConversionRefusal, unknownFormats) {
  for (const std::uint32_t format : {0u, 9u, 13u, 0xFFFFFFFFu}) {
    expectRefusedAtEightByEight([=](Options& options) { options.format = format; });
  }
}

TEST_P(MethodConversionRefusal, unknownMethods) {
  for (const std::uint32_t method : {4u, 5u, 0xFFFFFFFFu}) {
    expectRefusedAtEightByEight([=](Options& options) { options.method = method; });
  }
}

TEST_P(OrderConversionRefusal, matrixOrdersAboveOne) {
  for (const std::uint32_t order : {2u, 3u, 0xFFFFFFFFu}) {
    Options options = options_;
    options.order = order;
    if (converter().family == Family::yuyvMatrix) {
      expectRefused(8, 8, options);
    } else {
      std::vector<std::uint8_t> asOne = destination_;
      EXPECT_EQ(KVEXA_OK, converter().call(source_.data(), asOne.data(), 8, 8, options_));
      EXPECT_EQ(KVEXA_OK, call(8, 8, options));
      EXPECT_EQ(asOne, destination_) << "any order that is not 0 counts as 1";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Converters, ConversionRefusal, everyConverter(), nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, WeightedConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.family == Family::filtered ||
                                  converter.family == Family::yuyvMatrix;
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, MosaicConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return !converter.isYuyv();
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, DeepConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.sampleBytes == 2;
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, FormatConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.fixedFormat == 0;
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, MethodConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.takesMethod;
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, OrderConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.takesOrder;
                         })),
                         nameOfConverter);
INSTANTIATE_TEST_SUITE_P(Converters, InteriorConversionRefusal,
                         testing::ValuesIn(convertersThat([](const Converter& converter) {
                           return converter.interiorOnly && converter.sampleBytes == 1;
                         })),
                         nameOfConverter);

}  // namespace
}  // namespace kvexa::test
