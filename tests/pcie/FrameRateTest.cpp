// The frame rate as the register of the frame period tells it, reading by reading.
#include <functional>
#include <optional>
#include <stdexcept>
#include <vector>

#include "sim/attach/ImportTable.h"
#include "tests/pcie/PcieFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t periodRegister = 0x310;
constexpr std::uint32_t toggle = 0x8000;  // the bit that turns round with every frame
constexpr DWORD readRequest = 0x80002008;

struct RegisterRecord {
  std::uint32_t status;
  std::uint32_t address;
  std::uint32_t value;
};

// Stands between the library and the driver: what the library reads from the register is the test's. Requests
// that the driver refuses stay refused.
class PeriodReadings {
 public:
  explicit PeriodReadings(std::function<std::uint32_t(unsigned k)> word) : word_(std::move(word)) {
    const auto entries = sim::findImports(libraryModule(), "DeviceIoControl");
    if (entries.size() != 1) throw std::runtime_error("the library does not import DeviceIoControl");
    active = this;
    original = reinterpret_cast<decltype(original)>(*entries.front());
    patch_.emplace(entries.front(), reinterpret_cast<void*>(&control));
  }
  ~PeriodReadings() {
    patch_.reset();
    active = nullptr;
  }
  PeriodReadings(const PeriodReadings&) = delete;
  PeriodReadings& operator=(const PeriodReadings&) = delete;

  unsigned count() const { return count_; }

 private:
  static BOOL WINAPI control(HANDLE file, DWORD code, LPVOID in, DWORD inLength, LPVOID out, DWORD outLength,
                             LPDWORD returned, LPOVERLAPPED overlapped) {
    const BOOL result = original(file, code, in, inLength, out, outLength, returned, overlapped);
    auto* record = static_cast<RegisterRecord*>(out);
    if (code != readRequest || record->address != periodRegister) return result;
    const std::uint32_t word = active->word_(++active->count_);
    if (result != FALSE) record->value = word;
    return result;
  }

  static inline PeriodReadings* active = nullptr;
  static inline decltype(&::DeviceIoControl) original = nullptr;

  std::function<std::uint32_t(unsigned k)> word_;
  std::optional<sim::ImportPatch> patch_;
  unsigned count_ = 0;
};

using Words = std::vector<std::uint32_t>;

class PcieFrameRateReadings : public PcieFixture {
 protected:
  // The rate when the register reads these words: the first one, one after each pause, and the last one
  // once more at the end. There must be as many readings as words.
  double rate(const Words& words) {
    const auto start = machine.clock().now();
    const PeriodReadings readings([&words](unsigned k) { return k <= words.size() ? words[k - 1] : 0; });
    const double result = kVexaGetFrameRate(&handle);
    EXPECT_EQ(words.size(), readings.count());
    EXPECT_EQ(start + (words.size() - 2) * 10000, machine.clock().now());
    return result;
  }

  // As many readings as there can be: the first one, 101 after pauses, and the last one.
  static Words all(std::uint32_t word, std::uint32_t last) {
    Words words(102, word);
    words.push_back(last);
    return words;
  }
};

TEST_F(PcieFrameRateReadings, ChangeOfTheToggleBitIsARate) {
  EXPECT_DOUBLE_EQ(10000.0 / 333, rate({333, toggle | 333, toggle | 333}));
  EXPECT_DOUBLE_EQ(10000.0 / 250, rate({toggle | 250, 250, 250}));
  EXPECT_DOUBLE_EQ(10000.0 / 250, rate({250, 250, 250, 250, toggle | 250, toggle | 250}));
}

TEST_F(PcieFrameRateReadings, LastReadingIsThePeriodWhateverItsToggleBit) {
  EXPECT_DOUBLE_EQ(10000.0 / 4, rate({1, 2, toggle | 3, toggle | 4}));
  EXPECT_DOUBLE_EQ(10000.0 / 4, rate({1, 2, toggle | 3, 4}));
  EXPECT_DOUBLE_EQ(10000.0 / 4, rate({toggle | 1, 2, toggle | 4}));
}

TEST_F(PcieFrameRateReadings, ChangeAtTheHundredAndFirstPauseIsInTime) {
  Words words = all(100, toggle | 500);
  words[101] = toggle | 100;
  EXPECT_DOUBLE_EQ(20.0, rate(words));
}

TEST_F(PcieFrameRateReadings, ChangeInTheLastReadingIsTooLate) {
  EXPECT_EQ(0.0, rate(all(100, toggle | 500)));
  EXPECT_EQ(0.0, rate(all(toggle | 100, 500)));
}

// Only the toggle bit counts frames, however the others change.
TEST_F(PcieFrameRateReadings, OtherBitsAreNoToggle) {
  for (unsigned bit = 0; bit < 32; ++bit) {
    if (bit == 15) continue;
    Words words = all(100, 100);
    for (std::size_t i = 1; i < words.size(); i += 2) words[i] ^= 1U << bit;
    EXPECT_EQ(0.0, rate(words)) << bit;
  }
}

TEST_F(PcieFrameRateReadings, PeriodHasFifteenBits) {
  for (unsigned bit = 0; bit < 15; ++bit) {
    EXPECT_DOUBLE_EQ(10000.0 / (1U << bit), rate({0, toggle, toggle | 1U << bit})) << bit;
    EXPECT_DOUBLE_EQ(10000.0 / (1U << bit), rate({toggle, 0, 0xABCD0000 | 1U << bit})) << bit;
  }
  EXPECT_DOUBLE_EQ(10000.0 / 0x7FFF, rate({0, toggle, 0xFFFFFFFF}));
}

// Frames come, but without a period in the last reading there is no rate.
TEST_F(PcieFrameRateReadings, PeriodOfZeroIsZero) {
  EXPECT_EQ(0.0, rate({100, toggle | 100, toggle}));
  EXPECT_EQ(0.0, rate({toggle | 100, 100, 0}));
  EXPECT_EQ(0.0, rate({100, toggle | 100, 0xFFFF8000}));
}

// A reading that fails leaves the one before.
TEST_F(PcieFrameRateReadings, FailedReadingIsNoChange) {
  refuse(3);
  EXPECT_DOUBLE_EQ(50.0, rate({200, 200, toggle | 300, toggle | 200, toggle | 200}));
  refuse(4);  // the last one
  EXPECT_DOUBLE_EQ(10000.0 / 300, rate({200, 200, toggle | 300, toggle | 999}));
  refuse(1);  // without it the bit counts as clear
  EXPECT_DOUBLE_EQ(50.0, rate({toggle | 200, toggle | 200, toggle | 200}));
}

}  // namespace
}  // namespace kvexa::test
