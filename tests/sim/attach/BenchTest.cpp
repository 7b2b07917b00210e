#include "sim/attach/Bench.h"

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>

#include "kvexa.h"
#include "tests/sim/attach/AttachedFixture.h"

namespace {

using sim::Bench;
using Lines = std::vector<std::string>;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

class BenchTest : public testing::Test {
 protected:
  void openAndClose(const GUID& boardClass) {
    const HANDLE file = host.open(host.path(boardClass, 0));
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(host.close(file));
  }

  LoadedClient client;
  Host host{client.calls()};
  Bench bench{Bench::Boards::simulated};
};

TEST_F(BenchTest, BoardsAreFoundByTypeAndNumber) {
  sim::CameraBoard& first = bench.addBoard(KVEXA_BOARD_USB);
  sim::CameraBoard& second = bench.addBoard(KVEXA_BOARD_USB);
  sim::CameraBoard& pcie = bench.addBoard(KVEXA_BOARD_PCIE);
  EXPECT_EQ(&first, &bench.board(KVEXA_BOARD_USB, 0));
  EXPECT_EQ(&second, &bench.board(KVEXA_BOARD_USB, 1));
  EXPECT_EQ(&pcie, &bench.board(KVEXA_BOARD_PCIE, 0));
  EXPECT_EQ("usb1", second.name());
  EXPECT_EQ("pcie0", pcie.name());
}

TEST_F(BenchTest, BoardsThatAreNotThereAreRefused) {
  EXPECT_THROW(bench.addBoard(2), std::invalid_argument);
  EXPECT_THROW(bench.board(2, 0), std::invalid_argument);
  EXPECT_THROW(bench.board(KVEXA_BOARD_USB, 0), std::out_of_range);
  EXPECT_THROW(bench.board(KVEXA_BOARD_PCIE, 0), std::out_of_range);
  EXPECT_THROW(Bench(Bench::Boards::real).addBoard(KVEXA_BOARD_USB), std::invalid_argument);
}

TEST_F(BenchTest, ModuleSeesTheBoardsWhileItIsAttached) {
  bench.addBoard(KVEXA_BOARD_USB);
  bench.addBoard(KVEXA_BOARD_PCIE);
  EXPECT_EQ(0U, host.count(usbClass));
  bench.attach(client.module());
  EXPECT_EQ(1U, host.count(usbClass));
  EXPECT_EQ(1U, host.count(pcieClass));
  bench.board(KVEXA_BOARD_PCIE, 0).unplug();
  EXPECT_EQ(0U, host.count(pcieClass));
  bench.detach();
  EXPECT_EQ(0U, host.count(usbClass));
}

TEST_F(BenchTest, SecondAttachTakesThePlaceOfTheFirst) {
  bench.addBoard(KVEXA_BOARD_USB);
  bench.attach(client.module());
  bench.attach(client.module());
  EXPECT_EQ(1U, host.count(usbClass));
  bench.detach();
  EXPECT_EQ(0U, host.count(usbClass));
}

TEST_F(BenchTest, SceneIsThatOfTheBoardsThatFollow) {
  sim::CameraBoard& chart = bench.addBoard(KVEXA_BOARD_USB);
  bench.setScene(sim::Scene::plain({200, 200, 200}));
  sim::CameraBoard& plain = bench.addBoard(KVEXA_BOARD_PCIE);
  const auto shades = [](sim::CameraBoard& board) {
    const std::vector<std::uint16_t> frame = board.sensor().frame(board.sensor().picture(), 0);
    return std::set<std::uint16_t>(frame.begin(), frame.end()).size();
  };
  EXPECT_LT(10U, shades(chart));
  EXPECT_EQ(1U, shades(plain));
}

TEST_F(BenchTest, TraceGoesIntoAFileAndBackIntoMemory) {
  const std::string path = testing::TempDir() + "bench.txt";
  bench.addBoard(KVEXA_BOARD_USB);
  bench.attach(client.module());
  bench.writeTrace(path);
  openAndClose(usbClass);
  EXPECT_TRUE(bench.trace().take().empty());
  bench.writeTrace(nullptr);
  EXPECT_EQ("usb0 open\nusb0 close\n", contentOf(path));
  openAndClose(usbClass);
  EXPECT_EQ((Lines{"usb0 open", "usb0 close"}), bench.trace().take());
  std::remove(path.c_str());
}

TEST_F(BenchTest, TraceFileThatCannotBeMadeIsNamedAndTheOldOneStays) {
  const std::string path = testing::TempDir() + "bench.txt";
  bench.addBoard(KVEXA_BOARD_USB);
  bench.attach(client.module());
  bench.writeTrace(path);
  try {
    bench.writeTrace(testing::TempDir() + "no such folder/trace.txt");
    FAIL() << "the file was made";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string::npos, std::string(error.what()).find("trace.txt: cannot be written"));
  }
  openAndClose(usbClass);
  bench.writeTrace(nullptr);
  EXPECT_EQ("usb0 open\nusb0 close\n", contentOf(path));
  std::remove(path.c_str());
}

}  // namespace
