// The frame rate as the register of the frame period tells it, reading by reading.
#include <cmath>
#include <functional>
#include <vector>

#include "tests/support/BoardFixture.h"
#include "tests/usb/LibraryCalls.h"

namespace kvexa::test {
namespace {

constexpr std::uint16_t periodRegister = 0x0108;
constexpr std::uint16_t toggle = 0x8000;  // the bit that turns round with every frame

using Readings = std::vector<unsigned>;

class FrameRateReadings : public BoardFixture {
 protected:
  // The rate while the register holds these words: the first one at once, each further one after a pause.
  // There must be as many pauses as words behind the first.
  double rate(const Readings& readings) {
    std::size_t at = 0;
    LibraryCalls calls(libraryModule());
    calls.onSleep = [&](DWORD) {
      ++at;
      if (at < readings.size()) hold(readings[at]);
    };
    hold(readings[0]);
    const double result = kVexaGetFrameRate(&handle);
    EXPECT_EQ(readings.size(), at + 1);
    EXPECT_EQ(
        boardRead(periodRegister) + repeat(static_cast<unsigned>(at), sleep(100) + boardRead(periodRegister)),
        trace());
    return result;
  }

  void hold(unsigned word) { board.setBoardRegister(periodRegister, static_cast<std::uint16_t>(word)); }

  // Eleven pauses with this word after each, but for the changes.
  static Readings all(unsigned word, const std::vector<std::pair<std::size_t, unsigned>>& changes = {}) {
    Readings readings(12, word);
    for (const auto& [at, changed] : changes) readings[at] = changed;
    return readings;
  }
};

TEST_F(FrameRateReadings, TwoTogglesAreARate) {
  EXPECT_DOUBLE_EQ(10000.0 / 333, rate({333, toggle | 333, 333}));
  EXPECT_DOUBLE_EQ(10000.0 / 250, rate({toggle | 250, 250, toggle | 250}));
}

TEST_F(FrameRateReadings, ToggleIsAChangeFromTheReadingBefore) {
  EXPECT_DOUBLE_EQ(10000.0 / 500, rate({500, toggle | 500, toggle | 500, toggle | 500, 500}));
  EXPECT_DOUBLE_EQ(10000.0 / 500, rate({500, 500, 500, toggle | 500, 500}));
}

TEST_F(FrameRateReadings, OneToggleIsNoRate) {
  for (const std::size_t at : {1U, 5U, 11U}) {
    Readings readings = all(400);
    for (std::size_t i = at; i < readings.size(); ++i) readings[i] = toggle | 400;
    EXPECT_EQ(0.0, rate(readings)) << at;
    for (unsigned& word : readings) word ^= toggle;
    EXPECT_EQ(0.0, rate(readings)) << at;
  }
}

TEST_F(FrameRateReadings, SecondToggleAtTheEleventhReadingIsInTime) {
  EXPECT_DOUBLE_EQ(10000.0 / 77, rate(all(77, {{10, toggle | 77}})));
  Readings late = all(toggle | 77);
  late[0] = 77;
  late[11] = 77;
  EXPECT_DOUBLE_EQ(10000.0 / 77, rate(late));
}

TEST_F(FrameRateReadings, SecondToggleAtTheTwelfthReadingIsTooLate) {
  EXPECT_EQ(0.0, rate(all(77, {{11, toggle | 77}})));
}

// The other bits do not count frames, however they change.
TEST_F(FrameRateReadings, PeriodIsNoToggle) {
  Readings readings;
  for (unsigned i = 0; i < 12; ++i) readings.push_back(i % 2 == 0 ? 0x7FFFU : 0U);
  EXPECT_EQ(0.0, rate(readings));
  for (unsigned& word : readings) word |= toggle;
  EXPECT_EQ(0.0, rate(readings));
  for (unsigned bit = 0; bit < 15; ++bit) {
    EXPECT_EQ(0.0, rate(all(1000, {{3, 1000 ^ 1U << bit}, {7, 1000 ^ 1U << bit}}))) << bit;
  }
}

TEST_F(FrameRateReadings, LastReadingIsThePeriod) {
  EXPECT_DOUBLE_EQ(10000.0 / 3, rate({1, toggle | 2, 3}));
  EXPECT_DOUBLE_EQ(10000.0 / 3, rate({toggle | 1, 2, toggle | 3}));
}

TEST_F(FrameRateReadings, PeriodHasFifteenBits) {
  for (unsigned bit = 0; bit < 15; ++bit) {
    EXPECT_DOUBLE_EQ(10000.0 / (1U << bit), rate({0, toggle, 1U << bit})) << bit;
    EXPECT_DOUBLE_EQ(10000.0 / (1U << bit), rate({toggle, 0, toggle | 1U << bit})) << bit;
  }
  EXPECT_DOUBLE_EQ(10000.0 / 0x7FFF, rate({0, toggle, 0x7FFF}));
  EXPECT_DOUBLE_EQ(10000.0 / 0x7FFF, rate({toggle, 0, 0xFFFF}));
}

// Nobody looks whether the period is 0. That is intended.
TEST_F(FrameRateReadings, PeriodOfZeroIsAnInfiniteRate) {
  EXPECT_TRUE(std::isinf(rate({100, toggle | 100, 0})));
  EXPECT_TRUE(std::isinf(rate({toggle | 100, 100, toggle})));
  EXPECT_LT(0.0, rate({100, toggle | 100, 0}));
}

// A reading that fails leaves the one before.
TEST_F(FrameRateReadings, FailedReadingIsNoToggle) {
  constexpr unsigned readRequests = 7;
  for (const unsigned part : {1U, 4U, 7U}) {
    LibraryCalls calls(libraryModule());
    Readings left{toggle | 100, 100, toggle | 100, 100};
    calls.onSleep = [&](DWORD) {
      ASSERT_FALSE(left.empty());
      hold(left.front());
      left.erase(left.begin());
    };
    hold(100);
    refuse(2 * readRequests + part);  // the third reading, which would be the second toggle
    EXPECT_DOUBLE_EQ(100.0, kVexaGetFrameRate(&handle)) << part;
    EXPECT_EQ(0U, left.size()) << part;
    board.faults().clear();
  }
}

}  // namespace
}  // namespace kvexa::test
