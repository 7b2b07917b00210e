// The integer and double methods over 8-bit Y, U, V: every triple when KVEXA_LONG_TESTS is set, else those
// of every 16th U.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "Converters.h"
#include "kvexa.h"

namespace kvexa::test {
namespace {

class YuyvTriples : public testing::TestWithParam<std::uint32_t> {};

TEST_P(YuyvTriples, areEqualToTheEquations) {
  const auto& converters = allConverters();
  const auto converter = std::find_if(converters.begin(), converters.end(), [](const Converter& candidate) {
    return std::string(candidate.name) == "kVexaYuyv8ToRgbT2";
  });
  Options options;
  options.method = GetParam();
  constexpr std::uint32_t width = 256, height = 256;  // a pixel for every Y and V
  std::vector<std::uint8_t> source(2 * width * height), pixels(3 * width * height);
  for (std::uint32_t u = 0; u < 256; u += std::getenv("KVEXA_LONG_TESTS") != nullptr ? 1 : 15) {
    for (std::uint32_t i = 0; i < width * height / 2; ++i) {
      source[4 * i] = static_cast<std::uint8_t>(u);
      source[4 * i + 1] = static_cast<std::uint8_t>(2 * i);
      source[4 * i + 2] = static_cast<std::uint8_t>(i / 128);
      source[4 * i + 3] = static_cast<std::uint8_t>(2 * i + 1);
    }
    ASSERT_EQ(KVEXA_OK, converter->call(source.data(), pixels.data(), width, height, options));
    ASSERT_TRUE(expectedPixels(*converter, source, width, height, options, 0) == pixels) << "U " << u;
  }
}

INSTANTIATE_TEST_SUITE_P(Methods, YuyvTriples, testing::Range(0u, 4u), testing::PrintToStringParamName());

}  // namespace
}  // namespace kvexa::test
