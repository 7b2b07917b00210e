// Bayer conversion of random sizes and content under the sanitizers.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "kvexa.h"
#include "tests/convert/BayerReference.h"
#include "tests/convert/BayerUnderTest.h"
#include "tests/files/GuardedMemory.h"
#include "tests/files/RandomSource.h"

namespace kvexa::test {
namespace {

TEST(BayerGarbage, randomSizesAreEqualToTheReference) {
  RandomSource random;
  for (unsigned round = 0; round < 300; ++round) {
    const unsigned width = 4 + random.below(200), height = 4 + random.below(40), pattern = random.below(4);
    const auto samples = random.bytes(width * height);
    GuardedMemory destination(samples.size() * 3, MemoryEdge::upper, 0xA5);
    ASSERT_EQ(KVEXA_OK, undertest::raw8ToRgb888(samples.data(), destination.data(), width, height, pattern));
    ASSERT_TRUE(reference::BayerImage(samples, width, height, pattern).toBgr24() == bytesOf(destination))
        << width << " x " << height << ", pattern " << pattern;
  }
}

// Vector code must not count on the alignment of the caller's buffers.
TEST(BayerGarbage, buffersMayStandAnywhere) {
  RandomSource random;
  constexpr unsigned width = 67, height = 9;
  const auto samples = random.bytes(width * height);
  const auto expected = reference::BayerImage(samples, width, height, KVEXA_BAYER_RGGB).toBgr24();
  for (unsigned offset = 0; offset < 32; ++offset) {
    std::vector<std::uint8_t> source(samples.size() + offset), destination(expected.size() + 31 - offset);
    std::copy(samples.begin(), samples.end(), source.begin() + offset);
    auto* pixels = destination.data() + 31 - offset;
    ASSERT_EQ(KVEXA_OK,
              undertest::raw8ToRgb888(source.data() + offset, pixels, width, height, KVEXA_BAYER_RGGB));
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), pixels)) << offset;
  }
}

// A buffer too small for any pixel: a refused call that touched it would be seen.
TEST(BayerGarbage, refusedCallsTouchNoBuffer) {
  RandomSource random;
  for (unsigned round = 0; round < 1000; ++round) {
    const unsigned small = random.below(4), other = random.below(2) == 0 ? random.below(4) : random.word();
    const bool narrow = random.below(2) == 0;
    GuardedMemory source(0, MemoryEdge::upper, 0), destination(0, MemoryEdge::upper, 0);
    ASSERT_EQ(KVEXA_BAD_ARGUMENT,
              undertest::raw8ToRgb888(source.data(), destination.data(), narrow ? small : other,
                                      narrow ? other : small, random.below(4)));
    ASSERT_EQ(KVEXA_BAD_ARGUMENT,
              undertest::raw8ToRgb888(source.data(), destination.data(), 4 + random.word(), 4 + random.word(),
                                      4 + random.below(0xFFFFFFFBu)));
  }
}

}  // namespace
}  // namespace kvexa::test
