/* What every C program checks of kvexa_sim.h, whatever its compiler and linker are. */
#ifndef SIMULATION_CHECKS_H
#define SIMULATION_CHECKS_H

#include <kvexa.h>
#include <kvexa_sim.h>

/* The linker must find each of them. */
typedef void (*AnyFunction)(void);
static const AnyFunction everyFunction[] = {
#define EXPORT(name, words) (AnyFunction) name,
#include "simulationExports.inc"
#undef EXPORT
};

static int isText(const char* found, const char* wanted) {
  while (*found != 0 && *found == *wanted) {
    ++found;
    ++wanted;
  }
  return *found == *wanted;
}

static int countIsWrong(uint32_t usb, uint32_t pcie) {
  uint32_t foundUsb = 99, foundPcie = 99;
  return kVexaDevNum(&foundUsb, &foundPcie) < 0 || foundUsb != usb || foundPcie != pcie;
}

/* Arguments of every width go to the board and come back. */
static int registersAreWrong(void) {
  uint32_t value = 0;
  if (kvexaSimWriteBoardRegister(KVEXA_BOARD_PCIE, 1, 0x504, 0xFEDCBA98) != KVEXA_SIM_OK) return 1;
  if (kvexaSimReadBoardRegister(KVEXA_BOARD_PCIE, 1, 0x504, &value) != KVEXA_SIM_OK || value != 0xFEDCBA98)
    return 1;
  if (kvexaSimWriteSensorRegister(KVEXA_BOARD_USB, 0, 0x3000, 0xA5) != KVEXA_SIM_OK) return 1;
  return kvexaSimReadSensorRegister(KVEXA_BOARD_USB, 0, 0x3000, &value) != KVEXA_SIM_OK || value != 0xA5;
}

static int timeIsWrong(void) {
  uint64_t before = 0, after = 0;
  if (kvexaSimGetTime(&before) != KVEXA_SIM_OK) return 1;
  if (kvexaSimAdvanceTime(0x123456789u) != KVEXA_SIM_OK) return 1;
  return kvexaSimGetTime(&after) != KVEXA_SIM_OK || after - before != 0x123456789u;
}

static int boardIsWrong(void) {
  if (kvexaSimSetScene(KVEXA_BOARD_USB, 0, "#8090a0") != KVEXA_SIM_OK) return 1;
  if (kvexaSimSetFault(KVEXA_BOARD_USB, 0, 5, 1, KVEXA_SIM_FAULT_CORRUPT, 256) != KVEXA_SIM_BAD_ARGUMENT)
    return 1;
  if (kvexaSimSetFault(KVEXA_BOARD_USB, 0, 5, 1, KVEXA_SIM_FAULT_CORRUPT, 255) != KVEXA_SIM_OK) return 1;
  if (kvexaSimSetConditions(KVEXA_BOARD_USB, 0, 0, 1) != KVEXA_SIM_OK) return 1;
  if (kvexaSimClearFaults(KVEXA_BOARD_USB, 0) != KVEXA_SIM_OK) return 1;
  if (kvexaSimPlug(KVEXA_BOARD_USB, 0, 0) != KVEXA_SIM_OK || countIsWrong(0, 2)) return 1;
  return kvexaSimPlug(KVEXA_BOARD_USB, 0, 1) != KVEXA_SIM_OK || countIsWrong(1, 2);
}

/* The number of the first check that fails, 0 when none does. */
static int failedSimulationCheck(void) {
  static char sentence[64]; /* on the stack it would be cleared by a function that is not there */
  unsigned i;
  for (i = 0; i < sizeof everyFunction / sizeof everyFunction[0]; ++i) {
    if (everyFunction[i] == 0) return 1;
  }
  if (kvexaSimStop() != KVEXA_SIM_NOT_RUNNING) return 2;
  if (kvexaSimLastError(sentence, sizeof sentence) != KVEXA_SIM_OK || !isText(sentence, "no simulation runs"))
    return 3;
  if (kvexaSimStartFile("no.toml") != KVEXA_SIM_BAD_DESCRIPTION) return 4;
  if (kvexaSimStartText(
          "time = 'simulated'\n[[board]]\ntype = 'usb'\n[[board]]\ntype = 'pcie'\ncount = 2\n") !=
      KVEXA_SIM_OK)
    return 5;
  if (kvexaSimBoardCount(KVEXA_BOARD_PCIE) != 2 || countIsWrong(1, 2)) return 6;
  if (registersAreWrong()) return 7;
  if (timeIsWrong()) return 8;
  if (boardIsWrong()) return 9;
  if (kvexaSimTrace("") != KVEXA_SIM_OK) return 10;
  if (kvexaSimStop() != KVEXA_SIM_OK || countIsWrong(0, 0)) return 11;
  return 0;
}

#endif
