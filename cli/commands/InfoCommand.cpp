// kvexa info, version and status: what a board tells about itself.
#include "convert/vector/InstructionSet.h"

#include <kvexa.hpp>

#include "cli/base/Failure.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

void tellBoard(const Board& board) {
  board.output().put("board/type", typeName(board.type()));
  board.output().put("board/index", board.handle()->boardIndex);
}

// The library chooses the same set: the choice depends on the processor and on the environment.
void tellTool(Output& output) {
  const std::string tool = format("%d.%d.%d", KVEXA_VERSION_MAJOR, KVEXA_VERSION_MINOR, KVEXA_VERSION_PATCH);
  const char* const set = kvexa::convert::nameOf(kvexa::convert::chosenInstructionSet());
  output.print("tool     %s\nset      %s\n", tool.c_str(), set);
  output.put("versions/tool", tool);
  output.put("versions/instructionSet", set);
}

// Without a board the rest is told all the same, unless one was asked for.
void version(Context& context) {
  std::uint32_t counts[2] = {0, 0};
  kVexaDevNum(&counts[KVEXA_BOARD_USB], &counts[KVEXA_BOARD_PCIE]);
  if (counts[context.common.boardType] > 0 || context.common.boardIndex != 0) {
    const Board board(context);
    tellBoard(board);
    tellVersions(board);
  } else {
    context.output.print("no %s board is there\n", typeTitle(context.common.boardType));
    context.output.put("board", nullptr);
  }
  tellTool(context.output);
}

void status(Context& context) {
  const Board board(context);
  tellBoard(board);
  tellSupplies(board);
  tellUsbStatus(board);
}

void info(Context& context) {
  const Board board(context);
  tellBoard(board);
  context.output.print("board    %s %u\n", typeName(board.type()), board.handle()->boardIndex);
  tellVersions(board);
  tellSupplies(board);
  tellUsbStatus(board);
  tellLines(board);
  tellDips(board);
}

}  // namespace

Action versionCommand(Options& /*options*/) { return version; }
Action statusCommand(Options& /*options*/) { return status; }
Action infoCommand(Options& /*options*/) { return info; }

}  // namespace cli
