// Conversions that once differed between the instruction sets, and their bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ConversionCase.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t toNearest = 0x1F80, downwards = 0x3F80, upwards = 0x5F80, towardZero = 0x7F80;
constexpr std::uint32_t invalidUnmasked = 0x1F00, nothingMasked = 0x0000;

std::vector<double> kernelsOfEach(const std::vector<double>& kernel) {
  std::vector<double> kernels;
  for (int i = 0; i < 12; ++i) kernels.insert(kernels.end(), kernel.begin(), kernel.end());
  return kernels;
}

ConversionCase filtered(const char* converter, std::uint32_t bits, const std::vector<double>& kernel,
                        std::uint16_t sample, std::uint32_t mxcsr = toNearest) {
  return {converter,
          64,
          4,
          1,
          bits,
          0,
          1,
          KVEXA_FORMAT_BGR24,
          {mxcsr, 0x037F},
          kernelsOfEach(kernel),
          std::vector<std::uint16_t>(64 * 4, sample)};
}

// Every byte inside the black frame.
std::vector<std::uint8_t> interiorOf(const CaseRunner& runner) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t row = 1; row < 3; ++row) {
    const auto start = runner.pixels().begin() + static_cast<std::ptrdiff_t>((row * 64 + 1) * 3);
    bytes.insert(bytes.end(), start, start + 62 * 3);
  }
  return bytes;
}

class Counterexamples : public testing::Test {
 protected:
  void expectInterior(const ConversionCase& conversion, std::uint8_t byte) {
    ASSERT_TRUE(runner_.run(conversion));
    EXPECT_EQ(std::vector<std::uint8_t>(2 * 62 * 3, byte), interiorOf(runner_)) << conversion;
  }

  CaseRunner runner_;
};

// A weight that only samples of 0 and 1 leave below the limit of the sums.
TEST_F(Counterexamples, aWeightBetween1e9And2To30OverSamplesOf1) {
  const std::vector<double> kernel = {0, 0, 0, 0, -1e9, 5e7, 0, 0, 0};
  const char* const converter = "kVexaRaw16ToMtxRgb888";
  expectInterior(filtered(converter, 16, kernel, 1), 38);
  expectInterior(filtered(converter, 12, kernel, 1), 104);
  expectInterior(filtered(converter, 9, kernel, 1), 64);
}

TEST_F(Counterexamples, weightsAroundTheLargestThatIsEstimated) {
  for (const double weight :
       {0x1p30, 0x1.fffffffffffffp29, 0x1.fffffep29, 999999999.0, 1000000001.0, 0x1p31}) {
    for (const double sign : {1.0, -1.0}) {
      for (const double other : {0.0, 1.0, -0.5, 1e9}) {
        std::vector<double> kernel(9, 0.0);
        kernel[4] = sign * weight;
        kernel[5] = -sign * other;
        for (std::uint32_t bits = 9; bits <= 16; ++bits) {
          ASSERT_TRUE(runner_.run(filtered("kVexaRaw16ToMtxRgb888", bits, kernel, 1)));
          ASSERT_TRUE(runner_.run(filtered("kVexaRaw16ToMtxRgb565", bits, kernel, 1)));
        }
      }
    }
  }
}

// Eight weights that single precision rounds down, in modes that round every sum down or up.
TEST_F(Counterexamples, aSumBesideAnIntegerInEveryRoundingMode) {
  std::vector<double> kernel(9, 0x1p-16 - 0x1p-30);
  kernel[0] = 129 - 7 * 0x1p-16;
  for (const std::uint32_t mxcsr : {toNearest, downwards, upwards, towardZero}) {
    expectInterior(filtered("kVexaRaw8ToMtxRgb888", 8, kernel, 1, mxcsr), 129);
    expectInterior(filtered("kVexaRaw16ToMtxRgb888", 9, kernel, 1, mxcsr), 129 / 2);
  }
}

