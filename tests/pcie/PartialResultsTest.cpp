// What a record or a word of the caller's holds after each of a call's requests failed in turn: refused, or
// accepted with a driver status that is an error.
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t switchRegister = 0x214;
constexpr std::uint32_t dipRegister = 0x210;

using Words = std::vector<std::uint32_t>;

enum class Failure { refused, status };

class PciePartialResults : public PcieFixture {
 protected:
  using Call = std::function<std::int32_t(std::uint32_t* words)>;

  struct Outcome {
    std::int32_t result;
    Words words;
  };

  static std::int32_t codeOf(Failure failure) {
    return failure == Failure::refused ? KVEXA_REQUEST_FAILED : KVEXA_DRIVER_3001;
  }

  void meet(unsigned k, Failure failure) { failure == Failure::refused ? refuse(k) : answer(k, 0x3001); }

  // Calls with the k-th request failing, for each k that is named.
  void expectOutcomes(Failure failure, const Call& call, const std::map<unsigned, Outcome>& outcomes) {
    for (const auto& [k, outcome] : outcomes) {
      SCOPED_TRACE(testing::Message() << "request " << k);
      Words words(outcome.words.size() + 1, untouched);
      if (k != 0) meet(k, failure);
      EXPECT_EQ(outcome.result, call(words.data()));
      board.faults().clear();
      for (std::size_t i = 0; i < outcome.words.size(); ++i)
        EXPECT_EQ(outcome.words[i], words[i]) << "word " << i;
      EXPECT_EQ(untouched, words.back()) << "the word behind";
    }
    machine.trace().take();
  }
};

class PciePartialSwitches : public PciePartialResults {
 protected:
  void SetUp() override {
    PciePartialResults::SetUp();
    board.setBoardRegister(switchRegister, 0x3D);  // all but V2
    board.setBoardRegister(dipRegister, 0xB35C);
  }
};

constexpr std::uint32_t u = untouched;

// What could not be read is stored as 0; a register whose reading was accepted is stored whatever its status.
TEST_F(PciePartialSwitches, StatusRecords) {
  const struct {
    std::int32_t(KVEXA_CALL* get)(const BoardHandle*, SwitchStatus*);
    Words healthy;
  } rows[] = {{kVexaGetV1Status, {1, 3, 0}}, {kVexaGetV2Status, {0, 2, 3}}, {kVexaGetClockStatus, {1, 2, 1}}};
  for (const auto& row : rows) {
    const auto call = [&](std::uint32_t* words) {
      return row.get(&handle, reinterpret_cast<SwitchStatus*>(words));
    };
    const Words& w = row.healthy;
    expectOutcomes(
        Failure::refused, call,
        {{0, {KVEXA_OK, w}}, {1, {KVEXA_OK, {0, w[1], w[2]}}}, {2, {KVEXA_REQUEST_FAILED, {w[0], 0, 0}}}});
    expectOutcomes(Failure::status, call, {{1, {KVEXA_OK, w}}, {2, {KVEXA_DRIVER_3001, w}}});
  }
}

// Nine requests: a pair for each of the three records, then one for each word. The failure of a pair's first
// is not one of the call; behind the first failure nothing is stored.
TEST_F(PciePartialSwitches, SupplyStatusRefused) {
  expectOutcomes(Failure::refused,
                 [this](std::uint32_t* words) {
                   return kVexaGetSupplyStatus(&handle, reinterpret_cast<SupplyStatus*>(words));
                 },
                 {{0, {KVEXA_OK, {1, 3, 0, 0, 2, 3, 1, 2, 1, 1, 1, 1}}},
                  {1, {KVEXA_OK, {0, 3, 0, 0, 2, 3, 1, 2, 1, 1, 1, 1}}},
                  {2, {KVEXA_REQUEST_FAILED, {1, 0, 0, u, u, u, u, u, u, u, u, u}}},
                  {3, {KVEXA_OK, {1, 3, 0, 0, 2, 3, 1, 2, 1, 1, 1, 1}}},
                  {4, {KVEXA_REQUEST_FAILED, {1, 3, 0, 0, 0, 0, u, u, u, u, u, u}}},
                  {5, {KVEXA_OK, {1, 3, 0, 0, 2, 3, 0, 2, 1, 1, 1, 1}}},
                  {6, {KVEXA_REQUEST_FAILED, {1, 3, 0, 0, 2, 3, 1, 0, 0, u, u, u}}},
                  {7, {KVEXA_REQUEST_FAILED, {1, 3, 0, 0, 2, 3, 1, 2, 1, 0, u, u}}},
                  {8, {KVEXA_REQUEST_FAILED, {1, 3, 0, 0, 2, 3, 1, 2, 1, 1, 0, u}}},
                  {9, {KVEXA_REQUEST_FAILED, {1, 3, 0, 0, 2, 3, 1, 2, 1, 1, 1, 0}}}});
}

