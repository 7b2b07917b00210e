#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <kvexa.hpp>
#include <span>

#include "sim/attach/Attachment.h"
#include "sim/machine/Machine.h"
#include "tests/support/BoardFixture.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {

namespace {

constexpr char registers[] = KVEXA_EXAMPLES "/sensor.csv";
constexpr char parameters[] = KVEXA_EXAMPLES "/capture.dat";

// The threads of these tests take no part in the simulated time: they wait as any program does.
class Owners : public ::testing::Test {
 protected:
  // A board whose sensor streams, with its frame's number drawn into each frame.
  Board streaming(const char* withParameters = parameters) {
    Board board(KVEXA_BOARD_USB, 0);
    board.powerUp();
    board.playRegisters(registers);
    board.writeRegister(0x36, 0x010C, {1});
    board.configure(withParameters);
    return board;
  }

  SupplyStatus supplies() {
    const Board board(KVEXA_BOARD_USB, 0);
    SupplyStatus status{};
    require("kVexaGetSupplyStatus", kVexaGetSupplyStatus(board.handle(), &status));
    return status;
  }

  // The number that the sensor drew: a row of squares, most significant bit first.
  static unsigned numberOf(const FrameView& frame) {
    unsigned number = 0;
    for (unsigned cell = 0; cell < sim::FrameCounter::cells; ++cell) {
      number = number << 1 | frame.samples8()[cell * sim::FrameCounter::cellSize] >> 7;
    }
    return number;
  }

  sim::Machine machine;
  sim::usb::Board& simulated = machine.addUsbBoard();

 private:
  sim::Attachment attachment_{libraryModule(), machine};
};

std::int32_t resultOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.result();
  }
  return KVEXA_OK;
}

}  // namespace

TEST_F(Owners, FrameIsWhatTheBoardDelivers) {
  const Board board = streaming();
  EXPECT_EQ(board.layout().bytes, 1280U * 960U);
  EXPECT_NEAR(board.frameRate(), 30.03, 0.01);
  const Frame frame = board.capture();
  EXPECT_EQ(frame.width(), 1280U);
  EXPECT_EQ(frame.height(), 960U);
  const std::span<const std::uint8_t> samples = frame.samples8();
  const auto delivered = simulated.frameBytes(numberOf(frame.view()));
  EXPECT_TRUE(std::equal(samples.begin(), samples.end(), delivered.begin(), delivered.end()));
  EXPECT_THROW(frame.samples16(), std::logic_error);
}

TEST_F(Owners, PictureIsThatOfTheConversion) {
  const Board board = streaming();
  const Frame frame = board.capture();
  const Image image = frame.bayerImage(KVEXA_BAYER_GRBG);
  std::vector<std::uint8_t> expected(std::size_t{3} * 1280 * 960);
  require("kVexaRaw8ToRgb888",
          kVexaRaw8ToRgb888(frame.data().data(), expected.data(), 1280, 960, KVEXA_BAYER_GRBG));
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), image.pixels()));
}

TEST_F(Owners, PictureIsSavedByTheEndingOfItsName) {
  const Image image(8, 8);
  const TemporaryFile file("");
  const auto beginning = [](const std::string& path) {
    std::FILE* const opened = std::fopen(path.c_str(), "rb");
    const int first = opened == nullptr ? EOF : std::fgetc(opened);
    if (opened != nullptr) std::fclose(opened);
    return first;
  };
  for (const auto& [ending, first] :
       {std::pair{".bmp", 'B' + 0}, {".jpg", 0xFF}, {".JPEG", 0xFF}, {"", 'B' + 0}}) {
    const std::string path = file.path() + std::string(ending);
    image.save(path);
    EXPECT_EQ(beginning(path), first) << ending;
    if (*ending != '\0') std::remove(path.c_str());
  }
  try {
    image.save("no folder/frame.bmp");
    ADD_FAILURE() << "saved";
  } catch (const Error& error) {
    EXPECT_STREQ(error.what(),
                 "no folder/frame.bmp: kVexaSaveBmpFile returned -200 (the file cannot be opened, or not be "
                 "written to its end)");
    EXPECT_NE(std::string(error.advice()).find("ANSI code page"), std::string::npos);
  }
}

TEST_F(Owners, FrameThatDoesNotComeIsTimedOut) {
  Board board = streaming();
  board.writeRegister(0x36, 0x0100, {0});
  EXPECT_EQ(resultOf([&] { board.capture(100); }), KVEXA_TIMED_OUT);
}

TEST_F(Owners, RegistersAreReadAndWritten) {
  Board board = streaming();
  board.writeRegister(0x36, 0x0104, {0x02, 0x80});
  EXPECT_EQ(board.readRegister(0x36, 0x0104, 2), (std::vector<std::uint32_t>{0x02, 0x80}));
  EXPECT_EQ(resultOf([&] { board.readRegister(0x37, 0x0104); }), KVEXA_NO_ACKNOWLEDGE);
}

