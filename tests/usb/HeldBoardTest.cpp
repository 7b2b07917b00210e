// A USB board whose driver does not answer: what goes on meanwhile on another board, and what still reaches
// the board itself.
#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/BoardFunctions.h"
#include "tests/support/HeldCall.h"
#include "tests/support/TemporaryFile.h"
#include "tests/usb/EngineFixture.h"
#include "tests/usb/TwoBoards.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t frameBytes = 1024;
constexpr std::uint32_t timeout = 700;

struct Captures {
  HANDLE end = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  void* events[2] = {CreateEventA(nullptr, TRUE, FALSE, nullptr), end};
  std::vector<std::uint8_t> frames = std::vector<std::uint8_t>(std::size_t{4} * frameBytes);
  void* buffers[1] = {frames.data()};
  std::int32_t word = 0;
};

// One set of buffers for each board, by its index.
Captures& capturesOf(const BoardHandle* board) {
  static Captures all[2];
  return all[board->boardIndex];
}

double oneShot(const BoardHandle* board) {
  return kVexaOneShotCapture(board, frameBytes, capturesOf(board).frames.data(), timeout);
}

double continuous(const BoardHandle* board) {
  Captures& own = capturesOf(board);
  return kVexaMultiShotCaptureEx(board, frameBytes, 0, own.frames.data(), timeout, nullptr, own.end, nullptr);
}

double ring(const BoardHandle* board) {
  Captures& own = capturesOf(board);
  return kVexaMultiShotCaptureArratEx(board, frameBytes, 1, own.buffers, timeout, own.events, nullptr);
}

double storage(const BoardHandle* board) {
  return kVexaMultiShotStorage(board, frameBytes, 1, capturesOf(board).frames.data(), timeout);
}

double arrayStart(const BoardHandle* board) {
  Captures& own = capturesOf(board);
  return kVexaMultiShotCapArrayStart(board, frameBytes, 1, own.buffers, timeout, own.events, &own.word);
}

double registerFile(const BoardHandle* board) {
  static const TemporaryFile file("36,1\n3000,1,2\n3002,3\n");
  return kVexaSetI2cFile(file.path(), board);
}

double imageData(const BoardHandle* board) {
  std::uint32_t received = 0;
  return kUsbGetData(board->driverHandle, frameBytes, &received, capturesOf(board).frames.data(), timeout);
}

double registerTable(const BoardHandle* board) {
  static RegisterTableEntry table[2];
  table[0].number = 0x36;
  table[0].values[0] = KVEXA_SLAVE7_SUB16;
  table[0].valueCount = 1;
  table[1].number = 0x3000;
  table[1].valueCount = 1;
  return kUsbBufToReg(board->driverHandle, table, 2);
}

double command(const BoardHandle* board) {
  const std::uint8_t flush = 1;
  return kUsbExCmd(board->driverHandle, &flush);
}

constexpr OnRefusal any = OnRefusal::special;
constexpr OnPcie none = OnPcie::notOnPcie;

// Every exported function that sends a request to a USB board. The start and the stop of the array capture
// have tests of their own.
std::vector<BoardFunction> allFunctions() {
  std::vector<BoardFunction> all = boardFunctions();
  for (BoardFunction& function : all) {
    if (function.name == std::string("kVexaSetI2cFile")) function.call = registerFile;
    if (function.name == std::string("kVexaOneShotCapture")) function.call = oneShot;
  }
  using Board = const BoardHandle*;
  const BoardFunction others[] = {
      {"kVexaMultiShotCaptureEx", continuous, any, none},
      {"kVexaMultiShotCaptureArratEx", ring, any, none},
      {"kVexaMultiShotStorage", storage, any, none},
      {"kVexaMultiShotCapArrayStart", arrayStart, any, none},
      {"kVexaAbortCapture", [](Board b) -> double { return kVexaAbortCapture(b); }, any, none},
      {"kVexaSetBufSize", [](Board b) -> double { return kVexaSetBufSize(b, 1.0); }, any, none},
      {"kVexaFrmDropStop", [](Board b) -> double { return kVexaFrmDropStop(b, 1); }, any, none},
      {"kUsbBufToReg", registerTable, any, none},
      {"kUsbExCmd", command, any, none},
      {"kUsbGetData", imageData, any, none},
  };
  all.insert(all.end(), std::begin(others), std::end(others));
  return all;
}

