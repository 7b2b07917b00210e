// A simulation that is stopped while the library is in the middle of something.
#include <atomic>
#include <memory>
#include <thread>

#include "tests/sim/dll/DllFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t usb = KVEXA_BOARD_USB;
constexpr std::uint32_t pcie = KVEXA_BOARD_PCIE;

// A board that is brought up, and captures of it.
struct Capture {
  explicit Capture(const LoadedLibrary& from, std::uint32_t type) : library(from) {
    EXPECT_EQ(KVEXA_OK, library.open(type, 0, board));
    library.bringUp(board);
    CapParam param{};
    param.HCNT = param.VCNT = streamSide;
    param.BITWIDTH = 8;
    param.PORTMSBBIT = 7;
    EXPECT_EQ(KVEXA_OK, library.function<decltype(kVexaSetCapParam)>("_kVexaSetCapParam@8")(&board, &param));
    for (HANDLE& each : events) each = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  }
  ~Capture() {
    for (const HANDLE each : events) CloseHandle(each);
  }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  void startRing() {
    EXPECT_EQ(KVEXA_OK,
              library.function<decltype(kVexaMultiShotCapArrayStart)>("_kVexaMultiShotCapArrayStart@28")(
                  &board, streamBytes, 3, buffers, 1000, events, result()));
  }

  void startContinuous() {
    EXPECT_EQ(KVEXA_OK, library.function<decltype(kVexaMultiShotCaptureEx)>("_kVexaMultiShotCaptureEx@32")(
                            &board, streamBytes, 0, image, 1000, events[0], events[3], result()));
  }

  void startMultiShot() {
    EXPECT_EQ(KVEXA_OK, library.function<decltype(kVexaMultiShotCapture2)>("_kVexaMultiShotCapture2@36")(
                            &board, streamBytes, 1, 1, image, 1000, events[0], events[3], result()));
  }

  void awaitFrame() {
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(events[0], INFINITE));
    ResetEvent(events[0]);
  }

  void stopRing() const { library.turn("_kVexaMultiShotCapArrayStop@4", board); }

  void awaitEnd() const { EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(events[3], INFINITE)); }

  std::int32_t abort() const { return library.turn("_kVexaAbortCapture@4", board); }

  std::int32_t* result() { return const_cast<std::int32_t*>(&ended); }

  const LoadedLibrary& library;
  BoardHandle board{};
  std::uint8_t image[4 * streamBytes]{};
  void* buffers[3] = {image, image + streamBytes, image + 2 * streamBytes};
  HANDLE events[4]{};
  volatile std::int32_t ended = KVEXA_OK;
};

class Stopping : public DllTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void start() { DllTest::start(streamingBoards(GetParam())); }
};

TEST_P(Stopping, RingOfAUsbBoard) {
  const LoadedLibrary library;
  for (int round = 0; round < 5; ++round) {
    start();
    Capture capture(library, usb);
    capture.startRing();
    capture.awaitFrame();
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    EXPECT_EQ(0, library.count(usb));
    capture.stopRing();
    capture.library.close(capture.board);
  }
}

TEST_P(Stopping, RingWhoseBuffersAreFull) {
  const LoadedLibrary library;
  start();
  Capture capture(library, usb);
  capture.startRing();
  ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(capture.events[2], INFINITE));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
  capture.stopRing();
  capture.library.close(capture.board);
}

TEST_P(Stopping, ContinuousCaptureOfAUsbBoard) {
  const LoadedLibrary library;
  for (int round = 0; round < 5; ++round) {
    start();
    Capture capture(library, usb);
    capture.startContinuous();
    capture.awaitFrame();
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    capture.abort();
    capture.awaitEnd();
    EXPECT_EQ(KVEXA_ABORTED, capture.ended);
    capture.library.close(capture.board);
  }
}

TEST_P(Stopping, MultiShotOfAPcieBoard) {
  const LoadedLibrary library;
  for (int round = 0; round < 5; ++round) {
    start();
    Capture capture(library, pcie);
    capture.startMultiShot();
    capture.awaitFrame();
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    capture.awaitEnd();
    capture.abort();
    capture.library.close(capture.board);
  }
}

// A stop while the capture's end is under way on another thread.
TEST_P(Stopping, WhileAnotherThreadAborts) {
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    for (int round = 0; round < 10; ++round) {
      start();
      Capture capture(library, type);
      type == usb ? capture.startContinuous() : capture.startMultiShot();
      capture.awaitFrame();
      std::thread aborting([&] { capture.abort(); });
      EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
      aborting.join();
      capture.awaitEnd();
      capture.library.close(capture.board);
    }
  }
}

// A one-shot capture that waits for a frame that never comes, ended by the stop.
TEST_P(Stopping, OneShotThatWaitsForAFrame) {
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    start();
    Capture capture(library, type);
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimSetConditions(type, 0, 1, 0));
    std::int32_t result = KVEXA_OK;
    std::thread capturing([&] {
      result = library.function<decltype(kVexaOneShotCapture)>("_kVexaOneShotCapture@16")(
          &capture.board, streamBytes, capture.image, 0xFFFFFFF0);
    });
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    capturing.join();
    EXPECT_NE(KVEXA_OK, result);
    capture.library.close(capture.board);
  }
}

// The handles of a stopped simulation are nobody's.
TEST_P(Stopping, HandleFromBeforeDoesNotReachALaterBoard) {
  const LoadedLibrary library;
  for (const std::uint32_t type : {usb, pcie}) {
    start();
    BoardHandle before{};
    ASSERT_EQ(KVEXA_OK, library.open(type, 0, before));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    EXPECT_NE(KVEXA_OK, library.writeRegister(before, 0x1230, 0x55));
    start();
    BoardHandle now{};
    ASSERT_EQ(KVEXA_OK, library.open(type, 0, now));
    EXPECT_NE(KVEXA_OK, library.writeRegister(before, 0x1230, 0x55));
    std::uint32_t value = 7;
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadBoardRegister(type, 0, 0x1230, &value));
    EXPECT_EQ(0U, value);
    library.close(before);
    EXPECT_EQ(KVEXA_OK, library.writeRegister(now, 0x1230, 0x66));
    EXPECT_EQ(KVEXA_OK, library.close(now));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
  }
}

INSTANTIATE_TEST_SUITE_P(InBothTimes, Stopping, ::testing::Values("simulated", "real"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
}  // namespace kvexa::test
