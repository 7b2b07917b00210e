#include "cli/pictures/DngWriter.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/pictures/TagReader.h"

namespace {

using Numbers = std::vector<std::uint32_t>;

pictures::Mosaic mosaicOf(const samples::Owned& owned, std::uint32_t pattern = 0) {
  return {.picture = owned.picture, .pattern = pattern, .white = 1023};
}

TEST(DngWriter, KeepsEverySampleOfTheMosaic) {
  for (const std::uint32_t size : {1U, 2U}) {
    const samples::Owned owned(33, 21, 1, size);
    EXPECT_EQ(samples::readStrip(pictures::dngOf(mosaicOf(owned))), owned.bytes);
  }
}

TEST(DngWriter, NamesTheColoursOfEachPattern) {
  const samples::Owned owned(8, 8, 1, 2);
  const std::vector<Numbers> cells{{1, 0, 2, 1}, {0, 1, 1, 2}, {2, 1, 1, 0}, {1, 2, 0, 1}};
  for (std::uint32_t pattern = 0; pattern < cells.size(); ++pattern) {
    const auto tags = samples::readTags(pictures::dngOf(mosaicOf(owned, pattern)));
    EXPECT_EQ(tags.at(33422).numbers(), cells[pattern]);
    EXPECT_EQ(tags.at(33422).type, 1U);
    EXPECT_EQ(tags.at(33421).numbers(), (Numbers{2, 2}));
  }
}

TEST(DngWriter, HasTheTagsThatDevelopersNeed) {
  const samples::Owned owned(40, 30, 1, 2);
  pictures::Mosaic mosaic = mosaicOf(owned);
  mosaic.black = {60, 61, 62, 63};
  mosaic.cropX = 4;
  mosaic.cropY = 6;
  mosaic.cropWidth = 32;
  mosaic.cropHeight = 20;
  mosaic.gains = {2, 1, 1.6};
  const auto tags = samples::readTags(pictures::dngOf(mosaic));
  EXPECT_EQ(tags.at(254).numbers(), Numbers{0});
  EXPECT_EQ(tags.at(262).numbers(), Numbers{32803});
  EXPECT_EQ(tags.at(258).numbers(), Numbers{16});
  EXPECT_EQ(tags.at(50706).numbers(), (Numbers{1, 4, 0, 0}));
  EXPECT_EQ(tags.at(50708).text(), "KVEXA camera module");
  EXPECT_EQ(tags.at(50713).numbers(), (Numbers{2, 2}));
  EXPECT_EQ(tags.at(50714).numbers(), (Numbers{60, 61, 62, 63}));
  EXPECT_EQ(tags.at(50717).numbers(), Numbers{1023});
  EXPECT_EQ(tags.at(50719).numbers(), (Numbers{4, 6}));
  EXPECT_EQ(tags.at(50720).numbers(), (Numbers{32, 20}));
  EXPECT_EQ(tags.at(50829).numbers(), (Numbers{0, 0, 30, 40}));
  EXPECT_EQ(tags.at(50721).count, 9U);
  EXPECT_EQ(tags.at(50721).type, 10U);
  EXPECT_EQ(tags.at(50728).numbers(), (Numbers{5000, 10000, 10000, 10000, 6250, 10000}));
  EXPECT_EQ(tags.at(50778).numbers(), Numbers{21});
}

TEST(DngWriter, ShowsAllWithoutACrop) {
  const samples::Owned owned(40, 30, 1, 1);
  const auto tags = samples::readTags(pictures::dngOf({.picture = owned.picture}));
  EXPECT_EQ(tags.at(50719).numbers(), (Numbers{0, 0}));
  EXPECT_EQ(tags.at(50720).numbers(), (Numbers{40, 30}));
  EXPECT_EQ(tags.at(258).numbers(), Numbers{8});
}

TEST(DngWriter, RefusesWhatMakesNoSense) {
  const samples::Owned owned(8, 8, 1, 2);
  const samples::Owned colour(8, 8, 3, 1);
  const pictures::Mosaic good = mosaicOf(owned);
  EXPECT_NO_THROW(pictures::dngOf(good));
  std::vector<pictures::Mosaic> bad(10, good);
  bad[0].picture = colour.picture;
  bad[1].pattern = 4;
  bad[2].white = 0;
  bad[3].white = 65536;
  bad[4].black[2] = 1023;
  bad[5].cropWidth = 8;  // no height
  bad[6].cropX = 1;
  bad[6].cropWidth = 8;
  bad[6].cropHeight = 8;
  bad[7].cropY = 0xFFFFFFFF;
  bad[7].cropWidth = 2;
  bad[7].cropHeight = 2;
  bad[8].gains[0] = 0;
  bad[9].gains[2] = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t i = 0; i < bad.size(); ++i) {
    EXPECT_THROW(pictures::dngOf(bad[i]), pictures::PictureError) << i;
  }
}

}  // namespace
