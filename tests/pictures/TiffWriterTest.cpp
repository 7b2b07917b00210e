#include <gtest/gtest.h>

#include "tests/pictures/TagReader.h"

namespace {

using Numbers = std::vector<std::uint32_t>;

TEST(TiffWriter, KeepsEverySample) {
  for (const std::uint32_t channels : {1U, 3U}) {
    for (const std::uint32_t size : {1U, 2U}) {
      for (const std::uint32_t width : {1U, 2U, 7U, 64U}) {
        const samples::Owned owned(width, 5, channels, size);
        EXPECT_EQ(samples::readStrip(pictures::tiffOf(owned.picture)), owned.bytes);
      }
    }
  }
}

TEST(TiffWriter, DescribesGreyAndColour) {
  const samples::Owned grey(9, 4, 1, 2, "ten bits");
  const auto greyTags = samples::readTags(pictures::tiffOf(grey.picture));
  EXPECT_EQ(greyTags.at(256).numbers(), Numbers{9});
  EXPECT_EQ(greyTags.at(257).numbers(), Numbers{4});
  EXPECT_EQ(greyTags.at(258).numbers(), Numbers{16});
  EXPECT_EQ(greyTags.at(259).numbers(), Numbers{1});
  EXPECT_EQ(greyTags.at(262).numbers(), Numbers{1});
  EXPECT_EQ(greyTags.at(270).text(), "ten bits");
  EXPECT_EQ(greyTags.at(277).numbers(), Numbers{1});
  EXPECT_EQ(greyTags.at(278).numbers(), Numbers{4});
  EXPECT_EQ(greyTags.at(279).numbers(), Numbers{72});

  const samples::Owned colour(9, 4, 3, 1);
  const auto tags = samples::readTags(pictures::tiffOf(colour.picture));
  EXPECT_EQ(tags.at(258).numbers(), (Numbers{8, 8, 8}));
  EXPECT_EQ(tags.at(262).numbers(), Numbers{2});
  EXPECT_EQ(tags.at(277).numbers(), Numbers{3});
  EXPECT_FALSE(tags.contains(270));
}

}  // namespace
