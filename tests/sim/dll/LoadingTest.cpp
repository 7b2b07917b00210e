// Whenever and from wherever the library is loaded, it finds the boards of the simulation that runs.
#include <thread>

#include "tests/sim/dll/DllFixture.h"

namespace kvexa::test {
namespace {

constexpr std::uint32_t usb = KVEXA_BOARD_USB;
constexpr std::uint32_t pcie = KVEXA_BOARD_PCIE;
constexpr char threeBoards[] = "[[board]]\ntype = \"usb\"\ncount = 2\n[[board]]\ntype = \"pcie\"\n";

using Loading = DllTest;

TEST_F(Loading, WithoutASimulationThereAreTheRealBoards) {
  const LoadedLibrary library;
  EXPECT_EQ(0, library.count(usb));
  BoardHandle board{};
  EXPECT_EQ(KVEXA_OPEN_FAILED, library.open(usb, 0, board));
}

TEST_F(Loading, BeforeTheStart) {
  const LoadedLibrary library;
  EXPECT_EQ(0, library.count(usb));
  start(threeBoards);
  EXPECT_EQ(2, library.count(usb));
  EXPECT_EQ(1, library.count(pcie));
}

TEST_F(Loading, AfterTheStart) {
  start(threeBoards);
  const LoadedLibrary library;
  EXPECT_EQ(2, library.count(usb));
}

TEST_F(Loading, AfterTheStopThereAreTheRealBoards) {
  start(threeBoards);
  const LoadedLibrary library;
  EXPECT_EQ(2, library.count(usb));
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
  EXPECT_EQ(0, library.count(usb));
  const LoadedLibrary later;
  EXPECT_EQ(0, later.count(usb));
}

TEST_F(Loading, StartedAgainWithOtherBoards) {
  const LoadedLibrary library;
  for (int round = 0; round < 20; ++round) {
    start(threeBoards);
    EXPECT_EQ(2, library.count(usb));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    EXPECT_EQ(0, library.count(usb));
    start("[[board]]\ntype = \"pcie\"\ncount = 5\n");
    EXPECT_EQ(0, library.count(usb));
    EXPECT_EQ(5, library.count(pcie));
    EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
  }
}

TEST_F(Loading, UnloadedAndLoadedAgain) {
  start(threeBoards);
  for (int round = 0; round < 50; ++round) {
    {
      const LoadedLibrary library;
      EXPECT_EQ(2, library.count(usb));
    }
    EXPECT_EQ(nullptr, GetModuleHandleA("KVEXA_LIB.dll"));
  }
}

TEST_F(Loading, UnloadedWhileNothingRanAndLoadedAgain) {
  for (int round = 0; round < 10; ++round) {
    {
      const LoadedLibrary library;
      start(threeBoards);
      EXPECT_EQ(2, library.count(usb));
      EXPECT_EQ(KVEXA_SIM_OK, kvexaSimStop());
    }
    const LoadedLibrary library;
    EXPECT_EQ(0, library.count(usb));
  }
}

TEST_F(Loading, FromTwoFoldersAtATime) {
  CopyFolder copies;
  const LoadedLibrary first(copies.copy());
  start(threeBoards);
  const LoadedLibrary second(copies.copy());
  EXPECT_NE(first.module(), second.module());
  BoardHandle firstBoard{};
  BoardHandle secondBoard{};
  ASSERT_EQ(KVEXA_OK, first.open(usb, 0, firstBoard));
  EXPECT_EQ(KVEXA_OPEN_FAILED, second.open(usb, 0, secondBoard));  // a board is open once
  ASSERT_EQ(KVEXA_OK, second.open(usb, 1, secondBoard));
  EXPECT_EQ(KVEXA_OK, first.writeRegister(firstBoard, 0x1230, 1));
  EXPECT_EQ(KVEXA_OK, second.writeRegister(secondBoard, 0x1230, 2));
  std::uint32_t value = 0;
  EXPECT_EQ(KVEXA_SIM_OK, kvexaSimReadBoardRegister(usb, 0, 0x1230, &value));
  EXPECT_EQ(1U, value);
  EXPECT_EQ(KVEXA_OK, first.close(firstBoard));
  EXPECT_EQ(KVEXA_OK, second.close(secondBoard));
}

TEST_F(Loading, TenCopiesInOneProcess) {
  start(threeBoards);
  CopyFolder copies;
  std::vector<LoadedLibrary> libraries;
  for (int i = 0; i < 10; ++i) libraries.emplace_back(copies.copy());
  for (const LoadedLibrary& each : libraries) {
    BoardHandle board{};
    EXPECT_EQ(2, each.count(usb));
    EXPECT_EQ(KVEXA_OK, each.open(pcie, 0, board));
    EXPECT_EQ(KVEXA_OK, each.close(board));
  }
  libraries.clear();
}

TEST_F(Loading, OnManyThreadsAtATime) {
  start(threeBoards);
  CopyFolder copies;
  std::vector<std::string> paths;
  for (int i = 0; i < 6; ++i) paths.push_back(copies.copy());
  std::vector<std::thread> threads;
  for (const std::string& path : paths) {
    threads.emplace_back([&] {
      for (int round = 0; round < 10; ++round) {
        const LoadedLibrary library(path);
        EXPECT_EQ(2, library.count(usb));
      }
    });
  }
  for (std::thread& each : threads) each.join();
}

}  // namespace
}  // namespace kvexa::test
