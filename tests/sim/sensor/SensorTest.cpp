#include "sim/sensor/Sensor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

using sim::Clock;
using sim::Scene;
using sim::Sensor;
namespace Register = sim::SensorRegister;

constexpr sim::SensorLines working{true, true, false, true};

class SensorTest : public testing::Test {
 protected:
  SensorTest() { sensor.setLines(working); }

  void setSize(unsigned width, unsigned height) {
    sensor.poke(Register::width, static_cast<std::uint8_t>(width >> 8));
    sensor.poke(Register::width + 1, static_cast<std::uint8_t>(width & 0xFF));
    sensor.poke(Register::height, static_cast<std::uint8_t>(height >> 8));
    sensor.poke(Register::height + 1, static_cast<std::uint8_t>(height & 0xFF));
  }

  bool writeByte(std::uint16_t address, std::uint8_t value) {
    return sensor.write(0x36, address, std::array{value});
  }

  Clock clock;
  Sensor sensor{clock};
};

using Samples = std::vector<std::uint16_t>;

TEST_F(SensorTest, IdentifiesItself) {
  const auto identity = sensor.read(0x36, Register::modelHigh, 3);
  ASSERT_TRUE(identity);
  EXPECT_EQ(*identity, (std::vector<std::uint8_t>{0x4B, 0x56, 0x01}));
  EXPECT_TRUE(writeByte(Register::modelHigh, 0x00));
  EXPECT_EQ(sensor.peek(Register::modelHigh), 0x4B);
}

TEST_F(SensorTest, HasTheDocumentedResetValues) {
  EXPECT_EQ(sensor.width(), 640U);
  EXPECT_EQ(sensor.height(), 480U);
  EXPECT_EQ(sensor.bits(), 8U);
  EXPECT_EQ(sensor.framePeriod(), 33300U);
  EXPECT_EQ(sensor.peek(Register::pattern), 0);
  EXPECT_FALSE(sensor.isStreaming());
}

TEST(SensorLines, DecideWhetherItAcknowledges) {
  const Clock clock;
  for (unsigned bits = 0; bits < 16; ++bits) {
    Sensor sensor(clock);
    const sim::SensorLines lines{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0};
    sensor.setLines(lines);
    const bool expected = lines.supplied && lines.clocked && !lines.resetActive && lines.busConnected;
    EXPECT_EQ(sensor.read(0x36, 0, 1).has_value(), expected) << bits;
    EXPECT_EQ(sensor.write(0x36, 0x200, {}), expected) << bits;
  }
}

TEST_F(SensorTest, AnswersAtItsAddressOnly) {
  EXPECT_FALSE(sensor.read(0x37, 0, 1));
  EXPECT_FALSE(sensor.write(0x37, 0x200, {}));
  sensor.setAddress({0x136, 16});
  EXPECT_FALSE(sensor.read(0x36, 0, 1));
  EXPECT_TRUE(sensor.read(0x136, 0, 1));
}

TEST_F(SensorTest, CountsRegistersUp) {
  const std::array<std::uint8_t, 3> data = {1, 2, 3};
  EXPECT_TRUE(sensor.write(0x36, 0xFFFF, data));
  EXPECT_EQ(sensor.peek(0xFFFF), 1);
  EXPECT_EQ(sensor.peek(0x0000), 0x4B);  // wired
  sensor.setAddress({0x36, 8});
  EXPECT_TRUE(sensor.write(0x36, 0x12FE, data));
  EXPECT_EQ(sensor.peek(0x00FE), 1);
  EXPECT_EQ(sensor.peek(0x00FF), 2);
  sensor.setAddress({0x36, 0});
  EXPECT_EQ(sensor.read(0x36, 0x77, 2), (std::vector<std::uint8_t>{0x4B, 0x56}));
}

TEST_F(SensorTest, ForgetsItsRegistersWithoutSupplyOrClockOrInReset) {
  for (const sim::SensorLines lines :
       {sim::SensorLines{false, true, false, true}, {true, false, false, true}, {true, true, true, true}}) {
    writeByte(0x1234, 0x56);
    writeByte(Register::streaming, 1);
    EXPECT_TRUE(sensor.isStreaming());
    sensor.setLines(lines);
    EXPECT_FALSE(sensor.isStreaming());
    sensor.setLines(working);
    EXPECT_EQ(sensor.peek(0x1234), 0);
    EXPECT_FALSE(sensor.isStreaming());
  }
}

TEST_F(SensorTest, KeepsStreamingWithoutTheBus) {
  writeByte(Register::streaming, 1);
  sensor.setLines({true, true, false, false});
  EXPECT_TRUE(sensor.isStreaming());
}

TEST_F(SensorTest, StreamsFromTheMomentItIsTold) {
  clock.advance(5000);
  writeByte(Register::streaming, 1);
  EXPECT_EQ(sensor.streamStart(), 5000U);
  clock.advance(1000);
  writeByte(Register::streaming, 1);
  EXPECT_EQ(sensor.streamStart(), 5000U);
  writeByte(Register::framePeriod + 1, 100);
  EXPECT_EQ(sensor.streamStart(), 6000U);
  EXPECT_EQ(sensor.framePeriod(), (1U << 8 | 100U) * 100U);
}

