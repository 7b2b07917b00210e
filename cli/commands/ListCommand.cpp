// kvexa list: which boards are there.
#include <kvexa.hpp>

#include "cli/base/Failure.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

void list(Context& context) {
  Output& output = context.output;
  std::uint32_t counts[2] = {0, 0};
  if (kVexaDevNum(&counts[KVEXA_BOARD_USB], &counts[KVEXA_BOARD_PCIE]) < 0) {
    throw Failure("the boards cannot be enumerated", ExitCode::noBoard, "look into the device manager");
  }
  output.print("USB boards:  %u\nPCIe boards: %u\n", counts[KVEXA_BOARD_USB], counts[KVEXA_BOARD_PCIE]);
  output.put("usb", counts[KVEXA_BOARD_USB]);
  output.put("pcie", counts[KVEXA_BOARD_PCIE]);
  output.putList("boards");
  unsigned told = 0;
  for (const Choice& type : boardTypes) {
    for (std::uint32_t index = 0; index < counts[type.value]; ++index) {
      tellListed(output, type.value, index, "boards/" + std::to_string(told++));
    }
  }
}

}  // namespace

Action listCommand(Options& /*options*/) { return list; }

}  // namespace cli