TEST_F(Owners, BoardIsPoweredDownWhenItGoes) {
  {
    const Board board = streaming();
    SupplyStatus status{};
    ASSERT_EQ(kVexaGetSupplyStatus(board.handle(), &status), KVEXA_OK);
    ASSERT_EQ(status.v1.on + status.v2.on + status.clock.on, 3U);
  }
  EXPECT_EQ(supplies().v1.on + supplies().v2.on + supplies().clock.on, 0U);
  EXPECT_EQ(supplies().resetOn, 1U);
}

TEST_F(Owners, BoardIsPoweredDownWhenAnExceptionPasses) {
  EXPECT_THROW(
      {
        const Board board = streaming();
        throw std::runtime_error("reason");
      },
      std::runtime_error);
  EXPECT_EQ(supplies().v1.on, 0U);
}

TEST_F(Owners, BoardThatWasNotPoweredIsLeftAsItIs) {
  {
    const Board board(KVEXA_BOARD_USB, 0);
    ASSERT_EQ(kVexaPowerV1On(board.handle()), KVEXA_OK);
  }
  EXPECT_EQ(supplies().v1.on, 1U);
}

TEST_F(Owners, FailedPowerDownIsTold) {
  Board board = streaming();
  simulated.unplug();
  EXPECT_EQ(resultOf([&] { board.powerDown(); }), KVEXA_REQUEST_FAILED);
}

// However late this thread is: the board's memory holds 26 frames.
TEST_F(Owners, RangeHasEveryFrameOnce) {
  const Board board = streaming();
  CaptureSession session(board, 3, 1000);
  std::vector<unsigned> numbers;
  for (const FrameView& frame : session.frames(20)) numbers.push_back(numberOf(frame));
  ASSERT_EQ(numbers.size(), 20U);
  for (const FrameView& frame : session.frames(5)) numbers.push_back(numberOf(frame));
  ASSERT_EQ(numbers.size(), 25U);
  for (std::size_t i = 1; i < numbers.size(); ++i) EXPECT_EQ(numbers[i], numbers[i - 1] + 1) << i;
  EXPECT_EQ(session.stop(), KVEXA_OK);
}

TEST_F(Owners, LoopThatIsLeftGivesItsFrameBack) {
  const Board board = streaming();
  CaptureSession session(board, 2, 1000);
  std::vector<unsigned> numbers;
  for (int round = 0; round < 5; ++round) {
    for (const FrameView& frame : session.frames()) {
      numbers.push_back(numberOf(frame));
      break;
    }
  }
  for (std::size_t i = 1; i < numbers.size(); ++i) EXPECT_EQ(numbers[i], numbers[i - 1] + 1) << i;
}

TEST_F(Owners, FrameThatIsKeptStaysAsItWas) {
  const Board board = streaming();
  CaptureSession session(board, 1, 1000);
  std::vector<Frame> kept;
  for (const FrameView& frame : session.frames(3)) kept.emplace_back(frame);
  EXPECT_EQ(numberOf(kept[1].view()), numberOf(kept[0].view()) + 1);
  EXPECT_EQ(numberOf(kept[2].view()), numberOf(kept[0].view()) + 2);
}

TEST_F(Owners, EventOfTheCallersEndsTheLoop) {
  const Board board = streaming();
  CaptureSession session(board, 2, 1000);
  const Event stop;
  unsigned frames = 0;
  for (const FrameView& frame : session.frames(0, stop.get())) {
    EXPECT_EQ(frame.width(), 1280U);
    if (++frames == 4) stop.set();
  }
  EXPECT_EQ(frames, 4U);
}

TEST_F(Owners, FrameThatDoesNotComeEndsTheLoopInAnError) {
  Board board = streaming();
  CaptureSession session(board, 2, 200);
  unsigned frames = 0;
  EXPECT_EQ(resultOf([&] {
              for (const FrameView& frame : session.frames()) {
                EXPECT_EQ(frame.height(), 960U);
                if (++frames == 3) board.writeRegister(0x36, 0x0100, {0});
              }
            }),
            KVEXA_TIMED_OUT);
  EXPECT_GE(frames, 3U);
}

TEST_F(Owners, FrameNeedsItsSize) {
  const Board board(KVEXA_BOARD_USB, 0);
  EXPECT_THROW(static_cast<void>(board.capture()), std::logic_error);
  EXPECT_THROW(CaptureSession(board, 2, 1000), std::logic_error);
}

TEST_F(Owners, FilesAreNamedInTheMessage) {
  Board board(KVEXA_BOARD_USB, 0);
  try {
    board.configure("no.dat");
    ADD_FAILURE() << "configured";
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()).find("no.dat: kVexaGetCapFileParam returned -200 ("), 0U)
        << error.what();
  }
}

}  // namespace kvexa::test
