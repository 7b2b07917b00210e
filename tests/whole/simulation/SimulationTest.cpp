#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <kvexa.hpp>
#include <kvexa_sim.hpp>
#include <optional>
#include <sstream>
#include <thread>

#include "tests/support/TemporaryFile.h"

namespace kvexa::test {

namespace {

using std::chrono::microseconds;

// One USB and two PCIe boards, in a time that passes while the program waits.
constexpr char description[] =
    "time = 'simulated'\n"
    "[[board]]\ntype = 'usb'\n"
    "[[board]]\ntype = 'pcie'\ncount = 2\n";

struct Counts {
  std::uint32_t usb = 99;
  std::uint32_t pcie = 99;
};

Counts countedByTheLibrary() {
  Counts counts;
  require("kVexaDevNum", kVexaDevNum(&counts.usb, &counts.pcie));
  return counts;
}

struct Refusal {
  std::int32_t result = KVEXA_SIM_OK;
  std::string sentence;
};

Refusal refusalOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const SimulationError& error) {
    return {error.result(), error.what()};
  }
  return {};
}

// A board whose sensor streams.
Board streaming() {
  Board board(KVEXA_BOARD_USB, 0);
  board.powerUp();
  board.playRegisters(KVEXA_EXAMPLES "/sensor.csv");
  board.configure(KVEXA_EXAMPLES "/capture.dat");
  return board;
}

std::int32_t resultOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.result();
  }
  return KVEXA_OK;
}

std::string contentOf(const char* path) {
  std::stringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

}  // namespace

TEST(Simulation, BoardsAreThereWhileItLives) {
  EXPECT_EQ(countedByTheLibrary().usb, 0U);
  {
    const Simulation simulation = Simulation::fromText(description);
    EXPECT_EQ(simulation.count(KVEXA_BOARD_USB), 1U);
    EXPECT_EQ(simulation.count(KVEXA_BOARD_PCIE), 2U);
    EXPECT_EQ(countedByTheLibrary().usb, 1U);
    EXPECT_EQ(countedByTheLibrary().pcie, 2U);
  }
  EXPECT_EQ(countedByTheLibrary().usb, 0U);
  EXPECT_EQ(refusalOf([] { Simulation::running(); }).result, KVEXA_SIM_NOT_RUNNING);
}

TEST(Simulation, DescriptionComesFromAFile) {
  const TemporaryFile file("[[board]]\ntype = 'pcie'\n");
  const Simulation simulation = Simulation::fromFile(file.path());
  EXPECT_EQ(countedByTheLibrary().pcie, 1U);
}

TEST(Simulation, WhatIsWrongIsToldInWords) {
  const Refusal refusal = refusalOf([] {
    Simulation::fromText(
        "time = 'simulated'\nsize = 'gr\xC3\xB6\xC3\x9F"
        "er'\n");
  });
  EXPECT_EQ(refusal.result, KVEXA_SIM_BAD_DESCRIPTION);
  EXPECT_NE(refusal.sentence.find("size"), std::string::npos) << refusal.sentence;
  EXPECT_NE(refusal.sentence.find("2:"), std::string::npos) << refusal.sentence;
  EXPECT_EQ(refusalOf([] { Simulation::running(); }).sentence, "no simulation runs");
  EXPECT_EQ(refusalOf([] { Simulation::fromFile("no.toml"); }).result, KVEXA_SIM_BAD_DESCRIPTION);
}

TEST(Simulation, LongSentencesAreWhole) {
  const std::string key(3000, 'k');
  const Refusal refusal = refusalOf([&key] { Simulation::fromText(key + " = 1\n"); });
  EXPECT_EQ(refusal.result, KVEXA_SIM_BAD_DESCRIPTION);
  EXPECT_NE(refusal.sentence.find(key), std::string::npos) << refusal.sentence;
}

TEST(Simulation, SentenceBelongsToTheThread) {
  EXPECT_EQ(refusalOf([] { Simulation::running(); }).sentence, "no simulation runs");
  std::string other = "nothing";
  std::thread([&other] { other = lastSimulationError(); }).join();
  EXPECT_EQ(other, "");
  EXPECT_EQ(lastSimulationError(), "no simulation runs");
}

