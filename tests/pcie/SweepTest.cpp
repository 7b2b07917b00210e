// Every function meets a refusal and every driver status at each of its requests in turn. It must come back
// with the right code, leave nothing taken, and the board must work afterwards.
#include <functional>
#include <map>

#include "tests/pcie/PcieFixture.h"
#include "tests/support/HandleCount.h"
#include "tests/support/TemporaryFile.h"

namespace kvexa::test {
namespace {

// What a function makes of one of its requests.
enum class Request {
  ignored,   // the result is the same as without
  plain,     // refused -51, 0x3000 and 0x3001 have codes
  raw,       // refused -51, the status is the result
  busSpeed,  // any failure is a bad argument
  single,    // refused -51, no status matters
  block,
  capture,
  measurement,
  measurementWithin,
  interval
};

using Codes = std::map<std::uint32_t, std::int32_t>;

struct Meaning {
  Codes codes;
  std::int32_t otherwise;  // 1: the function's own result
};

constexpr std::int32_t ownResult = 1;

const std::map<Request, Meaning> meanings = {
    {Request::ignored, {{}, ownResult}},
    {Request::plain, {{{0x3000, -62}, {0x3001, -63}}, ownResult}},
    {Request::raw, {{}, ownResult}},
    {Request::busSpeed, {{{0x3000, -54}, {0x3001, -54}}, ownResult}},
    {Request::single, {{}, ownResult}},
    {Request::block, {{{0x2000, -54}, {0x2009, -57}, {0x3000, -62}, {0x3001, -63}}, -1}},
    {Request::capture,
     {{{0x1000, -58}, {0x1001, -61}, {0x1003, -52}, {0x1004, -64}, {0x3000, -62}, {0x3001, -63}}, ownResult}},
    {Request::measurement, {{{0x1000, -53}, {0x1001, -61}, {0x3000, -62}, {0x3001, -63}}, ownResult}},
    {Request::measurementWithin, {{{0x1001, -61}, {0x3000, -62}, {0x3001, -63}}, ownResult}},
    {Request::interval, {{{0x1001, -61}, {0x1002, -53}, {0x3000, -62}, {0x3001, -63}}, ownResult}},
};

std::int32_t onStatus(Request request, std::uint32_t status, std::int32_t healthy) {
  if (request == Request::raw) return static_cast<std::int32_t>(status);
  const Meaning& meaning = meanings.at(request);
  const auto found = meaning.codes.find(status);
  const std::int32_t code = found == meaning.codes.end() ? meaning.otherwise : found->second;
  return code == ownResult ? healthy : code;
}

std::int32_t onRefusal(Request request, std::int32_t healthy) {
  if (request == Request::ignored) return healthy;
  return request == Request::busSpeed ? -54 : -51;
}

constexpr std::uint32_t statuses[] = {0x1000, 0x1001, 0x1002, 0x1003, 0x1004,
                                      0x2000, 0x2009, 0x3000, 0x3001, 0x1234};

struct Function {
  const char* name;
  std::function<std::int32_t(const BoardHandle*)> call;
  std::vector<Request> requests;
};

std::vector<Request> times(unsigned count, Request request) { return std::vector<Request>(count, request); }

class PcieSweep : public PcieFixture {
 protected:
  void SetUp() override {
    PcieFixture::SetUp();
    stream(128, 8);
  }

  ~PcieSweep() override { CloseHandle(overlapped.hEvent); }