TEST_F(PciePartialSwitches, SupplyStatusWithAnErrorOfTheDriver) {
  const Words all{1, 3, 0, 0, 2, 3, 1, 2, 1, 1, 1, 1};
  std::map<unsigned, Outcome> outcomes;
  for (const unsigned k : {1U, 3U, 5U}) outcomes[k] = {KVEXA_OK, all};
  const std::map<unsigned, std::size_t> stored{{2, 3}, {4, 6}, {6, 9}, {7, 10}, {8, 11}, {9, 12}};
  for (const auto& [k, count] : stored) {
    Words words = all;
    for (std::size_t i = count; i < words.size(); ++i) words[i] = untouched;
    outcomes[k] = {KVEXA_DRIVER_3001, words};
  }
  expectOutcomes(
      Failure::status,
      [this](std::uint32_t* words) {
        return kVexaGetSupplyStatus(&handle, reinterpret_cast<SupplyStatus*>(words));
      },
      outcomes);
}

// The software DIP switch alone is stored only when the reading succeeded.
TEST_F(PciePartialSwitches, OneWordGetters) {
  board.setBoardRegister(0xA08, 0x12345678);
  board.setBoardRegister(0xA04, 0x9ABCDEF0);
  const struct {
    const char* name;
    std::int32_t(KVEXA_CALL* get)(const BoardHandle*, std::uint32_t*);
    std::uint32_t value;
    std::uint32_t refused;
    std::uint32_t onError;
  } rows[] = {{"reset", kVexaGetResetStatus, 1, 0, 1},
              {"I2C", kVexaGetI2cStatus, 1, 0, 1},
              {"hardware DIP", kVexaGetHwDipStatus, 0x33, 0, 0x33},
              {"software DIP", kVexaGetSwDipStatus, 0x5C, untouched, untouched},
              {"outputs", kVexaGetDout, 0x5678, 0, 0x5678},
              {"inputs", kVexaGetDin, 0xDEF0, 0, 0xDEF0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto call = [&](std::uint32_t* word) { return row.get(&handle, word); };
    expectOutcomes(Failure::refused, call,
                   {{0, {KVEXA_OK, {row.value}}}, {1, {KVEXA_REQUEST_FAILED, {row.refused}}}});
    expectOutcomes(Failure::status, call, {{1, {KVEXA_DRIVER_3001, {row.onError}}}});
  }
}

TEST_F(PciePartialResults, BoardRegister) {
  board.setBoardRegister(0xA04, 0x9ABCDEF0);
  const auto call = [this](std::uint32_t* word) { return kVexaFpgaRead(&handle, 0xA04, 2, word); };
  expectOutcomes(Failure::refused, call,
                 {{0, {KVEXA_OK, {0x9ABCDEF0}}}, {1, {KVEXA_REQUEST_FAILED, {untouched}}}});
  expectOutcomes(Failure::status, call, {{1, {KVEXA_DRIVER_3001, {0x9ABCDEF0}}}});
}

// A chunk that failed stores nothing, also when the driver has filled it in.
TEST_F(PciePartialResults, BlockOfSensorRegisters) {
  stream(64, 64);
  constexpr unsigned chunk = 4096;
  constexpr unsigned count = 2 * chunk + 3;
  for (const auto failure : {Failure::refused, Failure::status}) {
    for (unsigned k = 1; k <= 3; ++k) {
      SCOPED_TRACE(testing::Message() << "chunk " << k);
      Words words(count + 1, untouched);
      meet(k, failure);
      EXPECT_EQ(codeOf(failure), kVexaRegRead(&handle, 0x36, 0, 1, count, words.data()));
      board.faults().clear();
      for (std::size_t i = 0; i < words.size(); ++i) {
        ASSERT_EQ(i < std::size_t{k - 1} * chunk, words[i] != untouched) << i;
      }
    }
  }
}

TEST_F(PciePartialResults, SingleSensorRegisters) {
  stream(64, 64);
  for (unsigned k = 1; k <= 3; ++k) {
    Words words(4, untouched);
    refuse(k);
    EXPECT_EQ(KVEXA_REQUEST_FAILED, kVexaRegReadS(&handle, 0x6D, 0, 1, 3, words.data()));
    board.faults().clear();
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(i + 1 < k, words[i] != untouched) << k << ", " << i;
  }
}

TEST_F(PciePartialResults, Lut) {
  constexpr unsigned chunk = 4096;
  constexpr unsigned count = 2 * chunk + 3;
  const Words zeros(count, 0);
  ASSERT_EQ(KVEXA_OK, kDBGLutDataWrite(&handle, count, zeros.data()));
  for (unsigned k = 1; k <= 3; ++k) {
    Words words(count + 1, untouched);
    refuse(k);
    EXPECT_EQ(KVEXA_OK, kDBGLutDataRead(&handle, count, words.data()));
    board.faults().clear();
    for (std::size_t i = 0; i < words.size(); ++i) {
      ASSERT_EQ(i == count || i / chunk == k - 1, words[i] == untouched) << k << ", " << i;
    }
  }
}

TEST_F(PciePartialResults, Measurement) {
  stream(320, 200, 250);
  for (const auto failure : {Failure::refused, Failure::status}) {
    for (const bool within : {false, true}) {
      AutoActual actual{untouched, untouched, -1.0};
      meet(1, failure);
      EXPECT_EQ(codeOf(failure),
                within ? kVexaAutoActualEx(&handle, &actual, 1000) : kVexaAutoActual(&handle, &actual));
      EXPECT_EQ(untouched, actual.firstDimension);
      EXPECT_EQ(untouched, actual.secondDimension);
      EXPECT_EQ(-1.0, actual.frameRate);
    }
  }
}

// One request; behind it only files are asked.
TEST_F(PciePartialResults, Versions) {
  board.setBoardRegister(0x20, 0x87654321);
  auto& files = machine.systemFiles();
  files.set(files.driverPath("KVEXAPCIE.sys"), {{0x0409, 0x04B0, "2.1.0.7"}});
  files.set("KVEXA_LIB.dll", {{0x0409, 0x04B0, "3.4.5.6"}});
  const auto ask = [this](std::uint32_t* words) {
    return kVexaGetVersion(&handle, words, words + 1, words + 2, words + 3);
  };
  expectOutcomes(
      Failure::refused, ask,
      {{0, {KVEXA_OK, {0x87654321, 0, 0x2107, 0x3456}}}, {1, {KVEXA_REQUEST_FAILED, Words(4, u)}}});
  expectOutcomes(Failure::status, ask, {{1, {KVEXA_DRIVER_3001, Words(4, u)}}});
  files.set("KVEXA_LIB.dll", {{0x0409, 0x04B0, "3.4.5"}});
  expectOutcomes(Failure::refused, ask, {{0, {KVEXA_FAILED, {0x87654321, 0, 0x2107, u}}}});
  files.remove(files.driverPath("KVEXAPCIE.sys"));
  expectOutcomes(Failure::refused, ask, {{0, {KVEXA_FAILED, {0x87654321, 0, u, u}}}});
}

}  // namespace
}  // namespace kvexa::test
