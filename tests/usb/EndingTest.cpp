// Captures that start while another one is ending, on its board and on another one; and the array capture of
// a process, between boards and threads.
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/HeldCall.h"
#include "tests/usb/EngineFixture.h"
#include "tests/usb/TwoBoards.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t frameBytes = 1024;
constexpr std::uint32_t timeout = 700;
constexpr DWORD endingLimit = 5000;
constexpr DWORD abortWait = timeout + 500;
constexpr DWORD stopWait = timeout + 2000;

struct Buffers {
  Event full;
  Event end;
  void* events[2] = {full.get(), end.get()};
  std::vector<std::uint8_t> frame = std::vector<std::uint8_t>(std::size_t{4} * frameBytes);
  void* buffers[1] = {frame.data()};
  std::int32_t word = 0;
};

struct Start {
  const char* name;
  std::int32_t (*call)(const BoardHandle& board, Buffers& own);
};

constexpr Start starts[] = {
    {"oneShot",
     [](const BoardHandle& board, Buffers& own) {
       return kVexaOneShotCapture(&board, frameBytes, own.frame.data(), timeout);
     }},
    {"storage",
     [](const BoardHandle& board, Buffers& own) {
       const std::int32_t result = kVexaMultiShotStorage(&board, frameBytes, 1, own.frame.data(), timeout);
       return result == KVEXA_ABORTED ? KVEXA_OK : result;  // an abort has sent it on
     }},
    {"continuous",
     [](const BoardHandle& board, Buffers& own) {
       return kVexaMultiShotCaptureEx(&board, frameBytes, 0, own.frame.data(), timeout, nullptr, nullptr,
                                      nullptr);
     }},
    {"ring",
     [](const BoardHandle& board, Buffers& own) {
       return kVexaMultiShotCaptureArratEx(&board, frameBytes, 1, own.buffers, timeout, own.events, nullptr);
     }},
    {"array",
     [](const BoardHandle& board, Buffers& own) {
       return kVexaMultiShotCapArrayStart(&board, frameBytes, 1, own.buffers, timeout, own.events, &own.word);
     }},
};

class EndingOrArray : public TwoBoards {
 protected:
  void SetUp() override {
    TwoBoards::SetUp();
    streamOn(handle);
    streamOn(otherHandle);
    goOn.set();
    calls.beforeRead = [this](const FrameRead& read) {
      if (read.address != heldBuffer) return;
      isHeld.set();
      EXPECT_TRUE(goOn.await());
    };
    calls.onWait = [this](HANDLE, DWORD milliseconds) -> std::optional<DWORD> {
      if (milliseconds == 0) return std::nullopt;
      const std::lock_guard lock(mutex_);
      waits_.push_back(milliseconds);
      hasWaited.set();
      return passing == milliseconds ? std::optional<DWORD>(WAIT_TIMEOUT) : std::nullopt;
    };
  }

  void TearDown() override {
    goOn.set();
    kVexaMultiShotCapArrayStop(&handle);
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
    EXPECT_TRUE(calls.joinWorkers());
    TwoBoards::TearDown();
  }

  // The worker stops before its read into the buffer, until goOn.
  void holdReadInto(const std::uint8_t* buffer) {
    goOn.reset();
    heldBuffer = buffer;
  }

  std::vector<DWORD> waits() {
    const std::lock_guard lock(mutex_);
    hasWaited.reset();
    return std::exchange(waits_, {});
  }

  Event goOn;
  Event isHeld;
  Event hasWaited;
  std::atomic<const std::uint8_t*> heldBuffer{nullptr};
  std::atomic<DWORD> passing{0};  // a wait of that many milliseconds has passed at once

 private:
  std::mutex mutex_;
  std::vector<DWORD> waits_;
};

// A counted capture on board 0 has its frame, and reads the one more.
class StartBehindAnEnding : public EndingOrArray, public ::testing::WithParamInterface<Start> {
 protected:
  void SetUp() override {
    EndingOrArray::SetUp();
    holdReadInto(first.frame.data() + frameBytes);
    ASSERT_EQ(KVEXA_OK, kVexaMultiShotCaptureEx(&handle, frameBytes, 1, first.frame.data(), timeout, nullptr,
                                                first.end.get(), nullptr));
    ASSERT_TRUE(first.end.await());
    ASSERT_TRUE(isHeld.await());
    waits();
  }

  Thread startOnThread() {
    return Thread([this] {
      EXPECT_EQ(KVEXA_OK, GetParam().call(handle, own));
      isOver = true;
    });
  }

  Buffers first;
  Buffers own;
  std::atomic<bool> isOver{false};
};

TEST_P(StartBehindAnEnding, OfAnotherBoardDoesNotWait) {
  EXPECT_EQ(KVEXA_OK, GetParam().call(otherHandle, own));
  EXPECT_TRUE(waits().empty());
  kVexaMultiShotCapArrayStop(&otherHandle);
}

TEST_P(StartBehindAnEnding, WaitsForItOnce) {
  Thread starting = startOnThread();
  ASSERT_TRUE(hasWaited.await());
  giveTurns();
  EXPECT_FALSE(isOver);
  machine.trace().take();
  goOn.set();
  starting.join();
  const auto all = waits();
  EXPECT_EQ(endingLimit, all.front());
  // The worker's stop, whole, before anything of the new capture.
  EXPECT_EQ(0U, trace().find(imageRead(frameBytes, timeout) + workerStop(0)));
  kVexaMultiShotCapArrayStop(&handle);
}

TEST_P(StartBehindAnEnding, GoesOnWhenTheLimitHasPassed) {
  passing = endingLimit;
  EXPECT_EQ(KVEXA_OK, GetParam().call(handle, own));
  EXPECT_EQ(std::vector<DWORD>{endingLimit}, waits());
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
}