  std::vector<Function> functions() {
    using Board = const BoardHandle*;
    using enum Request;
    std::vector<Function> all;
    const auto add = [&all](const char* name, const auto& call, std::vector<Request> requests) {
      all.push_back({name, call, std::move(requests)});
    };
    for (const auto turn :
         {kVexaPowerV1On, kVexaPowerV2Off, kVexaPowerV2On, kVexaClockOff, kVexaClockOn, kVexaResetOff,
          kVexaResetOn, kVexaI2cOff, kVexaI2cOn, kVexaPowerSwControlOff, kVexaPowerSwControlOn}) {
      add("switch", [turn](Board b) { return turn(b); }, {ignored, plain});
    }
    add("kVexaPowerV1Off", [](Board b) { return kVexaPowerV1Off(b); }, {ignored, ignored});
    for (const auto get : {kVexaGetV1Status, kVexaGetV2Status, kVexaGetClockStatus}) {
      add("switch status", [this, get](Board b) { return get(b, &supplies.v1); }, {ignored, plain});
    }
    for (const auto get : {kVexaGetResetStatus, kVexaGetI2cStatus, kVexaGetHwDipStatus, kVexaGetSwDipStatus,
                           kVexaGetDout, kVexaGetDin}) {
      add("one word", [this, get](Board b) { return get(b, words.data()); }, {plain});
    }
    add("kVexaGetSupplyStatus", [this](Board b) { return kVexaGetSupplyStatus(b, &supplies); },
        {ignored, plain, ignored, plain, ignored, plain, plain, plain, plain});
    add("kVexaSetSwDip", [this](Board b) { return kVexaSetSwDip(b, &zero); }, {plain, plain});
    add("kVexaSetDout", [](Board b) { return kVexaSetDout(b, 5); }, {plain});
    add("kVexaFpgaRead", [this](Board b) { return kVexaFpgaRead(b, 0x20, 1, words.data()); }, {plain});
    add("kVexaFpgaWrite", [this](Board b) { return kVexaFpgaWrite(b, 0xA08, 1, &zero); }, {plain});
    add("kVexaLockMemory", [](Board b) { return kVexaLockMemory(b, 16, 4096); }, {plain});
    add("kVexaUnlockMemory", [](Board b) { return kVexaUnlockMemory(b, 16, 4096); }, {raw});
    add("kVexaPowerControl", [this](Board b) { return kVexaPowerControl(b, &sequence); },
        {ignored, ignored, ignored, plain});
    add(
        "kVexaSetCapParam", [this](Board b) { return kVexaSetCapParam(b, &param); }, times(15, plain));
    add(
        "kVexaCscSet", [this](Board b) { return kVexaCscSet(b, matrix); }, times(13, ignored));
    add("kVexaSetI2Cspeed", [](Board b) { return kVexaSetI2Cspeed(b, 1); }, {plain});
    add("kVexaSetWaitAckTimes", [](Board b) { return kVexaSetWaitAckTimes(b, 100); }, {busSpeed, plain});
    add("kVexaRegRead", [this](Board b) { return kVexaRegRead(b, 0x36, 0, 1, 4097, words.data()); },
        {block, block});
    add("kVexaRegWrite", [this](Board b) { return kVexaRegWrite(b, 0x36, 0x3000, 1, 4097, words.data()); },
        {block, block});
    add(
        "kVexaRegReadS", [this](Board b) { return kVexaRegReadS(b, 0x6D, 0, 1, 2, words.data()); },
        times(2, Request::single));
    add(
        "kVexaRegWriteS", [this](Board b) { return kVexaRegWriteS(b, 0x6C, 0x3000, 1, 2, words.data()); },
        times(2, Request::single));
    add("kVexaSetI2cFile", [this](Board b) { return kVexaSetI2cFile(file.path(), b); }, {block, block});
    add(
        "kDBGLutDataWrite", [this](Board b) { return kDBGLutDataWrite(b, 4097, words.data()); },
        times(2, ignored));
    add(
        "kDBGLutDataRead", [this](Board b) { return kDBGLutDataRead(b, 4097, words.data()); },
        times(2, ignored));
    add("kVexaOneShotCapture", [this](Board b) { return kVexaOneShotCapture(b, 1024, frame.data(), 1000); },
        {capture});
    add("kVexaAutoActual", [this](Board b) { return kVexaAutoActual(b, &actual); }, {measurement});
    add("kVexaAutoActualEx", [this](Board b) { return kVexaAutoActualEx(b, &actual, 1000); },
        {measurementWithin});
    add("kVexaSetWaitIntervalParam", [](Board b) { return kVexaSetWaitIntervalParam(b, 4); }, {ignored});
    add("kVexaWaitInterval", [this](Board b) { return kVexaWaitInterval(b, &overlapped); }, {interval});
    add("kVexaCancelInterval", [](Board b) { return kVexaCancelInterval(b); }, {plain});
    add("kVexaAbortCapture", [](Board b) { return kVexaAbortCapture(b); }, {ignored, plain});
    return all;
  }