TEST(Simulation, TextsThatWouldEndEarlyAreRefused) {
  const std::string cut("chart\0.bmp", 10);
  EXPECT_THROW(Simulation::fromText(cut), std::invalid_argument);
  EXPECT_THROW(Simulation::fromFile(cut), std::invalid_argument);
  const Simulation simulation = Simulation::fromText(description);
  EXPECT_THROW(simulation.trace(cut), std::invalid_argument);
  EXPECT_THROW(simulation.board(KVEXA_BOARD_USB, 0).setScene(cut), std::invalid_argument);
}

TEST(Simulation, OneRunsAtATime) {
  const Simulation first = Simulation::fromText(description);
  EXPECT_EQ(refusalOf([] { Simulation::fromText(description); }).result, KVEXA_SIM_RUNNING);
  EXPECT_EQ(countedByTheLibrary().usb, 1U);
}

TEST(Simulation, OneThatRunsAlreadyIsNotStopped) {
  const Simulation simulation = Simulation::fromText(description);
  EXPECT_EQ(Simulation::running().count(KVEXA_BOARD_PCIE), 2U);
  EXPECT_EQ(countedByTheLibrary().usb, 1U);
}

TEST(Simulation, ItIsStoppedOnceWhoeverHasIt) {
  std::optional<Simulation> first(Simulation::fromText(description));
  std::optional<Simulation> moved(std::move(*first));
  first.reset();
  EXPECT_EQ(countedByTheLibrary().usb, 1U);
  moved->stop();
  EXPECT_EQ(countedByTheLibrary().usb, 0U);
  EXPECT_EQ(refusalOf([&moved] { moved->stop(); }).result, KVEXA_SIM_NOT_RUNNING);
  const Simulation second = Simulation::fromText(description);
  moved.reset();
  EXPECT_EQ(countedByTheLibrary().usb, 1U);
}

TEST(Simulation, BoardThatIsNotThereIsTold) {
  const Simulation simulation = Simulation::fromText(description);
  const Refusal refusal = refusalOf([&simulation] { simulation.board(KVEXA_BOARD_USB, 1); });
  EXPECT_EQ(refusal.result, KVEXA_SIM_NO_BOARD);
  EXPECT_EQ(refusal.sentence, "the simulation has no board of type 0 and index 1");
  EXPECT_EQ(refusalOf([&simulation] { simulation.count(7); }).result, KVEXA_SIM_BAD_ARGUMENT);
}

TEST(Simulation, BoardIsPulledOutAndPluggedIn) {
  const Simulation simulation = Simulation::fromText(description);
  const SimulatedBoard simulated = simulation.board(KVEXA_BOARD_USB, 0);
  simulated.plug(false);
  EXPECT_EQ(countedByTheLibrary().usb, 0U);
  EXPECT_EQ(simulation.count(KVEXA_BOARD_USB), 1U);
  simulated.plug();
  EXPECT_EQ(countedByTheLibrary().usb, 1U);
}

TEST(Simulation, FramesShowTheScene) {
  const Simulation simulation = Simulation::fromText(description);
  const SimulatedBoard simulated = simulation.board(KVEXA_BOARD_USB, 0);
  simulated.setScene("#000000");
  const Board board = streaming();
  const Frame black = board.capture();
  EXPECT_EQ(black.samples8()[1280 * 480 + 640], 0);
  simulated.setScene("#ffffff");
  const Frame white = board.capture();
  EXPECT_EQ(white.samples8()[1280 * 480 + 640], 0xFF);
  EXPECT_EQ(refusalOf([&simulated] { simulated.setScene("no.bmp"); }).result, KVEXA_SIM_BAD_FILE);
}

TEST(Simulation, RegistersAreThoseOfTheBoard) {
  const Simulation simulation = Simulation::fromText(description);
  const SimulatedBoard simulated = simulation.board(KVEXA_BOARD_USB, 0);
  Board board = streaming();
  board.writeRegister(0x36, 0x3000, {0xA5});
  EXPECT_EQ(simulated.readSensorRegister(0x3000), 0xA5U);
  simulated.writeSensorRegister(0x3000, 0x5A);
  EXPECT_EQ(board.readRegister(0x36, 0x3000)[0], 0x5AU);
  simulated.writeBoardRegister(0x0404, 0x1234);
  EXPECT_EQ(simulated.readBoardRegister(0x0404), 0x1234U);
  EXPECT_EQ(refusalOf([&simulated] { simulated.writeBoardRegister(0, 0x10000); }).sentence,
            "registers of a USB board have 16 bits");
  const SimulatedBoard pcie = simulation.board(KVEXA_BOARD_PCIE, 1);
  pcie.writeBoardRegister(0x504, 0xFFFFFFFF);
  EXPECT_EQ(pcie.readBoardRegister(0x504), 0xFFFFFFFFU);
  EXPECT_NE(simulation.board(KVEXA_BOARD_PCIE, 0).readBoardRegister(0x504), 0xFFFFFFFFU);
}

