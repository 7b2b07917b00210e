// A C++ program with the owners of kvexa_sim.hpp and kvexa.hpp.
#include <cstdio>
#include <kvexa.hpp>
#include <kvexa_sim.hpp>

namespace {

std::uint32_t usbBoards() {
  std::uint32_t usb = 99, pcie = 99;
  kvexa::require("kVexaDevNum", kVexaDevNum(&usb, &pcie));
  return usb;
}

bool boardsAreThereWhileItLives() {
  {
    const auto simulation = kvexa::Simulation::fromText("[[board]]\ntype = 'usb'\n");
    const kvexa::Board board(KVEXA_BOARD_USB, 0);
    simulation.board(KVEXA_BOARD_USB, 0).writeSensorRegister(0x3000, 7);
    if (usbBoards() != 1) return false;
  }
  return usbBoards() == 0;
}

bool errorTellsWhatHappened() {
  try {
    kvexa::Simulation::running();
  } catch (const kvexa::SimulationError& error) {
    return error.result() == KVEXA_SIM_NOT_RUNNING && std::string(error.what()) == "no simulation runs";
  }
  return false;
}

}  // namespace

int main() {
  const int failed = !errorTellsWhatHappened() ? 1 : !boardsAreThereWhileItLives() ? 2 : 0;
  if (failed != 0) std::printf("check %d failed\n", failed);
  return failed;
}
