// A PCIe board whose driver does not answer: what goes on meanwhile on another board, and what still reaches
// the board itself.
#include <string>

#include "tests/pcie/PcieFixture.h"
#include "tests/support/BoardFunctions.h"
#include "tests/support/HeldCall.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t frameBytes = 1024;

std::uint8_t* frameOf(const BoardHandle* board) {
  static std::uint8_t frames[2][frameBytes];
  return frames[board->boardIndex];
}

double oneShot(const BoardHandle* board) {
  return kVexaOneShotCapture(board, frameBytes, frameOf(board), 1000);
}

double registerFile(const BoardHandle* board) {
  static const TemporaryFile file("36,1\n3000,1,2\n3002,3\n");
  return kVexaSetI2cFile(file.path(), board);
}

double waitInterval(const BoardHandle* board) {
  static OVERLAPPED overlapped[2] = {{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)},
                                     {0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)}};
  return kVexaWaitInterval(board, &overlapped[board->boardIndex]);
}

// Every exported function that sends requests to a PCIe board on the caller's thread.
std::vector<BoardFunction> allFunctions() {
  std::vector<BoardFunction> all;
  for (const auto* list : {&boardFunctions(), &pcieFunctions()}) {
    for (BoardFunction function : *list) {
      if (function.onPcie != OnPcie::served) continue;
      if (function.name == std::string("kVexaSetI2cFile")) function.call = registerFile;
      if (function.name == std::string("kVexaOneShotCapture")) function.call = oneShot;
      if (function.name == std::string("kVexaWaitInterval")) function.call = waitInterval;
      all.push_back(function);
    }
  }
  all.push_back({"kVexaAbortCapture", [](const BoardHandle* b) -> double { return kVexaAbortCapture(b); },
                 OnRefusal::special, OnPcie::served});
  return all;
}

class TwoPcieBoards : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 1, &otherHandle));
    stream(128, 8);
    streamOn(otherHandle, 128, 8);
  }

  void TearDown() override {
    end();
    EXPECT_EQ(KVEXA_OK, kVexaDevClose(&otherHandle));
    PcieFixture::TearDown();
  }

  void end() {
    for (const auto* each : {&handle, &otherHandle}) {
      EXPECT_EQ(KVEXA_OK, kVexaCancelInterval(each));
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(each));
    }
    for (auto* each : {&board, &other}) each->faults().clear();
    trace();
  }

  sim::pcie::Board& other = machine.addPcieBoard();
  BoardHandle otherHandle{};
};

class HeldPcieBoard : public TwoPcieBoards, public ::testing::WithParamInterface<BoardFunction> {
 protected:
  double call(const BoardHandle& on) {
    kVexaLockMemory(&on, 0x1000, 4096);
    for (auto* each : {&board, &other}) each->completeBlocksAtOnce(true);
    return GetParam().call(&on);
  }

  // The request behind the one with which call() makes the board ready.
  unsigned requestsOfACall() {
    const unsigned before = board.faults().requestCount();
    healthy = call(handle);
    const unsigned after = board.faults().requestCount();
    end();
    return after - before;
  }

  bool isOneShot() const { return GetParam().name == std::string("kVexaOneShotCapture"); }

  double healthy = 0;
};

TEST_P(HeldPcieBoard, HoldsNoCallOnAnotherBoard) {
  const unsigned total = requestsOfACall();
  ASSERT_GT(total, 1U);
  for (unsigned k = 2; k <= total; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
    HeldCall held(board.faults(), k, [&] { return call(handle); });
    if (isOneShot()) {
      // It holds the mutex of all PCIe boards for its transfer.
      std::atomic<bool> isOver{false};
      double result = 1;
      const unsigned before = other.faults().requestCount();
      Thread waiting([&] {
        result = call(otherHandle);
        isOver = true;
      });
      until([&] { return other.faults().requestCount() == before + 1; });
      for (int turn = 0; turn < 50; ++turn) SwitchToThread();
      EXPECT_EQ(before + 1, other.faults().requestCount());
      EXPECT_FALSE(isOver);
      EXPECT_EQ(healthy, held.result());
      waiting.join();
      EXPECT_EQ(healthy, result);
    } else {
      EXPECT_EQ(healthy, call(otherHandle));
      EXPECT_FALSE(held.isOver());
      EXPECT_EQ(healthy, held.result());
    }
    end();
  }
}