TEST(Simulation, FaultsStrikeTheRequestsThatTheyName) {
  const Simulation simulation = Simulation::fromText(description);
  const SimulatedBoard simulated = simulation.board(KVEXA_BOARD_PCIE, 0);
  const Board board(KVEXA_BOARD_PCIE, 0);
  const auto result = [&board] {
    std::uint32_t word = 0;
    return kVexaFpgaRead(board.handle(), 0x20, 1, &word);
  };
  simulated.setFault(KVEXA_SIM_FAULT_REFUSE, 31, 2);
  EXPECT_EQ(result(), KVEXA_OK);
  EXPECT_EQ(result(), KVEXA_REQUEST_FAILED);
  EXPECT_EQ(result(), KVEXA_OK);
  simulated.setFaultFrom(1, KVEXA_SIM_FAULT_REFUSE, 31);
  EXPECT_EQ(result(), KVEXA_REQUEST_FAILED);
  EXPECT_EQ(result(), KVEXA_REQUEST_FAILED);
  simulated.clearFaults();
  EXPECT_EQ(result(), KVEXA_OK);
  EXPECT_EQ(refusalOf([&simulated] { simulated.setFault(KVEXA_SIM_FAULT_CORRUPT, 1); }).result,
            KVEXA_SIM_BAD_ARGUMENT);
}

TEST(Simulation, ConditionsLastUntilTheyAreEnded) {
  const Simulation simulation = Simulation::fromText(description);
  const SimulatedBoard simulated = simulation.board(KVEXA_BOARD_USB, 0);
  const Board board = streaming();
  simulated.setConditions(false, true);
  EXPECT_EQ(resultOf([&board] { board.readRegister(0x36, 0x0100); }), KVEXA_NO_ACKNOWLEDGE);
  simulated.setConditions(true, false);
  EXPECT_EQ(board.readRegister(0x36, 0x0100)[0], 1U);
  EXPECT_EQ(resultOf([&board] { board.capture(100); }), KVEXA_TIMED_OUT);
  simulated.clearFaults();
  EXPECT_EQ(resultOf([&board] { board.capture(); }), KVEXA_OK);
}

TEST(Simulation, TimePassesAsItIsLet) {
  {
    const Simulation simulation = Simulation::fromText(description);
    const microseconds start = simulation.time();
    simulation.advance(microseconds(5'000'000'000));
    EXPECT_EQ((simulation.time() - start).count(), 5'000'000'000);
    EXPECT_THROW(simulation.advance(microseconds(-1)), std::invalid_argument);
  }
  const Simulation real = Simulation::fromText("[[board]]\ntype = 'usb'\n");
  EXPECT_EQ(refusalOf([&real] { real.advance(microseconds(1)); }).result, KVEXA_SIM_BAD_ARGUMENT);
}

TEST(Simulation, TraceHoldsTheRequestsInBetween) {
  const Simulation simulation = Simulation::fromText(description);
  const Board board(KVEXA_BOARD_PCIE, 1);
  const TemporaryFile file("");
  std::uint32_t word = 0;
  simulation.trace(file.path());
  ASSERT_EQ(kVexaFpgaRead(board.handle(), 0x20, 1, &word), KVEXA_OK);
  simulation.trace("");
  const std::string traced = contentOf(file.path());
  EXPECT_EQ(traced.find("pcie1 readRegister [00000000 00000020 "), 0U) << traced;
  ASSERT_EQ(kVexaFpgaRead(board.handle(), 0x20, 1, &word), KVEXA_OK);
  EXPECT_EQ(contentOf(file.path()), traced);
  EXPECT_EQ(refusalOf([&simulation] { simulation.trace("no folder/trace.txt"); }).result, KVEXA_SIM_BAD_FILE);
}

}  // namespace kvexa::test
