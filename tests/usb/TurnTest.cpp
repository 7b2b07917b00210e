// Two threads on one USB board: transfers do not mix, whether callers make them, workers or an abort.
#include <atomic>
#include <functional>
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
constexpr DWORD handOverLimit = 500;

class Turns : public TwoBoards {
 protected:
  void SetUp() override {
    TwoBoards::SetUp();
    calls.onWait = [this](HANDLE, DWORD milliseconds) -> std::optional<DWORD> {
      if (milliseconds == 0) {
        if (looksAreHeld_) passLookGate();
        return std::nullopt;
      }
      std::function<std::optional<DWORD>(DWORD)> answer;
      {
        const std::lock_guard lock(mutex_);
        waits_.push_back(milliseconds);
        answer = onWait_;
      }
      return answer ? answer(milliseconds) : std::nullopt;
    };
  }

  void TearDown() override {
    EXPECT_EQ(KVEXA_OK, kVexaMultiShotCapArrayStop(&handle));
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(calls.joinWorkers());
    TwoBoards::TearDown();
  }

  // The requests to board 0 since the last look.
  std::string requests() {
    std::vector<std::string> lines;
    for (auto& line : machine.trace().take()) {
      if (line.starts_with("usb0 ")) lines.push_back(std::move(line));
    }
    return traceText(lines);
  }

  std::vector<DWORD> waits() {
    const std::lock_guard lock(mutex_);
    return std::exchange(waits_, {});
  }

  // What the library's waits with a limit get for an answer; nothing lets them wait.
  void answerWaits(std::function<std::optional<DWORD>(DWORD)> answer) {
    const std::lock_guard lock(mutex_);
    onWait_ = std::move(answer);
  }

  // Stops the worker of a full ring where it looks at its buffer, until releaseWorker().
  void holdWorker() {
    looksAreHeld_ = true;
    ASSERT_TRUE(lookArrived_.await());
  }
  void releaseWorker() {
    looksAreHeld_ = false;
    lookGate_.set();
  }

  std::int32_t startRing() {
    return kVexaMultiShotCaptureArratEx(&handle, frameBytes, 1, buffers, timeout, events, nullptr);
  }

  std::int32_t startArray(const BoardHandle& on) {
    return kVexaMultiShotCapArrayStart(&on, frameBytes, 1, buffers, timeout, events, &word);
  }

  // A ring of one buffer that is full: its worker sends nothing until it ends.
  void runFullRing() {
    streamOn(handle);
    ASSERT_EQ(KVEXA_OK, startRing());
    ASSERT_TRUE(full.await());
    machine.trace().take();
  }

  // Without a request to board 0.
  void endRing() {
    ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
    ASSERT_TRUE(end.await());
  }

  double writeBoard() {
    const std::uint32_t value = 0x1234;
    return kVexaFpgaWrite(&handle, 0x0904, 2, &value);
  }

  Event full;
  Event end;
  void* events[2] = {full.get(), end.get()};
  std::vector<std::uint8_t> frame = std::vector<std::uint8_t>(std::size_t{4} * frameBytes);
  void* buffers[1] = {frame.data()};
  std::int32_t word = 0;

 private:
  void passLookGate() {
    lookArrived_.set();
    EXPECT_TRUE(lookGate_.await());
  }

  Event lookArrived_;
  Event lookGate_;
  std::atomic<bool> looksAreHeld_{false};
  std::mutex mutex_;
  std::vector<DWORD> waits_;
  std::function<std::optional<DWORD>(DWORD)> onWait_;
};

// ---- Callers ----

struct Transfer {
  const char* name;
  std::int32_t (*make)(const BoardHandle& board);
  std::string atOnce;  // what it sends without a turn
};

std::uint32_t words[4] = {0x11, 0x22, 0x33, 0x44};

