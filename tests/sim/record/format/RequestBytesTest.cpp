#include "sim/record/format/RequestBytes.h"

#include <gtest/gtest.h>

#include <vector>

#include "sim/record/format/ImageHash.h"

namespace {

using namespace sim::record;
using Record = std::vector<std::uint8_t>;

constexpr std::uint32_t capture = 0x80002018;
constexpr std::uint32_t writeBlock = 0x800020D8;
constexpr std::uint32_t readBlock = 0x800020D4;

Record blockRecord(std::uint8_t countLow, std::uint8_t countTop) {
  Record record(16420);
  record[32] = countLow;
  record[35] = countTop;
  return record;
}

Bytes bytesOf(const Record& record) { return {record.data(), static_cast<std::uint32_t>(record.size())}; }

TEST(RequestBytesTest, OfABlockOnlyTheCountedDataGoIn) {
  EXPECT_EQ(36U + 12U, bytesThatGoIn(writeBlock, blockRecord(3, 0)));
  EXPECT_EQ(36U, bytesThatGoIn(readBlock, blockRecord(3, 0)));
}

TEST(RequestBytesTest, CountThatIsTooLargeStaysInTheRecord) {
  EXPECT_EQ(16420U, bytesThatGoIn(writeBlock, blockRecord(0, 0xFF)));
}

TEST(RequestBytesTest, RecordsOfAnotherLengthAndUnknownRequestsGoInWhole) {
  EXPECT_EQ(5U, bytesThatGoIn(writeBlock, Record(5)));
  EXPECT_EQ(7U, bytesThatGoIn(0x1234, Record(7)));
}

TEST(RequestBytesTest, ChangesAreKeptUpToTheLastOne) {
  const Record before{1, 2, 3, 4};
  EXPECT_EQ(0U, changedBytes(before, before));
  EXPECT_EQ(3U, changedBytes(before, Record{1, 2, 9, 4}));
  EXPECT_EQ(4U, changedBytes(before, Record{0, 2, 3, 0}));
}

TEST(RequestBytesTest, AddressesAreNoDifference) {
  const Record one(28, 1);
  Record other = one;
  other[4] = 2;
  other[7] = 9;
  EXPECT_TRUE(sameInput(capture, bytesOf(one), bytesOf(other)));
  EXPECT_FALSE(sameInput(writeBlock, bytesOf(one), bytesOf(other)));
  other[8] = 2;
  EXPECT_EQ(8U, firstDifference(capture, bytesOf(one), bytesOf(other)));
}

TEST(RequestBytesTest, LongerInputsDiffer) {
  const Record one(8, 1);
  const Record other(9, 1);
  EXPECT_FALSE(sameInput(0, bytesOf(one), bytesOf(other)));
  EXPECT_TRUE(sameInput(0, {}, {}));
}

TEST(ImageHashTest, EveryByteAndTheLengthCount) {
  const Record image(1000, 7);
  const auto hash = imageHash(image.data(), image.size());
  EXPECT_EQ(hash, imageHash(image.data(), image.size()));
  for (std::size_t i = 0; i < image.size(); ++i) {
    Record other = image;
    other[i] ^= 1;
    EXPECT_NE(hash, imageHash(other.data(), other.size())) << i;
  }
  EXPECT_NE(hash, imageHash(image.data(), image.size() - 1));
  const Record zeros(64);
  EXPECT_NE(imageHash(zeros.data(), 32), imageHash(zeros.data(), 33));
}

}  // namespace
