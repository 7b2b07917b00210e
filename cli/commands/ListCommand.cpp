// kvexa list: which boards are there.
#include <kvexa.hpp>

#include "cli/base/Failure.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

void tellBoard(Output& output, std::uint32_t type, std::uint32_t index, const std::string& place) {
  output.put(place + "/type", typeName(type));
  output.put(place + "/index", index);
  kvexa::Board board;
  Versions versions;
  std::int32_t result = board.open(type, index);
  if (result >= 0) result = readVersions(board.handle(), versions);
  if (result < 0) {
    const kvexa::ResultText* const text = kvexa::findResult(result);
    const std::string reason = result == KVEXA_OPEN_FAILED ? "in use, or its driver does not open it"
                               : text == nullptr           ? "does not answer"
                                                           : text->text;
    output.print("%-4s %3u  %s\n", typeName(type), index, reason.c_str());
    output.put(place + "/error/code", result);
    output.put(place + "/error/text", reason);
    return;
  }
  const std::string firmware = type == KVEXA_BOARD_USB ? firmwareText(versions.firmware) : "-";
  output.print("%-4s %3u  FPGA %s  firmware %s  driver %s\n", typeName(type), index,
               fpgaText(type, versions.fpga).c_str(), firmware.c_str(),
               fileVersionText(versions.driver).c_str());
  output.put(place + "/fpga", fpgaText(type, versions.fpga));
  if (type == KVEXA_BOARD_USB) {
    output.put(place + "/firmware", firmware);
  } else {
    output.put(place + "/firmware", nullptr);
  }
  output.put(place + "/driver", fileVersionText(versions.driver));
}

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
      tellBoard(output, type.value, index, "boards/" + std::to_string(told++));
    }
  }
}

}  // namespace

Action listCommand(Options& /*options*/) { return list; }

}  // namespace cli