ConversionCase throughMatrix(const std::vector<double>& matrix, std::uint16_t sample,
                             std::uint32_t mxcsr = toNearest) {
  return {"kVexaYuyv16ToMtxRgbT2",
          64,
          2,
          0,
          12,
          0,
          1,
          KVEXA_FORMAT_BGR24,
          {mxcsr, 0x037F},
          matrix,
          std::vector<std::uint16_t>(64 * 2 * 2, sample)};
}

// Nothing but 0 can come of the weight, however large it is.
TEST_F(Counterexamples, aWeightBeyondSinglePrecisionOverSamplesOf0) {
  ASSERT_TRUE(runner_.run(throughMatrix({1e40, 0, 0, 100, 0, 0, 0, 50, 0, 0, 0, 25, 1}, 0)));
  for (std::size_t pixel = 0; pixel < 64 * 2; ++pixel) {
    ASSERT_EQ(25, runner_.pixels()[3 * pixel]);
    ASSERT_EQ(50, runner_.pixels()[3 * pixel + 1]);
    ASSERT_EQ(100, runner_.pixels()[3 * pixel + 2]);
  }
}

TEST_F(Counterexamples, everyMagnitudeOverSamplesOf0) {
  for (int exponent = -1074; exponent < 1024; ++exponent) {
    const double weight = std::ldexp(1.0, exponent);
    for (const double constant : {0.0, 100.0, -100.0}) {
      const std::vector<double> matrix = {weight, 0, 0, constant, 0, -weight, 0, 50, 0, 1, weight, 25, 1};
      ASSERT_TRUE(runner_.run(throughMatrix(matrix, 0)));
    }
    const std::vector<double> kernel = {weight, 1, 0, -weight, 0, 0, 0, 0.5, weight};
    ASSERT_TRUE(runner_.run(filtered("kVexaRaw16ToMtxRgb888", 12, kernel, 0)));
    ASSERT_TRUE(runner_.run(filtered("kVexaRaw8ToMtxRgb565", 8, kernel, 0)));
  }
}

// What a host unmasked would end the program.
TEST_F(Counterexamples, aHostThatLeftExceptionsUnmasked) {
  for (const std::uint32_t mxcsr : {invalidUnmasked, nothingMasked}) {
    for (const double weight : {4e9, -4e9, 1e300, 5e-324, std::nan(""), HUGE_VAL, 1.0 / 3}) {
      const std::vector<double> kernel = {weight, 0, 0.25, 0, weight, 0, 0.1, 0, -weight};
      for (const std::uint16_t sample : {std::uint16_t{0}, std::uint16_t{1}, std::uint16_t{200}}) {
        ASSERT_TRUE(runner_.run(filtered("kVexaRaw8ToMtxRgb888", 8, kernel, sample, mxcsr)));
        ASSERT_TRUE(runner_.run(filtered("kVexaRaw16ToMtxRgb565", 12, kernel, sample, mxcsr)));
        const std::vector<double> matrix = {weight, 0,   1, weight, 1,   weight, 0,
                                            1,      0.1, 0, weight, 0.1, weight};
        ASSERT_TRUE(runner_.run(throughMatrix(matrix, sample, mxcsr)));
      }
    }
  }
}

// A constant too small for a normal double counts, where a host has such numbers flushed as well.
TEST_F(Counterexamples, aHostThatFlushesDenormals) {
  for (const std::uint32_t flushing : {0x8000u, 0x0040u, 0x8040u}) {
    const std::vector<double> matrix = {0, 0, 0, 0x1.8p-1023, 0, 0, 0, 0, 0, 0, 0, 0, 0x1p1023};
    const std::vector<std::uint16_t> samples(64 * 2 * 2, 0);
    const HostState host{toNearest | flushing, 0x037F};
    ASSERT_TRUE(
        runner_.run({"kVexaYuyv8ToMtxRgbT2", 64, 2, 0, 8, 0, 1, KVEXA_FORMAT_BGR24, host, matrix, samples}));
    EXPECT_EQ(1, runner_.pixels()[2]);
  }
}

}  // namespace
}  // namespace kvexa::test
