// What a record or a word of the caller's holds after each of a call's requests was refused in turn.
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/CaptureFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint16_t switchRegister = 0x000A;
constexpr std::uint16_t dipRegister = 0x0008;

using Words = std::vector<std::uint32_t>;

// One expectation for each kind of requests.
struct Outcome {
  std::set<unsigned> requests;  // that are refused, one a call
  std::int32_t result;
  Words words;
};

// A register is read by seven requests: the address goes out and the status is asked for until it is idle, a
// header goes out, the status once more, the answer. A reading of the status that is refused is repeated;
// only these three are not.
std::set<unsigned> readFailures(unsigned first) { return {first, first + 3, first + 6}; }
constexpr unsigned readRequests = 7;

class PartialResults : public CaptureFixture {
 protected:
  using Call = std::function<std::int32_t(std::uint32_t* words)>;

  // Calls once for each request. What is in none of the outcomes makes no difference: `healthy`.
  void expectOutcomes(const std::string& what, std::size_t size, const Call& call, const Words& healthy,
                      const std::vector<Outcome>& outcomes) {
    SCOPED_TRACE(what);
    Words words(size + 1, untouched);
    const unsigned before = board.faults().requestCount();
    EXPECT_EQ(KVEXA_OK, call(words.data()));
    const unsigned total = board.faults().requestCount() - before;
    expectWords(healthy, words);
    for (unsigned k = 1; k <= total; ++k) {
      SCOPED_TRACE(testing::Message() << "request " << k << " of " << total);
      const Outcome* outcome = nullptr;
      for (const Outcome& each : outcomes) {
        if (each.requests.contains(k)) outcome = &each;
      }
      words.assign(size + 1, untouched);
      refuse(k);
      EXPECT_EQ(outcome != nullptr ? outcome->result : KVEXA_OK, call(words.data()));
      board.faults().clear();
      expectWords(outcome != nullptr ? outcome->words : healthy, words);
    }
    machine.trace().take();
  }

  static void expectWords(const Words& expected, const Words& words) {
    ASSERT_EQ(expected.size() + 1, words.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(expected[i], words[i]) << "word " << i;
    EXPECT_EQ(untouched, words.back()) << "the word behind";
  }

  static constexpr std::int32_t failed = KVEXA_REQUEST_FAILED;
};

Words nothing(std::size_t count) { return Words(count, untouched); }

class PartialSwitches : public PartialResults {
 protected:
  void SetUp() override {
    PartialResults::SetUp();
    board.setBoardRegister(switchRegister, 0x0035);  // V1, clock, I2C, power switch
    board.setBoardRegister(dipRegister, 0xB35C);
  }