std::vector<Transfer> transfers() {
  using Board = const BoardHandle&;
  return {
      {"boardRead", [](Board b) { return kVexaFpgaRead(&b, 0x0904, 2, words); }, ""},
      {"boardWrite", [](Board b) { return kVexaFpgaWrite(&b, 0x0504, 2, words); }, ""},
      {"sensorRead", [](Board b) { return kVexaRegRead(&b, 0x36, 0x3000, 1, 2, words); }, ""},
      {"sensorWrite", [](Board b) { return kVexaRegWrite(&b, 0x36, 0x3000, 1, 2, words); }, ""},
      {"batch",
       [](Board b) {
         RegisterBatchEntry entry{0x3000, words, 2};
         RegisterBatch batch{0x36, 1, &entry, 1};
         return kVexaManyRegWrite(&b, &batch);
       },
       ""},
      {"targetRead", [](Board b) { return kVexaStatusRead(&b, words); }, command(6)},
      {"targetWrite", [](Board b) { return kVexaFrmDropStop(&b, 0); }, ""},
      {"table",
       [](Board b) {
         RegisterTableEntry table[2]{};
         table[0] = {0x36, {KVEXA_SLAVE7_SUB16}, {}, 1};
         table[1] = {0x3000, {1}, {}, 1};
         return kUsbBufToReg(b.driverHandle, table, 2);
       },
       ""},
      {"tableOfCommands",
       [](Board b) {
         RegisterTableEntry table[2]{};
         table[0] = {0x81, {0}, {}, 1};
         table[1] = {1, {1}, {}, 1};
         return kUsbBufToReg(b.driverHandle, table, 2);
       },
       ""},
  };
}

class TransferTurns : public Turns, public ::testing::WithParamInterface<Transfer> {};

// The first one is held at each of its requests.
TEST_P(TransferTurns, TransferDoesNotCutIntoAnother) {
  streamOn(handle);
  const Transfer& transfer = GetParam();
  for (unsigned k = 1; k <= 6; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    machine.trace().take();
    HeldCall held(board.faults(), k, [&] { return writeBoard(); });
    const std::string before = requests();
    std::atomic<bool> hasBegun{false};
    std::int32_t result = 1;
    Thread second([&] {
      hasBegun = true;
      result = transfer.make(handle);
    });
    until([&] { return hasBegun.load(); });
    giveTurns();
    EXPECT_EQ(KVEXA_OK, held.result());
    second.join();
    EXPECT_EQ(KVEXA_OK, result);
    // Whatever goes without a turn stands before the rest of the first transfer, nothing else does.
    std::string all = before + requests();
    if (!transfer.atOnce.empty()) {
      const auto at = all.find(transfer.atOnce);
      ASSERT_NE(std::string::npos, at);
      all.erase(at, transfer.atOnce.size());
    }
    EXPECT_EQ(0U, all.find(boardWrite(0x0904, 0x1234))) << all;
    EXPECT_EQ(0x1234, board.boardRegister(0x0904));
  }
}

INSTANTIATE_TEST_SUITE_P(Each, TransferTurns, ::testing::ValuesIn(transfers()),
                         [](const auto& transfer) { return std::string(transfer.param.name); });

TEST_F(Turns, ArrayStopDoesNotCutIntoATransfer) {
  streamOn(handle);
  ASSERT_EQ(KVEXA_OK, startArray(handle));
  ASSERT_TRUE(full.await());
  machine.trace().take();
  std::optional<HeldCall> held(std::in_place, board.faults(), 1, [&] { return writeBoard(); });
  std::int32_t result = 1;
  Thread stopping([&] { result = kVexaMultiShotCapArrayStop(&handle); });
  ASSERT_TRUE(end.await());
  giveTurns();
  EXPECT_EQ("", requests());
  EXPECT_EQ(KVEXA_OK, held->result());
  stopping.join();
  EXPECT_EQ(KVEXA_OK, result);
  EXPECT_EQ(0U, requests().find(boardWrite(0x0904, 0x1234) + boardWrite(0x0102, 0)));
}

// A driver that hangs keeps its turn, and the board's other callers; a handle that is opened anew has a turn
// of its own.
TEST_F(Turns, BoardThatIsOpenedAnewDoesNotWaitForWhatHangs) {
  HeldCall held(board.faults(), 1, [&, old = handle] {
    const std::uint32_t value = 1;
    return kVexaFpgaWrite(&old, 0x0904, 2, &value);
  });
  ASSERT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
  EXPECT_EQ(KVEXA_OK, writeBoard());
  EXPECT_FALSE(held.isOver());
}

TEST_F(Turns, SecondCloseOfOneBoardTakesNothingFromTheNextOne) {
  BoardHandle copy = handle;
  ASSERT_EQ(KVEXA_OK, kVexaDevClose(&handle));
  ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_USB, 0, &handle));
  if (copy.driverHandle != handle.driverHandle) {
    EXPECT_EQ(KVEXA_FAILED, kVexaDevClose(&copy));
  }
  HeldCall held(board.faults(), 1, [&] { return writeBoard(); });
  machine.trace().take();
  Thread second([&] { EXPECT_EQ(KVEXA_OK, kVexaSetDout(&handle, 1)); });
  giveTurns();
  EXPECT_EQ("", requests());
  EXPECT_EQ(KVEXA_OK, held.result());
  second.join();
}