class HeldUsbBoard : public TwoBoards, public ::testing::WithParamInterface<BoardFunction> {
 protected:
  void SetUp() override {
    TwoBoards::SetUp();
    // Limits of the library's waits for its own threads pass at once.
    calls.onWait = [this](HANDLE, DWORD milliseconds) {
      if (milliseconds == 0 || !limitsPass) return std::optional<DWORD>();
      ++waits;
      return std::optional<DWORD>(WAIT_TIMEOUT);
    };
    calls.onWorkerStart = [this] { EXPECT_TRUE(mayStart.await()); };
    mayStart.set();
    streamOn(handle);
    streamOn(otherHandle);
  }

  void TearDown() override {
    end();
    TwoBoards::TearDown();
  }

  // Captures leave their worker running.
  void end() {
    limitsPass = false;
    // An abort in the middle of its start leaves an array capture that does not drain.
    const std::int32_t stopped = kVexaMultiShotCapArrayStop(&handle);
    EXPECT_TRUE(stopped == KVEXA_OK || stopped == KVEXA_BUSY) << stopped;
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    EXPECT_TRUE(calls.joinWorkers());
    limitsPass = true;
    for (auto* each : {&board, &other}) each->faults().clear();
    machine.trace().take();
  }

  double call(const BoardHandle& on) { return GetParam().call(&on); }

  // Of one healthy call, without those of its worker.
  unsigned requestsOfACall() {
    mayStart.reset();
    const unsigned before = board.faults().requestCount();
    healthy = call(handle);
    const unsigned after = board.faults().requestCount();
    mayStart.set();
    end();
    return after - before;
  }

  // Some of many: the first ones, the last one, and a few between.
  static std::vector<unsigned> samplesOf(unsigned total) {
    std::vector<unsigned> samples;
    for (unsigned k = 1; k <= total; k += k < 12 ? 1 : 1 + total / 8) samples.push_back(k);
    if (samples.back() != total) samples.push_back(total);
    return samples;
  }

  std::atomic<bool> limitsPass{true};
  Event mayStart;  // workers
  std::atomic<unsigned> waits{0};
  double healthy = 0;
};

TEST_P(HeldUsbBoard, HoldsNoCallOnAnotherBoard) {
  const unsigned total = requestsOfACall();
  ASSERT_GT(total, 0U);
  for (const unsigned k : samplesOf(total)) {
    SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
    HeldCall held(board.faults(), k, [&] { return call(handle); });
    // Only one array capture may run in a process, and a start is as good as one.
    const bool isArray = GetParam().name == std::string("kVexaMultiShotCapArrayStart");
    EXPECT_EQ(isArray ? -1.0 : healthy, call(otherHandle));
    EXPECT_FALSE(held.isOver());
    EXPECT_EQ(healthy, held.result());
    end();
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&otherHandle));
  }
}

TEST_P(HeldUsbBoard, IsReachedByStatusRecoveryAndAbort) {
  const unsigned total = requestsOfACall();
  for (const unsigned k : samplesOf(total)) {
    SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
    HeldCall held(board.faults(), k, [&] { return call(handle); });
    std::uint8_t block[KVEXA_STATUS_BLOCK_BYTES];
    const unsigned before = board.faults().requestCount();
    EXPECT_EQ(0, kVexaGetUsbStatus(&handle, block));
    EXPECT_EQ(before + 2, board.faults().requestCount());
    EXPECT_EQ(0, kVexaRecovery(&handle));
    EXPECT_EQ(before + 4, board.faults().requestCount());
    EXPECT_EQ(0, kVexaI2cRecovery(&handle));
    EXPECT_EQ(before + 6, board.faults().requestCount());
    waits = 0;
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    // Only a capture that an abort ends is waited for, up to a limit; and an abort by another one.
    const std::string name = GetParam().name;
    const bool handsOver = name == "kVexaMultiShotStorage" || name == "kVexaAbortCapture";
    EXPECT_LE(waits, handsOver ? 1U : 0U);
    EXPECT_LT(before + 20, board.faults().requestCount());
    EXPECT_FALSE(held.isOver());
    held.result();
    end();
  }
}

INSTANTIATE_TEST_SUITE_P(Each, HeldUsbBoard, ::testing::ValuesIn(allFunctions()),
                         [](const auto& function) { return std::string(function.param.name); });

}  // namespace
}  // namespace kvexa::test
