// Every exported function that takes a BoardHandle to work on a board, each with good arguments for
// everything else, in three lists.
#pragma once

#include <vector>

#include "kvexa.h"

namespace kvexa::test {

// What a function does when the driver refuses one of its requests.
enum class OnRefusal {
  returned,  // a refused command or answer is returned; a refused status reading is repeated
  ignored,   // the result is the same as without
  special    // tests of its own
};

// What a function returns on a PCIe board.
enum class OnPcie { nothingToDo, notOnPcie, served };

struct BoardFunction {
  const char* name;
  double (*call)(const BoardHandle* board);  // wide enough for every result
  OnRefusal onRefusal;
  OnPcie onPcie;
};

// Those that are over when they return.
const std::vector<BoardFunction>& boardFunctions();

// Those that leave a worker running, wait for one, or set up its capture: for boards that they refuse.
const std::vector<BoardFunction>& captureFunctions();

// Those that only PCIe boards have.
const std::vector<BoardFunction>& pcieFunctions();

}  // namespace kvexa::test