  // The first register decides whether anything is stored; without the second its fields are 0.
  void expectTwoReads(const std::string& what, const Call& call, const Words& healthy,
                      const Words& withoutDips) {
    expectOutcomes(what, healthy.size(), call, healthy,
                   {{readFailures(1), failed, nothing(healthy.size())},
                    {readFailures(1 + readRequests), failed, withoutDips}});
  }
};

TEST_F(PartialSwitches, StatusRecords) {
  const auto call = [this](auto get) {
    return [this, get](std::uint32_t* words) { return get(&handle, reinterpret_cast<SwitchStatus*>(words)); };
  };
  expectTwoReads("V1", call(kVexaGetV1Status), {1, 3, 4}, {1, 0, 0});
  expectTwoReads("V2", call(kVexaGetV2Status), {0, 6, 3}, {0, 0, 0});
  expectTwoReads("clock", call(kVexaGetClockStatus), {1, 2, 1}, {1, 0, 0});
}

TEST_F(PartialSwitches, SupplyStatus) {
  expectTwoReads("supplies",
                 [this](std::uint32_t* words) {
                   return kVexaGetSupplyStatus(&handle, reinterpret_cast<SupplyStatus*>(words));
                 },
                 {1, 3, 4, 0, 6, 3, 1, 2, 1, 0, 1, 1}, {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 1});
}

TEST_F(PartialSwitches, DipSwitches) {
  expectTwoReads("hardware", [this](std::uint32_t* word) { return kVexaGetHwDipStatus(&handle, word); },
                 {0xB3}, {0});
  expectTwoReads("software", [this](std::uint32_t* word) { return kVexaGetSwDipStatus(&handle, word); },
                 {0x5C}, {0});
}

// A bus error has the same effect as a refusal: of the first register, of the second.
TEST_F(PartialSwitches, BusErrors) {
  for (const unsigned reading : {2U, 4U}) {
    queueStatus(reading - 1, 0);
    queueStatus(1, 0x60, '3');
    SupplyStatus status;
    std::memset(&status, 0xA5, sizeof status);
    EXPECT_EQ(KVEXA_NO_ACKNOWLEDGE, kVexaGetSupplyStatus(&handle, &status));
    EXPECT_EQ(reading == 2 ? untouched : 1, status.v1.on);
    EXPECT_EQ(reading == 2 ? untouched : 0, status.v1.hardwareDip);
    EXPECT_EQ(reading == 2 ? untouched : 1, status.powerSwitchOn);
  }
}

// The one is stored whatever the reading did, the other always as 0.
TEST_F(PartialSwitches, ResetAndI2cStatus) {
  board.setBoardRegister(switchRegister, 0x0018);
  expectOutcomes("reset", 1, [this](std::uint32_t* word) { return kVexaGetResetStatus(&handle, word); }, {1},
                 {{readFailures(1), failed, {0}}});
  expectOutcomes("I2C", 1, [this](std::uint32_t* word) { return kVexaGetI2cStatus(&handle, word); }, {0},
                 {{readFailures(1), failed, {0}}});
}

TEST_F(PartialSwitches, Lines) {
  board.setBoardRegister(0x0904, 0xBEEF);
  board.setBoardRegister(0x0902, 0xF00D);
  expectOutcomes("outputs", 1, [this](std::uint32_t* word) { return kVexaGetDout(&handle, word); }, {0xBEEF},
                 {{readFailures(1), failed, nothing(1)}});
  expectOutcomes("inputs", 1, [this](std::uint32_t* word) { return kVexaGetDin(&handle, word); }, {0xF00D},
                 {{readFailures(1), failed, nothing(1)}});
}

using PartialRegisters = PartialResults;

TEST_F(PartialRegisters, BoardRegisters) {
  board.setBoardRegister(0x0902, 0x1234);
  board.setBoardRegister(0x0904, 0x5678);
  expectOutcomes("one", 1, [this](std::uint32_t* words) { return kVexaFpgaRead(&handle, 0x0902, 2, words); },
                 {0x1234}, {{readFailures(1), failed, nothing(1)}});
  expectOutcomes("two", 2, [this](std::uint32_t* words) { return kVexaFpgaRead(&handle, 0x0902, 4, words); },
                 {0x1234, 0x5678}, {{readFailures(1), failed, nothing(2)}});
}

// The answer is fetched whatever became of the header; without it the words are 0.
TEST_F(PartialRegisters, SensorRegisters) {
  bringUpSensor();
  board.sensor().poke(0x8040, 0x5A);
  board.sensor().poke(0x8041, 0x5B);
  const auto read = [this](std::uint32_t* words) {
    return kVexaRegRead(&handle, 0x36, 0x8040, KVEXA_SLAVE7_SUB16, 2, words);
  };
  expectOutcomes("block", 2, read, {0x5A, 0x5B}, {{{1, 2}, failed, {0, 0}}});
  const auto readS = [this](std::uint32_t* words) {
    return kVexaRegReadS(&handle, 0x6D, 0x8040, KVEXA_SLAVE7_SUB16, 2, words);
  };
  expectOutcomes("bus form", 2, readS, {0x5A, 0x5B}, {{{1, 2}, failed, {0, 0}}});
}

// The latch is a command that nobody looks after.
TEST_F(PartialRegisters, LatchedStatus) {
  board.setTargetWord(2, 0xBEEF);
  expectOutcomes("status", 1, [this](std::uint32_t* word) { return kVexaStatusRead(&handle, word); },
                 {0xBEEF}, {{{2, 3}, failed, {0}}});
}

TEST_F(PartialRegisters, StatusBlock) {
  const auto read = [this](std::uint32_t* words) {
    return kVexaGetUsbStatus(&handle, reinterpret_cast<std::uint8_t*>(words));
  };
  Words idle(16);
  idle[1] = static_cast<std::uint32_t>('0')
            << 16;  // the digit, which the board sends with an idle status too
  for (unsigned i = 0; i < 3; ++i) board.queueStatus(0, '0');
  expectOutcomes("block", 16, read, idle, {{{1, 2}, failed, nothing(16)}});
}

// ---- Measurement ----

// One poll without a measurement: three words cleared, the measurement started, polled, stopped, and three
// registers read. The record is filled whatever failed, with 0 for what could not be read.
TEST_F(PartialResults, Measurement) {
  constexpr unsigned start = 9 + 6;
  constexpr unsigned poll = 4;
  constexpr unsigned firstRead = start + poll + 6 + 1;
  board.setBoardRegister(0x010E, 1280);
  board.setBoardRegister(0x0110, 960);
  board.setBoardRegister(0x0108, 0x8000 | 250);
  const auto measure = [this](std::uint32_t* words) {
    AutoActual actual{untouched, untouched, -1.0};
    const std::int32_t result = kVexaAutoActualEx(&handle, &actual, 0);
    words[0] = actual.firstDimension;
    words[1] = actual.secondDimension;
    words[2] = static_cast<std::uint32_t>(actual.frameRate * 1000);
    return result;
  };
  expectOutcomes("measurement", 3, measure, {1280, 960, 40000},
                 {{readFailures(firstRead), KVEXA_OK, {0, 960, 40000}},
                  {readFailures(firstRead + readRequests), KVEXA_OK, {1280, 0, 40000}},
                  {readFailures(firstRead + 2 * readRequests), KVEXA_OK, {1280, 960, 0}}});
}

// ---- Image data ----

// Three reads: the result is the last one's, and what came is counted and where it belongs.
TEST_F(PartialResults, ImageData) {
  constexpr std::uint32_t mebibyte = 0x100000;
  streamAndRelease(1024, 1024);
  for (unsigned k = 0; k <= 3; ++k) {
    SCOPED_TRACE(testing::Message() << "request " << k);
    std::vector<std::uint8_t> buffer(std::size_t{2} * mebibyte + 1000, mark);
    std::uint32_t received = untouched;
    EXPECT_EQ(KVEXA_OK, kVexaEp2Flash(&handle));  // each begins with a whole frame
    if (k != 0) refuse(k);
    const std::int32_t result = kUsbGetData(handle.driverHandle, static_cast<std::uint32_t>(buffer.size()),
                                            &received, buffer.data(), 10000);
    EXPECT_EQ(k == 3 ? KVEXA_REQUEST_FAILED : KVEXA_OK, result);
    const std::uint32_t parts[] = {mebibyte, mebibyte, 1000};
    std::uint32_t expected = 0;
    std::size_t offset = 0;
    for (unsigned i = 0; i < 3; ++i) {
      const bool came = i + 1 != k;
      if (came) expected += parts[i];
      bool isMarked = true;
      for (std::size_t at = offset; at < offset + parts[i]; ++at) isMarked = isMarked && buffer[at] == mark;
      EXPECT_EQ(!came, isMarked) << "part " << i;
      offset += parts[i];
    }
    EXPECT_EQ(expected, received);
    board.faults().clear();
  }
}

// ---- Versions ----

// Each version is stored as soon as it is known.
TEST_F(PartialResults, Versions) {
  board.setBoardRegister(2, 0x1234);
  machine.systemFiles().set(machine.systemFiles().driverPath("KVEXAu.sys"), {{0x0409, 0x04B0, "2.1.0.7"}});
  machine.systemFiles().set("KVEXA_LIB.dll", {{0x0409, 0x04B0, "3.4.5.6"}});
  const auto ask = [this](std::uint32_t* words) {
    return kVexaGetVersion(&handle, words, words + 1, words + 2, words + 3);
  };
  expectOutcomes("versions", 4, ask, {0x1234, 0x0105, 0x2107, 0x3456},
                 {{readFailures(1), failed, nothing(4)},
                  {{1 + readRequests}, failed, {0x1234, untouched, untouched, untouched}}});
}

}  // namespace
}  // namespace kvexa::test