  // The board as a healthy call needs it.
  void prepare() {
    board.faults().clear();
    if (!board.sensor().isStreaming()) stream(128, 8);
    board.setBoardRegister(0x118, 0);
    ASSERT_EQ(KVEXA_OK, kVexaCancelInterval(&handle));
    ASSERT_EQ(KVEXA_OK, kVexaLockMemory(&handle, 16, 4096));
    trace();
  }

  void expectWorkingBoard() {
    prepare();
    ASSERT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    ASSERT_EQ(0U, board.pending());
    ASSERT_EQ(KVEXA_OK, kVexaOneShotCapture(&handle, 1024, frame.data(), 1000));
    ASSERT_EQ(0U, machine.resources().open(sim::Resources::Kind::event));
    ASSERT_EQ(0U, machine.resources().open(sim::Resources::Kind::globalMemory));
    trace();
  }

  std::uint32_t zero = 0;
  std::vector<std::uint32_t> words = std::vector<std::uint32_t>(4097);
  std::vector<std::uint8_t> frame = std::vector<std::uint8_t>(1024);
  SupplyStatus supplies{};
  AutoActual actual{};
  PowerSequence sequence{{{1, 1, 0, 1, 1, 0}, {1, 1, 0, 1, 1, 0}}, 2};
  CapParam param = [] {
    CapParam p{};
    p.HCNT = 128;
    p.VCNT = 8;
    p.BITWIDTH = 8;
    p.PORTMSBBIT = 7;
    return p;
  }();
  double matrix[13] = {};
  TemporaryFile file{"36,1\n3000,1,2\n3002,3\n"};
  OVERLAPPED overlapped{0, 0, {}, CreateEventA(nullptr, TRUE, FALSE, nullptr)};
};

TEST_F(PcieSweep, HealthyCallsSendWhatIsExpected) {
  for (const auto& function : functions()) {
    prepare();
    const unsigned before = board.faults().requestCount();
    EXPECT_EQ(KVEXA_OK, function.call(&handle)) << function.name;
    EXPECT_EQ(function.requests.size(), board.faults().requestCount() - before) << function.name;
  }
  expectWorkingBoard();
}

TEST_F(PcieSweep, RefusalOfEachRequestHasItsCode) {
  for (const auto& function : functions()) {
    for (unsigned k = 1; k <= function.requests.size(); ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", request " << k);
      prepare();
      refuse(k);
      EXPECT_EQ(onRefusal(function.requests[k - 1], KVEXA_OK), function.call(&handle));
      expectWorkingBoard();
    }
  }
}

TEST_F(PcieSweep, EveryStatusOfEachRequestHasItsCode) {
  for (const auto& function : functions()) {
    for (unsigned k = 1; k <= function.requests.size(); ++k) {
      for (const std::uint32_t status : statuses) {
        SCOPED_TRACE(testing::Message() << function.name << ", request " << k << ", status " << status);
        prepare();
        answer(k, status);
        EXPECT_EQ(onStatus(function.requests[k - 1], status, KVEXA_OK), function.call(&handle));
        // What the caller's interval says later, no call is there to return.
        if (function.requests[k - 1] != Request::interval) {
          prepare();
          answerLater(k, status);
          EXPECT_EQ(onStatus(function.requests[k - 1], status, KVEXA_OK), function.call(&handle));
        }
        expectWorkingBoard();
      }
    }
  }
}

TEST_F(PcieSweep, RefusalOfEverythingFromOneRequestOnEndsTheCall) {
  for (const auto& function : functions()) {
    for (unsigned k = 1; k <= function.requests.size(); ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", from request " << k);
      prepare();
      board.faults().from(k, {sim::Fault::Kind::refuse, ERROR_GEN_FAILURE});
      const std::int32_t result = function.call(&handle);
      EXPECT_TRUE(result == KVEXA_OK || result == KVEXA_REQUEST_FAILED || result == KVEXA_BAD_ARGUMENT)
          << result;
      expectWorkingBoard();
    }
  }
}

