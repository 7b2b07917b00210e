#include <algorithm>

#include "tests/sim/usb/BoardFixture.h"

namespace {

using sim::Microseconds;
namespace Register = sim::SensorRegister;

constexpr Microseconds period = 33300;
constexpr std::uint32_t frameBytes = 640 * 480;

class CaptureTest : public BoardTest {
 protected:
  CaptureTest() {
    powerUp();
    writeSensor(Register::frameCounter, {1});
    writeSensor(Register::streaming, {1});
  }

  void hold() {
    writeRegister(0x0104, static_cast<std::uint16_t>(board.boardRegister(0x0104) | 2));
    send({0x01, 0x81, 0x01});
  }

  void release() { writeRegister(0x0104, static_cast<std::uint16_t>(board.boardRegister(0x0104) & ~2)); }

  void start(std::uint16_t mode, std::uint32_t bufferUnits) {
    hold();
    writeRegister(0x0404, 0);
    writeRegister(0x0402, static_cast<std::uint16_t>(65536 - bufferUnits));
    release();
    writeRegister(0x0102, mode);
  }

  // Room for so many frames.
  static std::uint32_t units(unsigned frames) { return frames * frameBytes / 512 + 2; }

  // The number drawn into a frame of 8-bit samples; nothing to see gives 0xBAD.
  static std::uint32_t number(const Bytes& frame, std::size_t offset = 0) {
    if (frame.size() < offset + frameBytes) return 0xBAD;
    std::uint32_t value = 0;
    for (unsigned cell = 0; cell < 32; ++cell)
      value = value << 1 | (frame[offset + cell * 4 + 1] > 127 ? 1 : 0);
    return value;
  }

