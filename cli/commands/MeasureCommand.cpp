// kvexa measure: what comes in, and what supplies it.
#include <memory>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/board/BoardFacts.h"
#include "cli/commands/Commands.h"
#include "cli/frames/FrameSetup.h"
#include "cli/frames/OneShot.h"

namespace cli {

namespace {

struct MeasureOptions {
  std::string registers;
  std::string parameters;
  std::uint32_t timeout = 3000;  // milliseconds
};

bool tellFrames(const Board& board, std::uint32_t timeout) {
  const auto actual = measureFrames(board, measureRate(board), timeout);
  if (!actual) return false;
  board.output().print("frame size %u x %u\nframe rate %.2f\n", actual->firstDimension,
                       actual->secondDimension, actual->frameRate);
  return true;
}

void measure(Context& context, const MeasureOptions& options) {
  Output& output = context.output;
  const bool powers = !options.registers.empty();
  if (powers) checkReadable(options.registers);
  CapParam parameters{};
  if (!options.parameters.empty()) parameters = readParameters(output, options.parameters);

  const Board board(context);
  Powered power(board, powers);
  if (powers) playRegisters(board, options.registers);
  if (!options.parameters.empty()) {
    board.step("kVexaSetCapParam", kVexaSetCapParam(board.handle(), &parameters));
  }
  context.interrupt->check();
  const bool hasFrames = tellFrames(board, options.timeout);
  context.interrupt->check();
  tellSupplies(board);
  power.off();
  if (hasFrames) return;
  throw Failure("no frames come in, so there is no size and no rate", ExitCode::timeLimit,
                powers ? "look at the last line of the register-setting file"
                       : "--regs FILE powers up and starts the sensor first");
}

}  // namespace

Action measureCommand(Options& options) {
  const auto values = std::make_shared<MeasureOptions>();
  options
      .text("--regs", values->registers, "register-setting file: power up, play it, measure, and power down")
      .text("--params", values->parameters, "capture-parameter file to set before")
      .number("--timeout", values->timeout, 1, 600000, "milliseconds for the measurement of the size");
  return [values](Context& context) { measure(context, *values); };
}

}  // namespace cli
