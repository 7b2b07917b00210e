// Boards put together from a description, through the library's eyes where it matters.
#include "sim/bench/DescribedBench.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <span>
#include <string>
#include <thread>
#include <vector>

#include "sim/bench/Files.h"

namespace {

using sim::DescribedBench;
using sim::Fault;

constexpr std::uint32_t usb = 0;
constexpr std::uint32_t pcie = 1;

sim::Description parse(const std::string& text) { return sim::parseDescription(text, "boards.toml", "."); }

const std::string simulatedUsb = "time = \"simulated\"\n[[board]]\ntype = \"usb\"\n";

// An awake sensor: supplied, clocked, out of reset.
constexpr sim::SensorLines awake{true, true, false, true};

TEST(DescribedBench, HasTheBoardsOfItsDescription) {
  DescribedBench bench(parse(
      "[[board]]\ntype = \"usb\"\ncount = 2\n[[board]]\ntype = \"pcie\"\ncount = 3\nplugged = false\n"));
  EXPECT_EQ(2U, bench.count(usb));
  EXPECT_EQ(3U, bench.count(pcie));
  EXPECT_TRUE(bench.board(usb, 1));
  EXPECT_FALSE(bench.board(usb, 2));
  EXPECT_TRUE(bench.board(pcie, 2));
  EXPECT_FALSE(bench.board(pcie, 3));
  EXPECT_FALSE(bench.board(2, 0));
  EXPECT_TRUE(bench.machine().usbBoard(1).isPlugged());
  EXPECT_FALSE(bench.machine().pcieBoard(2).isPlugged());
}

TEST(DescribedBench, BoardsThatAreNotThereAreTold) {
  DescribedBench bench(parse(simulatedUsb));
  EXPECT_FALSE(bench.plug(usb, 1, true));
  EXPECT_FALSE(bench.plug(pcie, 0, true));
  EXPECT_FALSE(bench.writeRegister(pcie, 0, 0, 0));
  EXPECT_FALSE(bench.readRegister(2, 0, 0));
}

TEST(DescribedBench, LivesAtThePaceOfItsDescription) {
  EXPECT_FALSE(DescribedBench(parse("time = \"simulated\"")).machine().clock().isReal());
  EXPECT_TRUE(DescribedBench(parse("")).machine().clock().isReal());
}

TEST(DescribedBench, SensorSettingsComeBackWithEveryReset) {
  DescribedBench bench(
      parse(simulatedUsb + "[board.sensor]\nwidth = 1280\nbits = 12\nregisters = {\"0x2000\" = 7}\n"));
  sim::Sensor& sensor = bench.board(usb, 0)->sensor;
  for (int round = 0; round < 2; ++round) {
    sensor.setLines(awake);
    EXPECT_EQ(1280U, sensor.width());
    EXPECT_EQ(480U, sensor.height());  // not named, so it stays
    EXPECT_EQ(12U, sensor.bits());
    EXPECT_EQ(7, sensor.peek(0x2000));
    sensor.poke(0x2000, 9);
    sensor.poke(sim::SensorRegister::bits, 8);
    sensor.setLines({});
  }
}

TEST(DescribedBench, SensorAnswersAtItsAddressOnly) {
  DescribedBench bench(parse(simulatedUsb + "[board.sensor]\nslave = 0x10\nregister_bits = 8\n"));
  sim::Sensor& sensor = bench.board(usb, 0)->sensor;
  sensor.setLines(awake);
  EXPECT_TRUE(sensor.read(0x10, 0, 1));
  EXPECT_FALSE(sensor.read(0x36, 0, 1));
}

TEST(DescribedBench, EachBoardHasASensorOfItsOwn) {
  DescribedBench bench(parse("time = \"simulated\"\n[[board]]\ntype = \"usb\"\ncount = 2\n"));
  bench.board(usb, 0)->sensor.poke(0x2000, 5);
  EXPECT_EQ(0, bench.board(usb, 1)->sensor.peek(0x2000));
}

TEST(DescribedBench, BoardRegistersHaveTheirValues) {
  DescribedBench bench(parse(simulatedUsb + "registers = {\"0x1230\" = 0xABCD}\n[[board]]\ntype = \"pcie\"\n"
                                            "registers = {\"0x1230\" = 0x89ABCDEF}\n"));
  EXPECT_EQ(0xABCDU, bench.readRegister(usb, 0, 0x1230));
  EXPECT_EQ(0x89ABCDEFU, bench.readRegister(pcie, 0, 0x1230));
}

TEST(DescribedBench, SceneIsWhatTheSensorSees) {
  DescribedBench bench(parse(simulatedUsb + "scene = \"#FF0000\"\n[board.sensor]\nwidth = 8\nheight = 8\n"));
  sim::Sensor& sensor = bench.board(usb, 0)->sensor;
  sensor.setLines(awake);
  const auto frame = sensor.frame(0);
  ASSERT_EQ(64U, frame.size());
  EXPECT_EQ(0U, frame[0]);    // green of the first cell
  EXPECT_EQ(255U, frame[1]);  // red
}

TEST(DescribedBench, SceneThatCannotBeSeenIsToldWithItsPlace) {
  try {
    const DescribedBench bench(parse(simulatedUsb + "scene = 'Z:\\nowhere.bmp'\n"));
    ADD_FAILURE();
  } catch (const sim::DescriptionError& error) {
    EXPECT_STREQ("boards.toml:4:9: Z:\\nowhere.bmp: cannot be read, or is larger than 256 MiB", error.what());
  }
  try {
    const DescribedBench bench(parse(simulatedUsb + "scene = '#12345'\n"));
    ADD_FAILURE();
  } catch (const sim::DescriptionError& error) {
    EXPECT_STREQ("boards.toml:4:9: #12345: is no colour; six hexadecimal digits after # are", error.what());
  }
}

TEST(DescribedBench, FaultsCountRequestsFromTheStart) {
  DescribedBench bench(parse(simulatedUsb +
                             "[[board.fault]]\nrequest = 2\ndo = \"shorten\"\nvalue = 9\n"
                             "[[board.fault]]\nfrom_request = 4\ndo = \"refuse\"\nvalue = 5\n"));
  sim::Faults& faults = bench.board(usb, 0)->faults;
  EXPECT_FALSE(faults.nextRequest());
  const auto second = faults.nextRequest();
  ASSERT_TRUE(second);
  EXPECT_EQ(Fault::Kind::shorten, second->kind);
  EXPECT_EQ(9U, second->value);
  EXPECT_FALSE(faults.nextRequest());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(5U, faults.nextRequest()->value);
}

TEST(DescribedBench, DriversHaveTheVersionsOfTheDescription) {
  DescribedBench bench(parse("[drivers]\nusb = \"1.2.3.4\"\npcie = \"\"\n"));
  sim::SystemFiles& files = bench.machine().systemFiles();
  const auto block = files.versionBlock(files.driverPath("KVEXAu.sys"));
  ASSERT_TRUE(block);
  std::uint32_t length = 0;
  const void* const text =
      sim::SystemFiles::query(block->data(), "\\StringFileInfo\\040904b0\\ProductVersion", length);
  ASSERT_NE(nullptr, text);
  EXPECT_STREQ("1.2.3.4", static_cast<const char*>(text));
  const auto none = files.versionBlock(files.driverPath("KVEXAPCIE.sys"));
  ASSERT_TRUE(none);
  EXPECT_EQ(nullptr,
            sim::SystemFiles::query(none->data(), "\\StringFileInfo\\040904b0\\ProductVersion", length));
}

// ---- Events ----

std::string event(const std::string& at, const std::string& act) {
  return "[[board.event]]\nat = " + at + "\ndo = \"" + act + "\"\n";
}

TEST(BenchEvents, HappenInTheOrderOfTheirMoments) {
  DescribedBench bench(parse(simulatedUsb + event("3", "frames") + event("1", "no-frames") +
                             event("2", "no-acknowledge") + event("4", "acknowledge")));
  const sim::Faults& faults = bench.board(usb, 0)->faults;
  sim::Timeline& timeline = bench.machine().timeline();
  constexpr sim::Microseconds second = 1000000;
  EXPECT_FALSE(faults.framesAreHeld() || faults.acknowledgeIsHeld());
  timeline.advance(second);
  EXPECT_TRUE(faults.framesAreHeld() && !faults.acknowledgeIsHeld());
  timeline.advance(second);
  EXPECT_TRUE(faults.framesAreHeld() && faults.acknowledgeIsHeld());
  timeline.advance(second);
  EXPECT_TRUE(!faults.framesAreHeld() && faults.acknowledgeIsHeld());
  timeline.advance(second);
  EXPECT_FALSE(faults.framesAreHeld() || faults.acknowledgeIsHeld());
  EXPECT_EQ(4 * second, bench.machine().clock().now());
}

TEST(BenchEvents, OfOneMomentHappenInTheirOrder) {
  DescribedBench bench(
      parse(simulatedUsb + event("1", "no-frames") + event("1", "frames") + event("1", "no-acknowledge")));
  const sim::Faults& faults = bench.board(usb, 0)->faults;
  bench.machine().timeline().advance(1000000);
  EXPECT_TRUE(!faults.framesAreHeld() && faults.acknowledgeIsHeld());
}

// Before anybody waits no time passes, so nothing that is to come has come.
TEST(BenchEvents, DoNotMoveTheTimeWhileNobodyWaits) {
  DescribedBench bench(
      parse(simulatedUsb + event("1", "unplug") + event("2", "plug") + event("3", "unplug")));
  sim::Timeline& timeline = bench.machine().timeline();
  // The timeline's thread has had its turn when it has woken a thread that slept until before the events.
  std::thread([&] {
    const sim::Participation takesPart(timeline);
    timeline.sleep(999);
  }).join();
  EXPECT_TRUE(bench.machine().usbBoard(0).isPlugged());
  EXPECT_EQ(999000U, bench.machine().clock().now());
}

TEST(BenchEvents, HappenWhileSomebodySleepsOverThem) {
  DescribedBench bench(parse(simulatedUsb + event("1", "unplug")));
  sim::Timeline& timeline = bench.machine().timeline();
  const sim::Participation takesPart(timeline);
  timeline.sleep(999);
  EXPECT_TRUE(bench.machine().usbBoard(0).isPlugged());
  timeline.sleep(1);
  EXPECT_FALSE(bench.machine().usbBoard(0).isPlugged());
}

// Somebody who waits without a limit for what an event brings must not wait for ever.
TEST(BenchEvents, MoveTheTimeForSomebodyWhoWaitsForThem) {
  DescribedBench bench(parse(simulatedUsb + event("5", "no-frames")));
  sim::Timeline& timeline = bench.machine().timeline();
  const sim::Faults& faults = bench.board(usb, 0)->faults;
  const sim::Participation takesPart(timeline);
  timeline.until([&] { return faults.framesAreHeld(); });
  EXPECT_EQ(5000000U, bench.machine().clock().now());
}

TEST(BenchEvents, RefuseEveryRequestUntilFaultsAreCleared) {
  DescribedBench bench(parse(simulatedUsb + "[[board.event]]\nat = 1\ndo = \"refuse\"\nvalue = 5\n" +
                             event("2", "clear-faults")));
  sim::Faults& faults = bench.board(usb, 0)->faults;
  EXPECT_FALSE(faults.nextRequest());
  bench.machine().timeline().advance(1000000);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(5U, faults.nextRequest()->value);
  bench.machine().timeline().advance(1000000);
  EXPECT_FALSE(faults.nextRequest());
}

TEST(BenchEvents, ThatAreDueAtTheStartHappenInRealTime) {
  DescribedBench bench(
      parse("[[board]]\ntype = \"usb\"\n" + event("0", "no-frames") + event("0", "no-acknowledge")));
  const sim::Faults& faults = bench.board(usb, 0)->faults;
  bench.machine().timeline().until([&] { return faults.framesAreHeld() && faults.acknowledgeIsHeld(); });
}

TEST(BenchEvents, ThatNobodyAwaitsEndWithTheBench) {
  for (int i = 0; i < 20; ++i) {
    const DescribedBench bench(parse("[[board]]\ntype = \"usb\"\n" + event("9000000", "unplug")));
  }
}

TEST(BenchEvents, ManyThreadsLetTheTimePass) {
  std::string text = simulatedUsb;
  for (int i = 1; i <= 200; ++i) text += event(std::to_string(i), i % 2 == 0 ? "plug" : "unplug");
  DescribedBench bench(parse(text));
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 49; ++round) bench.machine().timeline().advance(1000000);
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(196000000U, bench.machine().clock().now());
  EXPECT_TRUE(bench.machine().usbBoard(0).isPlugged());
  bench.machine().timeline().advance(1000000);
  EXPECT_FALSE(bench.machine().usbBoard(0).isPlugged());
}

