#include "sim/sensor/Delivery.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

sim::SensorPicture raw(unsigned width, unsigned height, unsigned bits = 8) {
  sim::SensorPicture picture;
  picture.width = width;
  picture.height = height;
  picture.bits = bits;
  return picture;
}

sim::SensorPicture yuv(unsigned width, unsigned height) {
  sim::SensorPicture picture = raw(width, height);
  picture.yuv = true;
  return picture;
}

sim::Delivery area(unsigned left, unsigned right, unsigned top, unsigned bottom) {
  sim::Delivery delivery;
  delivery.left = left;
  delivery.right = right;
  delivery.top = top;
  delivery.bottom = bottom;
  delivery.narrow = true;
  return delivery;
}

const Samples twelve = {0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23};  // 4 columns, 3 lines

TEST(Delivery, CutsTheAreaOut) {
  EXPECT_EQ(area(1, 3, 1, 3).bytes(raw(4, 3), twelve), (Bytes{11, 12, 21, 22}));
}

TEST(Delivery, IsBlackOutsideTheSensor) {
  EXPECT_EQ(area(3, 5, 2, 4).bytes(raw(4, 3), twelve), (Bytes{23, 0, 0, 0}));
  EXPECT_EQ(area(65534, 65535, 65534, 65535).bytes(raw(4, 3), twelve), Bytes{0});
  sim::Delivery packed = area(1, 3, 0, 1);
  packed.packed = true;
  EXPECT_EQ(packed.bytes(yuv(2, 1), {1, 2, 3, 4}), (Bytes{3, 4, 128, 16}));
}

TEST(Delivery, KeepsEveryNthAndRoundsUp) {
  sim::Delivery delivery = area(0, 4, 0, 3);
  delivery.columnStep = 3;
  delivery.lineStep = 2;
  EXPECT_EQ(delivery.bytes(raw(4, 3), twelve), (Bytes{0, 3, 20, 23}));
  EXPECT_EQ(delivery.frameBytes(false), 4U);
  delivery.columnStep = 16;
  EXPECT_EQ(delivery.bytes(raw(4, 3), twelve), (Bytes{0, 20}));
}

TEST(Delivery, HasNoBytesForAnEmptyArea) {
  EXPECT_EQ(area(3, 3, 0, 2).frameBytes(false), 0U);
  EXPECT_EQ(area(3, 1, 0, 2).frameBytes(false), 0U);
  EXPECT_TRUE(area(3, 1, 0, 2).bytes(raw(4, 3), twelve).empty());
}

TEST(Delivery, SendsWordsLowByteFirst) {
  sim::Delivery delivery = area(0, 2, 0, 1);
  delivery.narrow = false;
  EXPECT_EQ(delivery.bytes(raw(2, 1, 10), {0x3FF, 0x102}), (Bytes{0xFF, 0x03, 0x02, 0x01}));
  EXPECT_EQ(delivery.frameBytes(false), 4U);
  delivery.packed = true;
  EXPECT_EQ(delivery.frameBytes(false), 2U);
}

TEST(Delivery, Shifts) {
  sim::Delivery delivery = area(0, 1, 0, 1);
  delivery.shift = -2;
  EXPECT_EQ(delivery.bytes(raw(1, 1, 10), {0x3F7}), Bytes{0xFD});
  delivery.shift = 1;
  EXPECT_EQ(delivery.bytes(raw(1, 1, 10), {0x181}), Bytes{0x02});
  delivery.narrow = false;
  delivery.shift = 6;
  EXPECT_EQ(delivery.bytes(raw(1, 1, 10), {0x3FF}), (Bytes{0xC0, 0xFF}));
  for (const int beyond : {16, -16, 32767, -32768}) {
    delivery.shift = beyond;
    EXPECT_EQ(delivery.bytes(raw(1, 1, 10), {0x3FF}), (Bytes{0, 0}));
  }
}

TEST(Delivery, CountsYuvColumnsInPixelsWhenPackedAndElseInSamples) {
  const Samples samples = {100, 1, 200, 2, 101, 3, 201, 4};
  sim::Delivery delivery = area(1, 3, 0, 1);
  EXPECT_EQ(delivery.bytes(yuv(4, 1), samples), (Bytes{1, 200}));
  EXPECT_EQ(delivery.frameBytes(true), 2U);
  delivery.packed = true;
  EXPECT_EQ(delivery.bytes(yuv(4, 1), samples), (Bytes{200, 2, 101, 3}));
  EXPECT_EQ(delivery.frameBytes(true), 4U);
}

Bytes rgb565(unsigned red, unsigned green, unsigned blue) {
  const unsigned word = red >> 3 << 11 | green >> 2 << 5 | blue >> 3;
  return {static_cast<std::uint8_t>(word & 0xFF), static_cast<std::uint8_t>(word >> 8)};
}

Bytes repeated(const Bytes& pixel, std::size_t count) {
  Bytes all;
  for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), pixel.begin(), pixel.end());
  return all;
}

TEST(Delivery, DemosaicsOnTheBoard) {
  constexpr unsigned red = 200;
  constexpr unsigned green = 100;
  constexpr unsigned blue = 48;
  // The area's own top left cell decides, and the last odd column and line have their neighbours before.
  const Samples mosaics[] = {
      {green, red, green, blue, green, blue, green, red, green},
      {red, green, red, green, blue, green, red, green, red},
      {blue, green, blue, green, red, green, blue, green, blue},
      {green, blue, green, red, green, red, green, blue, green},
  };
  for (unsigned pattern = 0; pattern < 4; ++pattern) {
    sim::Delivery delivery = area(0, 3, 0, 3);
    delivery.bayerToRgb = true;
    delivery.bayerPattern = pattern;
    EXPECT_EQ(delivery.bytes(raw(3, 3), mosaics[pattern]), repeated(rgb565(red, green, blue), 9)) << pattern;
    EXPECT_EQ(delivery.frameBytes(false), 18U);
  }
}

TEST(Delivery, DemosaicsDeepSamples) {
  sim::Delivery delivery = area(0, 2, 0, 2);
  delivery.bayerToRgb = true;
  delivery.bayerPattern = 1;
  EXPECT_EQ(delivery.bytes(raw(2, 2, 12), {0xFF0, 0x800, 0x800, 0x400}), repeated(rgb565(255, 128, 64), 4));
}

TEST(Delivery, ConvertsYuvOnTheBoard) {
  sim::Delivery delivery = area(0, 2, 0, 1);
  delivery.yuvToRgb = true;
  EXPECT_EQ(delivery.bytes(yuv(2, 1), {90, 81, 240, 81}), repeated(rgb565(255, 0, 0), 2));
  EXPECT_EQ(delivery.bytes(yuv(2, 1), {128, 16, 128, 235}), (Bytes{0, 0, 0xFF, 0xFF}));
  EXPECT_EQ(delivery.frameBytes(true), 4U);
}

}  // namespace
