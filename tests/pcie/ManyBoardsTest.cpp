// Several PCIe boards at once, and boards beyond those that have a place of their own in the library.
#include <memory>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr unsigned places = 5;

// Seven boards; board 0 is the fixture's.
class PcieManyBoards : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    machine.addPcieBoards(6);
    handles[0] = handle;
    for (std::uint32_t i = 1; i < 7; ++i) {
      ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, i, &handles[i]));
    }
    trace();
  }

  void TearDown() override {
    for (std::uint32_t i = 1; i < 7; ++i) {
      EXPECT_EQ(0U, machine.pcieBoard(i).pending()) << i;
      if (handles[i].driverHandle != nullptr) {
        EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handles[i]));
      }
    }
    PcieFixture::TearDown();
  }

  // Frames of one line of 128 pixels do not hold the frame number; four lines do.
  static constexpr unsigned width = 128;
  static constexpr unsigned height = 4;
  static constexpr std::uint32_t frameBytes = width * height;

  // The number that is drawn into a frame.
  static std::uint32_t numberOf(const std::uint8_t* frame) {
    std::uint32_t number = 0;
    for (unsigned cell = 0; cell < 32; ++cell) {
      number = number << 1 | (frame[cell * sim::FrameCounter::cellSize] != 0 ? 1 : 0);
    }
    return number;
  }

  // Every frame is whole, and they follow one another.
  static void expectFramesInOrder(const MultiShot& capture, sim::pcie::Board& source) {
    const std::uint32_t first = numberOf(capture.frame(0));
    for (std::uint32_t i = 0; i < capture.frameCount; ++i) {
      const auto expected = source.frameBytes(first + i);
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), capture.frame(i)))
          << source.name() << ", frame " << i << " is number " << numberOf(capture.frame(i));
    }
  }

  BoardHandle handles[7]{};
};

TEST_F(PcieManyBoards, FiveCaptureAtOnceAndEveryFrameIsRight) {
  constexpr std::uint32_t frames = 1000;
  std::vector<std::unique_ptr<MultiShot>> captures;
  for (unsigned i = 0; i < places; ++i) {
    streamOn(handles[i], width, height, 50 + 7 * i);
    captures.push_back(std::make_unique<MultiShot>(frameBytes, frames));
  }
  std::vector<Thread> threads;
  std::vector<unsigned> notices(places);
  for (unsigned i = 0; i < places; ++i) {
    threads.emplace_back([&, i] {
      MultiShot& capture = *captures[i];
      ASSERT_EQ(KVEXA_OK, capture.start(handles[i], 1000));
      const HANDLE events[] = {capture.endEvent, capture.frameEvent};
      while (awaitAny(events) != WAIT_OBJECT_0) {
        ResetEvent(capture.frameEvent);
        ++notices[i];
      }
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handles[i]));
    });
  }
  for (auto& thread : threads) thread.join();
  for (unsigned i = 0; i < places; ++i) {
    EXPECT_EQ(KVEXA_OK, captures[i]->resultWord) << i;
    EXPECT_GT(notices[i], 0U) << i;
    expectFramesInOrder(*captures[i], machine.pcieBoard(i));
  }
}

TEST_F(PcieManyBoards, AbortOfOneDisturbsNoOther) {
  for (int round = 0; round < 20; ++round) {
    std::vector<std::unique_ptr<MultiShot>> captures;
    for (unsigned i = 0; i < places; ++i) {
      streamOn(handles[i], width, height, 50 + 7 * i);
      captures.push_back(std::make_unique<MultiShot>(frameBytes, i == 2 ? 0 : 100));
    }
    for (unsigned i = 0; i < places; ++i) ASSERT_EQ(KVEXA_OK, captures[i]->start(handles[i], 1000));
    captures[2]->awaitFrame();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handles[2]));
    EXPECT_TRUE(captures[2]->endIsSignalled());
    for (unsigned i = 0; i < places; ++i) {
      if (i == 2) continue;
      EXPECT_EQ(KVEXA_OK, captures[i]->result()) << i;
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handles[i]));
      expectFramesInOrder(*captures[i], machine.pcieBoard(i));
    }
    trace();
  }
}

TEST_F(PcieManyBoards, RegistersOfEachAreItsOwn) {
  for (std::uint32_t i = 0; i < 7; ++i) EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handles[i], 100 + i));
  for (std::uint32_t i = 0; i < 7; ++i) {
    std::uint32_t value = 0;
    EXPECT_EQ(KVEXA_OK, kVexaGetDout(&handles[i], &value));
    EXPECT_EQ(100 + i, value);
  }
}

TEST_F(PcieManyBoards, BoardsBeyondTheFifthOpenReadAndCaptureOneFrame) {
  for (const unsigned i : {5U, 6U}) {
    streamOn(handles[i], width, height);
    std::vector<std::uint8_t> frame(frameBytes);
    EXPECT_EQ(KVEXA_OK, kVexaOneShotCapture(&handles[i], frameBytes, frame.data(), 1000)) << i;
    EXPECT_EQ(machine.pcieBoard(i).frameBytes(numberOf(frame.data())), frame);
    AutoActual actual{};
    EXPECT_EQ(KVEXA_OK, kVexaAutoActual(&handles[i], &actual));
    EXPECT_EQ(width, actual.firstDimension);
  }
}

TEST_F(PcieManyBoards, BoardsBeyondTheFifthHaveNoMultiShotAndNoAbort) {
  for (const unsigned i : {5U, 6U}) {
    MultiShot capture(frameBytes, 1);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, capture.start(handles[i]));
    EXPECT_EQ(KVEXA_BAD_ARGUMENT,
              kVexaMultiShotCapture2(&handles[i], frameBytes, 1, 0, capture.buffer.data(), 0,
                                     capture.frameEvent, capture.endEvent, &capture.resultWord));
    EXPECT_EQ(MultiShot::unset, capture.resultWord);
    EXPECT_EQ(KVEXA_FAILED, kVexaAbortCapture(&handles[i]));
  }
  EXPECT_EQ("", trace());
}

TEST_F(PcieManyBoards, BoardsBeyondTheFifthDoNotDisturbTheOthers) {
  for (const unsigned i : {5U, 6U}) {
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&handles[i]));
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, i, &handles[i]));
  }
  for (unsigned i = 0; i < places; ++i) EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handles[i])) << i;
  OVERLAPPED overlapped{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)};
  for (const auto& each : handles) {
    EXPECT_EQ(KVEXA_OK, kVexaWaitInterval(&each, &overlapped));
    EXPECT_EQ(KVEXA_OK, kVexaCancelInterval(&each));
  }
  CloseHandle(overlapped.hEvent);
}

// Bounds of the record, not of the boards that are there.
TEST_F(PcieManyBoards, IndexThatNobodyOpenedIsRefusedWhereAPlaceIsNeeded) {
  BoardHandle strange = handle;
  for (const std::uint32_t index : {5U, 1000U, 0xFFFFFFFFU}) {
    strange.boardIndex = index;
    MultiShot capture(frameBytes, 1);
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, capture.start(strange)) << index;
  }
  EXPECT_EQ("", trace());
}

}  // namespace
}  // namespace kvexa::test