// ---- Trace ----

class BenchTrace : public ::testing::Test {
 protected:
  BenchTrace() {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    path_ = folder + std::to_wstring(GetCurrentProcessId()) + L"-\x30ab.txt";
    DeleteFileW(path_.c_str());
  }
  ~BenchTrace() override { DeleteFileW(path_.c_str()); }

  std::string path() const { return sim::utf8Text(path_); }
  std::string content() const { return sim::readWholeFile(path(), 1 << 20).value_or("none"); }

 private:
  std::wstring path_;
};

TEST_F(BenchTrace, OfTheDescriptionBeginsAtTheStart) {
  {
    DescribedBench bench(parse("trace = '" + path() + "'\n"));
    bench.machine().trace().add("one");
    bench.machine().trace().add("two");
  }
  EXPECT_EQ("one\r\ntwo\r\n", content());
}

TEST_F(BenchTrace, IsWrittenBehindWhatIsThere) {
  for (const char* line : {"one", "two"}) {
    DescribedBench bench(parse(""));
    bench.traceTo(path());
    bench.machine().trace().add(line);
  }
  EXPECT_EQ("one\r\ntwo\r\n", content());
}

TEST_F(BenchTrace, OfSeveralBenchesAtATimeKeepsLinesWhole) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      DescribedBench bench(parse("trace = '" + path() + "'\n"));
      for (int line = 0; line < 100; ++line)
        bench.machine().trace().add(std::string(50, static_cast<char>('a' + i)));
    });
  }
  for (std::thread& each : threads) each.join();
  const std::string text = content();
  ASSERT_EQ(4U * 100 * 52, text.size());
  for (std::size_t at = 0; at < text.size(); at += 52) {
    EXPECT_EQ(std::string(50, text[at]) + "\r\n", text.substr(at, 52));
  }
}