  Bytes frame(std::uint32_t timeout = 1000) { return receive(2, frameBytes, timeout); }
};

TEST_F(CaptureTest, TakesTheFirstWholeFrame) {
  start(1, units(1));
  EXPECT_EQ(number(frame()), 0U);
  EXPECT_EQ(clock.now(), period);

  clock.advance(100);
  start(1, units(1));
  EXPECT_EQ(frame(), board.frameBytes(2));  // frame 1 had begun
  EXPECT_EQ(clock.now(), 3 * period);
}

TEST_F(CaptureTest, TakesOneFrameInSingleMode) {
  start(1, units(4));
  frame();
  frame(200);
  EXPECT_EQ(last.error, 121U);
  EXPECT_EQ(clock.now(), period + 200000);
  EXPECT_EQ(board.boardRegister(0x0404), 0);
  start(1, units(1));
  EXPECT_EQ(number(frame()), 8U);
}

TEST_F(CaptureTest, TakesFrameAfterFrameInContinuousMode) {
  start(2, units(1));
  for (unsigned i = 0; i < 5; ++i) EXPECT_EQ(number(frame()), i);
  EXPECT_EQ(clock.now(), 5 * period);
  EXPECT_EQ(board.boardRegister(0x0404), 0);
}

TEST_F(CaptureTest, EndsAReadAtTheFramesEnd) {
  start(2, units(2));
  EXPECT_EQ(receive(2, 1 << 20).size(), frameBytes);
  EXPECT_EQ(number(receive(2, frameBytes)), 1U);
}

TEST_F(CaptureTest, KeepsTheRestOfAFrameForTheNextRead) {
  start(2, units(1));
  const Bytes first = receive(2, 300000);
  const Bytes second = receive(2, 300000);
  EXPECT_EQ(first.size(), 300000U);
  EXPECT_EQ(second.size(), frameBytes - 300000U);
  EXPECT_EQ(clock.now(), period);
  Bytes whole = first;
  whole.insert(whole.end(), second.begin(), second.end());
  EXPECT_EQ(whole, board.frameBytes(0));
}

TEST_F(CaptureTest, SucceedsAtOnceForNoBytes) {
  EXPECT_TRUE(receive(2, 0).empty());
  EXPECT_EQ(last.error, 0U);
  EXPECT_EQ(clock.now(), 0U);
}

TEST_F(CaptureTest, TimesOutWhenTheFrameComesLater) {
  start(1, units(1));
  frame(33);
  EXPECT_EQ(last.error, 121U);
  EXPECT_EQ(clock.now(), 33000U);
  EXPECT_EQ(number(frame(1)), 0U);
  EXPECT_EQ(clock.now(), period);
}

TEST_F(CaptureTest, TimesOutWithoutFrames) {
  const auto timesOut = [&] {
    const Microseconds before = clock.now();
    frame(50);
    return last.error == 121 && clock.now() == before + 50000;
  };
  EXPECT_TRUE(timesOut());  // not started
  start(2, units(1));
  hold();
  EXPECT_TRUE(timesOut());
  start(2, units(1));
  writeSensor(Register::streaming, {0});
  EXPECT_TRUE(timesOut());
  writeSensor(Register::streaming, {1});
  board.faults().holdFrames(true);
  EXPECT_TRUE(timesOut());
  board.faults().holdFrames(false);
  EXPECT_EQ(number(frame()), 2U);
  writeRegister(0x0102, 0);
  EXPECT_TRUE(timesOut());
}

TEST_F(CaptureTest, DropsFramesThatFindNoRoom) {
  start(2, units(2));
  clock.advance(5 * period);
  EXPECT_EQ(board.boardRegister(0x0404), 1);
  EXPECT_EQ(number(frame()), 0U);
  EXPECT_EQ(number(frame()), 1U);
  EXPECT_EQ(number(frame()), 5U);
  EXPECT_EQ(readRegister(0x0404), 1);
  writeRegister(0x0404, 0);
  EXPECT_EQ(readRegister(0x0404), 0);
}

TEST_F(CaptureTest, DropsForAsLongAsNobodyReads) {
  start(2, units(1));
  clock.advance(std::uint64_t{1000000} * 86400 * 365);
  EXPECT_EQ(number(frame()), 0U);
  EXPECT_EQ(number(frame()), 947027027U);
}

TEST_F(CaptureTest, FlushEmptiesThePipe) {
  start(2, units(3));
  clock.advance(3 * period);
  receive(2, 1000);
  send({0x01, 0x81, 0x01});
  EXPECT_EQ(number(frame()), 3U);
}

TEST_F(CaptureTest, StopsAtTheFirstDroppedFrameInFrameDropMode) {
  send({1, 0x80, 3, 2, 0, 2, 0});
  send({0x01, 0x81, 0x09});
  start(2, units(1));
  clock.advance(4 * period);
  EXPECT_EQ(number(frame()), 0U);
  frame(100);
  EXPECT_EQ(last.error, 121U);
  send({1, 0x80, 3, 2, 0, 0, 0});
  send({0x01, 0x81, 0x0A});
  start(2, units(1));
  clock.advance(4 * period);
  frame();
  EXPECT_NE(number(frame(100)), 0xBADU);
}

TEST_F(CaptureTest, SkipsFrames) {
  writeRegister(0x0106, 2);
  start(2, units(1));
  EXPECT_EQ(number(frame()), 2U);
  EXPECT_EQ(number(frame()), 5U);
  clock.advance(10 * period);  // frame 8 is stored; 11 and 14 find no room
  EXPECT_EQ(number(frame()), 8U);
  EXPECT_EQ(number(frame()), 17U);
}

TEST_F(CaptureTest, DeliversStoredFramesAsOneBlock) {
  start(2, units(3));
  unsigned polls = 0;
  while (readRegister(0x0404) == 0) {
    clock.advance(100000);
    ASSERT_LT(++polls, 10U);
  }
  const Bytes block = receive(2, 3 * frameBytes);
  ASSERT_EQ(block.size(), 3 * frameBytes);
  for (std::uint32_t i = 0; i < 3; ++i) EXPECT_EQ(number(block, i * frameBytes), i);
}

TEST_F(CaptureTest, FillsStoredFramesUpToWholeUnits) {
  writeRegister(0x0304, 30);
  writeRegister(0x0308, 20);  // 600 bytes, 1024 in the buffer
  start(2, 2 * 1024 / 512 + 2);
  clock.advance(4 * period);
  EXPECT_EQ(readRegister(0x0404), 1);
  const Bytes first = receive(2, 1500);
  const Bytes rest = receive(2, 5000);
  ASSERT_EQ(first.size(), 1500U);
  EXPECT_EQ(rest.size(), 3 * 1024U - 1500U);
  const Bytes expected = board.frameBytes(1);
  EXPECT_TRUE(std::equal(first.begin() + 1024, first.end(), expected.begin()));
  EXPECT_EQ(receive(2, 5000).size(), 600U);  // frame by frame again
}

TEST_F(CaptureTest, KeepsFramesApartOnceReadingHasBegun) {
  start(2, units(2));
  frame();
  clock.advance(5 * period);
  EXPECT_EQ(readRegister(0x0404), 1);
  EXPECT_EQ(receive(2, 1 << 20).size(), frameBytes);
}

TEST_F(CaptureTest, TellsWhenTheEngineHasDrained) {
  start(2, units(1));
  clock.advance(period + 10);
  writeRegister(0x0102, 0);
  EXPECT_EQ(board.targetWord(2), 0);
  clock.advance(period - 11);
  EXPECT_EQ(board.targetWord(2), 0);
  clock.advance(1);
  EXPECT_EQ(board.targetWord(2), 1);
  send({1, 0x80, 2, 2, 0, 0, 0});
  EXPECT_EQ(board.targetWord(2), 0);
}

TEST_F(CaptureTest, HasNothingToDrainWithoutFrames) {
  start(2, units(1));
  writeSensor(Register::streaming, {0});
  writeRegister(0x0102, 0);
  EXPECT_EQ(board.targetWord(2), 1);
}

TEST_F(CaptureTest, LocalResetStopsIt) {
  start(2, units(2));
  clock.advance(2 * period);
  send({0x01, 0x81, 0x00});
  frame(100);
  EXPECT_EQ(last.error, 121U);
  EXPECT_EQ(board.boardRegister(0x0102), 0);
  EXPECT_EQ(board.boardRegister(0x000A), 0x15);
}

TEST_F(CaptureTest, HoldsBackFramesThatDoNotFitItsMemory) {
  writeRegister(0x0304, 65535);
  writeRegister(0x0308, 65535);
  EXPECT_TRUE(board.frameBytes(0).empty());
  start(1, 65536);
  frame(100);
  EXPECT_EQ(last.error, 121U);
  writeRegister(0x0308, 0);
  frame(100);
  EXPECT_EQ(last.error, 121U);
}

TEST_F(CaptureTest, DeliversAStoredFrameAsItWasTaken) {
  start(2, units(2));
  clock.advance(2 * period);
  const Bytes expected = board.frameBytes(1);
  writeRegister(0x000A, 0x18);  // the sensor loses its settings
  frame();
  EXPECT_EQ(frame(), expected);
}

TEST_F(CaptureTest, TakesWholeFramesOnlyAfterTheStreamStartsAgain) {
  start(2, units(1));
  clock.advance(100);
  writeSensor(Register::streaming, {0});
  writeSensor(Register::streaming, {1});
  EXPECT_EQ(number(frame()), 0U);
  EXPECT_EQ(clock.now(), 100 + period);
}

TEST_F(CaptureTest, FollowsTheAreaRegisters) {
  writeRegister(0x0302, 100);
  writeRegister(0x0304, 201);
  writeRegister(0x0306, 10);
  writeRegister(0x0308, 21);
  writeRegister(0x030A, 2 << 4 | 1);
  start(1, units(1));
  EXPECT_EQ(frame().size(), 51U * 4U);
  writeRegister(0x0406, 0);
  EXPECT_EQ(board.frameBytes(0).size(), 51U * 4U * 2U);
  writeRegister(0x0104, 0x100);
  EXPECT_EQ(board.frameBytes(0).size(), 51U * 4U);
}

TEST_F(CaptureTest, ConvertsOnTheBoard) {
  board.sensor().setScene(sim::Scene::plain({200, 100, 48}));
  board.sensor().poke(Register::frameCounter, 0);
  board.sensor().poke(Register::pattern, 2);
  writeRegister(0x0502, 1);
  writeRegister(0x0504, 2);
  const Bytes bytes = board.frameBytes(0);
  ASSERT_EQ(bytes.size(), 2 * frameBytes);
  const unsigned word = 200U >> 3 << 11 | 100U >> 2 << 5 | 48U >> 3;
  for (std::size_t i = 0; i < bytes.size(); i += 2) ASSERT_EQ(bytes[i] | bytes[i + 1] << 8, word) << i;
}

}  // namespace
