// What belongs to the captures but starts none: the board's buffer size, its frame-drop mode, and the
// capture that USB boards do not have.
#include <cmath>
#include <limits>

#include "tests/support/BoardFixture.h"

namespace kvexa::test {
namespace {

class CaptureSettings : public BoardFixture {};

TEST_F(CaptureSettings, BufferSizes) {
  struct Size {
    double mebibytes;
    unsigned expected;
  };
  const Size sizes[] = {
      {1.0, 63487}, {0.0005, 65534}, {31.9995, 0}, {16.0, 32767},           {0.5, 64511},    {31.0, 2047},
      {31.999, 1},  {0.001, 65533},  {2.5, 60415}, {0.000732421875, 65534}, {0.00073, 65534}};
  for (const auto& size : sizes) {
    SCOPED_TRACE(size.mebibytes);
    EXPECT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, size.mebibytes));
    EXPECT_EQ(boardWrite(0x0402, size.expected), trace());
    EXPECT_EQ(size.expected, board.boardRegister(0x0402));
  }
}

TEST_F(CaptureSettings, BufferSizesOutOfRangeAreRefused) {
  for (const double size :
       {32.0, 0.0, 0.00049999, 31.99951, -1.0, 1e300, -1e300, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetBufSize(&handle, size)) << size;
  }
  EXPECT_EQ("", trace());
}

// The limits themselves are sizes; the next doubles beyond them are not.
TEST_F(CaptureSettings, BufferSizesAtTheLimits) {
  constexpr double smallest = 0.0005;
  constexpr double largest = 31.9995;
  for (const double size : {smallest, std::nextafter(smallest, 1.0)}) {
    EXPECT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, size));
    EXPECT_EQ(boardWrite(0x0402, 65534), trace());
  }
  for (const double size : {largest, std::nextafter(largest, 0.0)}) {
    EXPECT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, size));
    EXPECT_EQ(boardWrite(0x0402, 0), trace());
  }
  for (const double size : {std::nextafter(smallest, 0.0), std::nextafter(largest, 32.0), -smallest, -largest,
                            -0.0, std::numeric_limits<double>::denorm_min(),
                            std::numeric_limits<double>::max(), -std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetBufSize(&handle, size)) << size;
  }
  EXPECT_EQ("", trace());
}

// A mebibyte has 2048 units; halves of one go up.
TEST_F(CaptureSettings, BufferSizesAreRoundedToTheNearestUnit) {
  for (const unsigned units : {2U, 3U, 1000U, 2048U, 40000U, 65533U}) {
    const auto mebibytes = [units](double part) { return 32.0 - (units + part) / 2048.0; };
    const auto written = [this](double size) {
      EXPECT_EQ(KVEXA_OK, kVexaSetBufSize(&handle, size));
      return board.boardRegister(0x0402);
    };
    EXPECT_EQ(units - 1, written(mebibytes(0.0))) << units;
    EXPECT_EQ(units - 1, written(mebibytes(0.484375))) << units;
    EXPECT_EQ(units, written(mebibytes(0.5))) << units;
    EXPECT_EQ(units, written(mebibytes(0.984375))) << units;
  }
}

TEST_F(CaptureSettings, BufferSizeOnABadHandle) {
  BoardHandle closed{};
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetBufSize(nullptr, 1.0));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetBufSize(&closed, 1.0));
}

TEST_F(CaptureSettings, BufferSizeThatCannotBeWrittenIsReported) {
  for (const unsigned k : {1U, 4U}) {
    refuse(k);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaSetBufSize(&handle, 1.0));
  }
}

TEST_F(CaptureSettings, FrameDropModeOn) {
  EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 1));
  EXPECT_EQ(simpleWrite(2, 0) + simpleWrite(3, 2) + command(9), trace());
}

TEST_F(CaptureSettings, FrameDropModeOff) {
  EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 0));
  EXPECT_EQ(simpleWrite(2, 0) + simpleWrite(3, 0) + command(10), trace());
}

TEST_F(CaptureSettings, OtherFrameDropModesDoNothingAndSucceed) {
  for (const std::uint32_t mode : {2U, 3U, 0xFFFFFFFFU}) EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, mode));
  EXPECT_EQ("", trace());
}

// The result is 0 on purpose, whatever the transfers did.
TEST_F(CaptureSettings, FrameDropModeSucceedsEvenWithoutABoard) {
  for (unsigned k = 1; k <= 7; ++k) {
    refuse(k);
    EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 1));
    board.faults().clear();
  }
  board.unplug();
  EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 0));
  EXPECT_EQ(KVEXA_OK, kVexaFrmDropStop(&handle, 1));
}

TEST_F(CaptureSettings, FrameDropModeOnABadHandle) {
  BoardHandle other = handle;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFrmDropStop(nullptr, 1));
  other.boardType = 2;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFrmDropStop(&other, 1));
  other.boardType = KVEXA_BOARD_PCIE;
  EXPECT_EQ(KVEXA_NOT_ON_PCIE, kVexaFrmDropStop(&other, 1));
  other.boardType = KVEXA_BOARD_USB;
  other.driverHandle = nullptr;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFrmDropStop(&other, 1));
  EXPECT_EQ("", trace());
}

TEST_F(CaptureSettings, SecondMultiShotCaptureDoesNothingOnAUsbBoard) {
  std::uint8_t byte = 0xA5;
  std::int32_t word = 7;
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapture2(&handle, 1, 1, 0, &byte, 100, nullptr, nullptr, &word));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapture2(&handle, 1, 1, 1, &byte, 100, nullptr, nullptr, &word));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapture2(&handle, 0, 0, 0, nullptr, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(7, word);
  EXPECT_EQ(0xA5, byte);
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test