TEST_P(HeldPcieBoard, IsReachedByTheAbort) {
  const unsigned total = requestsOfACall();
  for (unsigned k = 2; k <= total; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
    HeldCall held(board.faults(), k, [&] { return call(handle); });
    const unsigned before = board.faults().requestCount();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_EQ(before + 2, board.faults().requestCount());
    // They ask the USB board's driver; this one has nothing to ask.
    EXPECT_EQ(KVEXA_OK, kVexaGetUsbStatus(&handle, nullptr));
    EXPECT_EQ(KVEXA_OK, kVexaRecovery(&handle));
    EXPECT_EQ(KVEXA_OK, kVexaI2cRecovery(&handle));
    EXPECT_FALSE(held.isOver());
    held.result();
    end();
  }
}

INSTANTIATE_TEST_SUITE_P(Each, HeldPcieBoard, ::testing::ValuesIn(allFunctions()),
                         [](const auto& function) { return std::string(function.param.name); });

// ---- Workers ----

using HeldPcieWorker = TwoPcieBoards;

// Its requests: four before the capture with the mutex held, the capture with it held.
TEST_F(HeldPcieWorker, HoldsTheStartOfOthersUntilItsCaptureIsSent) {
  for (unsigned k = 1; k <= 5; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    board.faults().at(k, {sim::Fault::Kind::hold});
    MultiShot first(frameBytes, 1);
    MultiShot second(frameBytes, 1);
    ASSERT_EQ(KVEXA_OK, first.start(handle, 1000));
    board.faults().held().await();
    const unsigned before = other.faults().requestCount();
    ASSERT_EQ(KVEXA_OK, second.start(otherHandle, 1000));
    // An abort frees a worker that waits for the mutex.
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
    EXPECT_EQ(KVEXA_ABORTED, second.resultWord);
    EXPECT_EQ(before + 2, other.faults().requestCount());
    EXPECT_FALSE(first.endIsSignalled());
    board.faults().held().release();
    EXPECT_EQ(KVEXA_OK, first.result());
    MultiShot third(frameBytes, 1);
    ASSERT_EQ(KVEXA_OK, third.start(otherHandle, 1000));
    EXPECT_EQ(KVEXA_OK, third.result());
    end();
  }
}

// Behind the capture request no lock is held.
TEST_F(HeldPcieWorker, HoldsNobodyBehindItsCaptureRequest) {
  for (unsigned k = 6; k <= 8; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    board.faults().at(k, {sim::Fault::Kind::hold});
    MultiShot first(frameBytes, 1);
    MultiShot second(frameBytes, 2);
    ASSERT_EQ(KVEXA_OK, first.start(handle, 1000));
    board.faults().held().await();
    ASSERT_EQ(KVEXA_OK, second.start(otherHandle, 1000));
    EXPECT_EQ(KVEXA_OK, second.result());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
    EXPECT_FALSE(first.endIsSignalled());
    board.faults().held().release();
    EXPECT_EQ(KVEXA_OK, first.result());
    end();
  }
}

// The abort reaches the board while the worker's request hangs, and then waits for the worker.
TEST_F(HeldPcieWorker, IsReachedByTheAbort) {
  for (unsigned k = 1; k <= 8; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    board.faults().at(k, {sim::Fault::Kind::hold});
    MultiShot capture(frameBytes, 1);
    ASSERT_EQ(KVEXA_OK, capture.start(handle, 1000));
    board.faults().held().await();
    const unsigned before = board.faults().requestCount();
    std::atomic<bool> isOver{false};
    Thread aborting([&] {
      EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
      isOver = true;
    });
    until([&] { return board.faults().requestCount() == before + 2; });
    EXPECT_FALSE(isOver);
    EXPECT_FALSE(capture.endIsSignalled());
    board.faults().held().release();
    aborting.join();
    EXPECT_TRUE(capture.endIsSignalled());
    EXPECT_TRUE(capture.resultWord == KVEXA_OK || capture.resultWord == KVEXA_ABORTED) << capture.resultWord;
    end();
  }
}

}  // namespace
}  // namespace kvexa::test