TEST_F(PcieSweep, BoardPulledOutAtEachRequestEndsTheCall) {
  for (const auto& function : functions()) {
    for (unsigned k = 1; k <= function.requests.size(); ++k) {
      SCOPED_TRACE(testing::Message() << function.name << ", request " << k);
      prepare();
      board.faults().at(k, {sim::Fault::Kind::unplug});
      const std::int32_t result = function.call(&handle);
      EXPECT_TRUE(result == KVEXA_OK || result == KVEXA_REQUEST_FAILED || result == KVEXA_BAD_ARGUMENT)
          << result;
      EXPECT_FALSE(board.isPlugged());
      ASSERT_EQ(KVEXA_OK, kVexaDevClose(&handle));
      board.plug();
      ASSERT_EQ(KVEXA_OK, kVexaDevOpen(KVEXA_BOARD_PCIE, 0, &handle));
      expectWorkingBoard();
    }
  }
}

// The worker's requests: four before the capture, the capture, one for each frame, two at the end.
TEST_F(PcieSweep, WorkerMeetsEveryFaultAtEachOfItsRequests) {
  constexpr unsigned frames = 3;
  constexpr unsigned captureNumber = 5;
  const auto run = [&](std::int32_t expected) {
    MultiShot multiShot(1024, frames);
    ASSERT_EQ(KVEXA_OK, multiShot.start(handle, 1000));
    EXPECT_EQ(expected, multiShot.result());
    EXPECT_EQ(KVEXA_OK, kVexaAbortCapture(&handle));
    expectWorkingBoard();
  };
  for (unsigned k = 1; k <= captureNumber + frames + 2; ++k) {
    for (const std::uint32_t status : statuses) {
      SCOPED_TRACE(testing::Message() << "request " << k << ", status " << status);
      answer(k, status);
      run(k == captureNumber ? onStatus(Request::capture, status, KVEXA_OK) : KVEXA_OK);
    }
    if (k == captureNumber) continue;  // such a worker waits for an abort
    SCOPED_TRACE(testing::Message() << "request " << k << " refused");
    refuse(k);
    run(KVEXA_OK);
  }
}

TEST_F(PcieSweep, NothingIsLeftOverAThousandRounds) {
  const auto all = functions();
  unsigned before = 0;
  for (int round = 0; round < 1000; ++round) {
    const Function& function = all[static_cast<std::size_t>(round) % all.size()];
    const unsigned k = 1 + static_cast<unsigned>(round) % static_cast<unsigned>(function.requests.size());
    round % 2 == 0 ? refuse(k) : answer(k, statuses[static_cast<std::size_t>(round) % 10]);
    function.call(&handle);
    board.faults().clear();
    if (round % 50 == 0) expectWorkingBoard();
    if (round == 100) before = processHandleCount();
  }
  expectWorkingBoard();
  // A lock of the simulation takes a handle when two threads first meet at it; a leak would be hundreds.
  EXPECT_LT(processHandleCount(), before + 20);
}

}  // namespace
}  // namespace kvexa::test