TEST_F(SensorTest, DoesNotStreamWithoutPixelsOrWithAbsurdlyMany) {
  writeByte(Register::streaming, 1);
  setSize(0, 480);
  EXPECT_FALSE(sensor.isStreaming());
  setSize(65535, 65535);
  EXPECT_FALSE(sensor.isStreaming());
  EXPECT_TRUE(sensor.frame(0).empty());
  setSize(8192, 4096);
  EXPECT_TRUE(sensor.isStreaming());
}

TEST_F(SensorTest, SeesThroughItsPattern) {
  sensor.setScene(Scene::plain({10, 20, 30}));
  setSize(2, 2);
  const Samples expected[] = {{20, 10, 30, 20}, {10, 20, 20, 30}, {30, 20, 20, 10}, {20, 30, 10, 20}};
  for (std::uint8_t pattern = 0; pattern < 4; ++pattern) {
    sensor.poke(Register::pattern, pattern);
    EXPECT_EQ(sensor.frame(0), expected[pattern]) << int{pattern};
  }
}

TEST_F(SensorTest, WidensSamplesSoThatWhiteStaysWhite) {
  setSize(1, 1);
  for (unsigned bits = 8; bits <= 16; ++bits) {
    sensor.poke(Register::bits, static_cast<std::uint8_t>(bits));
    sensor.setScene(Scene::plain({255, 255, 255}));
    EXPECT_EQ(sensor.frame(0)[0], (1U << bits) - 1) << bits;
    sensor.setScene(Scene::plain({0, 0, 0}));
    EXPECT_EQ(sensor.frame(0)[0], 0U) << bits;
  }
  sensor.poke(Register::bits, 10);
  sensor.setScene(Scene::plain({0, 0x81, 0}));
  EXPECT_EQ(sensor.frame(0)[0], 0x81U << 2 | 0x81U >> 6);
}

TEST_F(SensorTest, TakesBitsOutsideTheirRangeAsTheNearest) {
  sensor.poke(Register::bits, 3);
  EXPECT_EQ(sensor.bits(), 8U);
  sensor.poke(Register::bits, 200);
  EXPECT_EQ(sensor.bits(), 16U);
}

TEST_F(SensorTest, SendsStudioRangeYuv) {
  setSize(3, 1);
  sensor.poke(Register::format, 1);
  sensor.setScene(Scene::plain({255, 255, 255}));
  EXPECT_EQ(sensor.frame(0), (Samples{128, 235, 128, 235, 128, 235}));
  sensor.setScene(Scene::plain({255, 0, 0}));
  EXPECT_EQ(sensor.frame(0), (Samples{90, 81, 240, 81, 90, 81}));
  sensor.poke(Register::bits, 10);
  EXPECT_EQ(sensor.frame(0), (Samples{360, 324, 960, 324, 360, 324}));
}

TEST_F(SensorTest, AddsSeededNoiseOnRequest) {
  sensor.setScene(Scene::plain({100, 100, 100}));
  sensor.poke(Register::noise, 3);
  const Samples first = sensor.frame(0);
  EXPECT_EQ(sensor.frame(0), first);
  EXPECT_NE(sensor.frame(1), first);
  EXPECT_EQ(*std::min_element(first.begin(), first.end()), 97);
  EXPECT_EQ(*std::max_element(first.begin(), first.end()), 103);
  sensor.poke(Register::noiseSeed, 7);
  EXPECT_NE(sensor.frame(0), first);
  sensor.poke(Register::noise, 0);
  EXPECT_EQ(sensor.frame(0), Samples(640 * 480, 100));
}

std::uint32_t readNumber(const Samples& samples, unsigned middle, unsigned samplesPerPixel) {
  std::uint32_t number = 0;
  for (unsigned cell = 0; cell < 32; ++cell) {
    const unsigned x = (cell * 4 + 1) * samplesPerPixel + samplesPerPixel - 1;
    number = number << 1 | (samples[640 * samplesPerPixel + x] > middle ? 1 : 0);
  }
  return number;
}

TEST_F(SensorTest, DrawsTheFrameNumber) {
  sensor.poke(Register::frameCounter, 1);
  sensor.poke(Register::noise, 200);
  EXPECT_EQ(readNumber(sensor.frame(0), 128, 1), 0U);
  EXPECT_EQ(readNumber(sensor.frame(0x80000001), 128, 1), 0x80000001U);
  sensor.poke(Register::bits, 12);
  EXPECT_EQ(readNumber(sensor.frame(0x12345678), 2048, 1), 0x12345678U);
  EXPECT_EQ(sensor.frame(0xFFFFFFFF)[4 * 640 - 640], 4095U);
  sensor.poke(Register::format, 1);
  EXPECT_EQ(readNumber(sensor.frame(0x5A5A1234), 2048, 2), 0x5A5A1234U);
}

TEST_F(SensorTest, DrawsTheNumberOnASmallFrameAsFarAsItGoes) {
  setSize(6, 2);
  sensor.poke(Register::frameCounter, 1);
  EXPECT_EQ(sensor.frame(0x40000000), (Samples{0, 0, 0, 0, 255, 255, 0, 0, 0, 0, 255, 255}));
}

TEST_F(SensorTest, DrawsAnEarlierPictureAfterTheSettingsChanged) {
  const sim::SensorPicture picture = sensor.picture();
  const Samples before = sensor.frame(4);
  setSize(8, 8);
  EXPECT_EQ(sensor.frame(4).size(), 64U);
  EXPECT_EQ(sensor.frame(picture, 4), before);
}

}  // namespace