TEST_P(StartBehindAnEnding, IsSentOnByAnAbort) {
  machine.addPcieBoards(1);
  BoardHandle pcie{};
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &pcie));
  passing = abortWait;  // the abort's, for the worker that is held
  for (const BoardHandle* aborted : {&handle, &otherHandle, &pcie}) {
    waits();
    isOver = false;
    Thread starting = startOnThread();
    ASSERT_TRUE(hasWaited.await());
    EXPECT_FALSE(isOver);
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(aborted));
    // While the worker is held still.
    starting.join();
    EXPECT_FALSE(goOn.isSet());
    kVexaMultiShotCapArrayStop(&handle);
  }
  EXPECT_EQ(KVEXA_OK, kVexaDevClose(&pcie));
}

INSTANTIATE_TEST_SUITE_P(Each, StartBehindAnEnding, ::testing::ValuesIn(starts),
                         [](const auto& start) { return std::string(start.param.name); });

// ---- The array capture ----

class ArrayOfAProcess : public EndingOrArray {
 protected:
  static std::int32_t start(const BoardHandle& on, Buffers& with) {
    return kVexaMultiShotCapArrayStart(&on, frameBytes, 1, with.buffers, timeout, with.events, &with.word);
  }

  Buffers own;
  Buffers others;
};

TEST_F(ArrayOfAProcess, StartThatIsStillSettingUpRefusesTheSecondAtOnce) {
  std::uint32_t requests = other.faults().requestCount();
  HeldCall held(board.faults(), 3, [&] { return start(handle, own); });
  EXPECT_EQ(KVEXA_FAILED, start(otherHandle, others));
  EXPECT_EQ(KVEXA_FAILED, start(handle, others));
  // Nothing runs yet.
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&otherHandle));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ(requests, other.faults().requestCount());
  EXPECT_EQ(KVEXA_OK, held.result());
  EXPECT_EQ(KVEXA_FAILED, start(otherHandle, others));
  EXPECT_TRUE(own.full.await());
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ(KVEXA_OK, start(otherHandle, others));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&otherHandle));
}

TEST_F(ArrayOfAProcess, StartThatFailsLeavesTheProcessFree) {
  refuse(1);
  EXPECT_EQ(KVEXA_REQUEST_FAILED, start(handle, own));
  machine.resources().failBlocksFrom(1);
  EXPECT_EQ(KVEXA_BUSY, start(handle, own));
  machine.resources().failBlocksFrom(0);
  calls.refuseWorkers = true;
  EXPECT_EQ(KVEXA_BUSY, start(handle, own));
  calls.refuseWorkers = false;
  EXPECT_EQ(KVEXA_OK, start(otherHandle, others));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&otherHandle));
}

TEST_F(ArrayOfAProcess, StopThatWaitsHoldsNobody) {
  holdReadInto(own.frame.data());
  ASSERT_EQ(KVEXA_OK, start(handle, own));
  ASSERT_TRUE(isHeld.await());
  waits();
  std::int32_t result = 1;
  Thread stopping([&] { result = kVexaMultiShotCapArrayStop(&handle); });
  ASSERT_TRUE(hasWaited.await());
  EXPECT_EQ(std::vector<DWORD>{stopWait}, waits());
  // A second stop finds nothing, and another board may start.
  const unsigned requests = board.faults().requestCount();
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&otherHandle));
  EXPECT_EQ(requests, board.faults().requestCount());
  EXPECT_EQ(KVEXA_OK, start(otherHandle, others));
  EXPECT_TRUE(others.full.await());
  EXPECT_FALSE(own.end.isSet());
  goOn.set();
  stopping.join();
  EXPECT_EQ(KVEXA_OK, result);
  EXPECT_TRUE(own.end.isSet());
  // The first one's end is not the second one's.
  others.full.reset();
  EXPECT_TRUE(others.full.await());
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&otherHandle));
  EXPECT_TRUE(others.end.isSet());
}

TEST_F(ArrayOfAProcess, AbortsOfBothBoardsLeaveItAlone) {
  ASSERT_EQ(KVEXA_OK, start(handle, own));
  EXPECT_TRUE(own.full.await());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
  own.full.reset();
  EXPECT_TRUE(own.full.await());
  EXPECT_FALSE(own.end.isSet());
  EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
  EXPECT_EQ(KVEXA_OK, own.word);
}

// ---- Workers whose read hangs ----

TEST_F(EndingOrArray, WorkerWhoseReadHangsHoldsNoOtherBoardAndNoRegisters) {
  for (const Start& each : starts) {
    if (each.name == std::string("oneShot") || each.name == std::string("storage")) continue;
    SCOPED_TRACE(each.name);
    Buffers own;
    Buffers others;
    isHeld.reset();
    holdReadInto(own.frame.data());
    ASSERT_EQ(KVEXA_OK, each.call(handle, own));
    ASSERT_TRUE(isHeld.await());
    std::uint32_t word = 0;
    EXPECT_EQ(KVEXA_OK, kVexaFpgaRead(&handle, 0x0102, 2, &word));
    EXPECT_EQ(KVEXA_OK, kVexaOneShotCapture(&otherHandle, frameBytes, others.frame.data(), timeout));
    // The abort waits for the continuous worker, whichever board's it is; the others end later.
    passing = abortWait;
    waits();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
    EXPECT_EQ(each.name == std::string("continuous") ? 1U : 0U, waits().size());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    passing = 0;
    goOn.set();
    kVexaMultiShotCapArrayStop(&handle);
    EXPECT_TRUE(calls.joinWorkers());
  }
}

}  // namespace
}  // namespace kvexa::test