TEST_F(BenchTrace, EndsWhenItIsTold) {
  DescribedBench bench(parse(""));
  bench.traceTo(path());
  bench.machine().trace().add("one");
  bench.traceTo("");
  bench.machine().trace().add("two");
  EXPECT_EQ("one\r\n", content());
}

TEST_F(BenchTrace, ThatCannotBeWrittenLeavesTheOldOne) {
  DescribedBench bench(parse("trace = '" + path() + "'\n"));
  EXPECT_THROW(bench.traceTo("Z:\\nowhere\\t.txt"), sim::TraceError);
  bench.machine().trace().add("one");
  EXPECT_EQ("one\r\n", content());
}

// ---- The clock of real time ----

TEST(RealTimeline, WaitsThatNeedNoTimeEndAtOnce) {
  sim::Clock clock(sim::Pace::real);
  sim::Timeline timeline(clock);
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(DWORD{WAIT_TIMEOUT}, timeline.wait(event, 0));
  timeline.sleep(0);
  timeline.await(nullptr, timeline.changes(), 0);  // a moment that is past
  SetEvent(event);
  EXPECT_EQ(WAIT_OBJECT_0, timeline.wait(event, INFINITE));
  CloseHandle(event);
}

TEST(RealTimeline, NobodyNeedsToTakePart) {
  sim::Clock clock(sim::Pace::real);
  sim::Timeline timeline(clock);
  const sim::Participation ignored(timeline);
  EXPECT_FALSE(timeline.takesPart());
}

TEST(RealTimeline, ChangeEndsAWaitForABoard) {
  sim::Clock clock(sim::Pace::real);
  sim::Timeline timeline(clock);
  const int board = 0;
  const std::uint64_t seen = timeline.changes();
  std::thread changing([&] { timeline.noteChange(&board); });
  timeline.await(&board, seen, std::nullopt);
  changing.join();
  EXPECT_NE(seen, timeline.changes());
}

TEST(RealTimeline, SignalEndsAWaitForAnObject) {
  sim::Clock clock(sim::Pace::real);
  sim::Timeline timeline(clock);
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  std::thread signalling([&] { timeline.signal(event, [&] { return SetEvent(event); }); });
  EXPECT_EQ(WAIT_OBJECT_0, timeline.wait(std::span(&event, 1), INFINITE, sim::Timeline::Signals::seen));
  signalling.join();
  CloseHandle(event);
}

}  // namespace