// ---- Workers and aborts ----

TEST_F(Turns, WorkersStopDoesNotCutIntoATransfer) {
  runFullRing();
  HeldCall held(board.faults(), 1, [&] { return writeBoard(); });
  endRing();
  giveTurns();
  EXPECT_EQ("", requests());
  EXPECT_EQ(KVEXA_OK, held.result());
  EXPECT_TRUE(calls.joinWorkers());
  EXPECT_EQ(boardWrite(0x0904, 0x1234) + workerStop(0), requests());
}

// The hand-over goes from transfer to transfer, to whoever waits.
TEST_F(Turns, AbortWaitsForTheTransferOfAWorkersStop) {
  for (unsigned k = 1; k <= 6; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    runFullRing();
    board.faults().at(k, {sim::Fault::Kind::hold});
    endRing();
    board.faults().held().await();
    waits();
    std::atomic<bool> isFirst{true};
    answerWaits([&](DWORD milliseconds) -> std::optional<DWORD> {
      EXPECT_EQ(handOverLimit, milliseconds);
      if (isFirst.exchange(false)) board.faults().held().release();
      return std::nullopt;
    });
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(calls.joinWorkers());
    answerWaits(nullptr);
    EXPECT_EQ(boardWrite(0x0102, 1) + abortTransfers(0) + simpleWrite(2, 0) + holdAndFlush(2), requests());
  }
}

TEST_F(Turns, WorkerThatHangsCostsTheAbortItsLimitOnce) {
  runFullRing();
  board.faults().at(2, {sim::Fault::Kind::hold});
  endRing();
  board.faults().held().await();
  waits();
  answerWaits([](DWORD) { return WAIT_TIMEOUT; });
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_EQ(std::vector<DWORD>{handOverLimit}, waits());
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
  EXPECT_EQ(1U, board.faults().held().count());
  answerWaits(nullptr);
  board.faults().held().release();
  EXPECT_TRUE(calls.joinWorkers());
}

// And the other way round.
TEST_F(Turns, AbortThatHangsCostsAWorkerTheLimitOnce) {
  runFullRing();
  holdWorker();  // it sees the abort when that hangs
  answerWaits([](DWORD) { return WAIT_TIMEOUT; });
  HeldCall held(board.faults(), 2, [&] { return kVexaAbortCapture(&handle); });
  releaseWorker();
  ASSERT_TRUE(end.await());
  EXPECT_TRUE(calls.joinWorkers());
  EXPECT_EQ(std::vector<DWORD>{handOverLimit}, waits());
  EXPECT_FALSE(held.isOver());
  answerWaits(nullptr);
}

// While a caller's transfer hangs, its worker waits for the turn with nothing in hand.
TEST_F(Turns, AbortDoesNotWaitForAWorkerThatWaitsForACaller) {
  runFullRing();
  HeldCall held(board.faults(), 1, [&] { return writeBoard(); });
  endRing();
  giveTurns();
  waits();
  EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
  EXPECT_TRUE(waits().empty());
  EXPECT_FALSE(held.isOver());
  EXPECT_EQ(KVEXA_OK, held.result());
  EXPECT_TRUE(calls.joinWorkers());
}

// A storage capture polls the board until the abort: their transfers do not mix either.
TEST_F(Turns, AbortWaitsForTheTransferOfAStorageCapture) {
  streamOn(handle);
  board.faults().holdFrames(true);
  for (unsigned k = 1; k <= 8; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    std::int32_t result = 1;
    Thread storing([&] { result = kVexaMultiShotStorage(&handle, frameBytes, 1, frame.data(), timeout); });
    // It polls.
    const unsigned before = board.faults().requestCount();
    until([&] { return board.faults().requestCount() >= before + 100; });
    board.faults().at(k, {sim::Fault::Kind::hold});
    board.faults().held().await();
    std::atomic<bool> isFirst{true};
    answerWaits([&](DWORD) -> std::optional<DWORD> {
      if (isFirst.exchange(false)) board.faults().held().release();
      return std::nullopt;
    });
    machine.trace().take();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    storing.join();
    answerWaits(nullptr);
    EXPECT_FALSE(isFirst);
    EXPECT_EQ(KVEXA_ABORTED, result);
    EXPECT_NE(std::string::npos, requests().find(abortTransfers(0)));
  }
}

}  // namespace
}  // namespace kvexa::test
