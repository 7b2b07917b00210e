// kvexa measure: what comes in, and what supplies it.
#include <cmath>
#include <memory>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/board/BoardFacts.h"
#include "cli/commands/Commands.h"
#include "cli/frames/FrameSetup.h"

namespace cli {

namespace {

struct MeasureOptions {
  std::string registers;
  std::string parameters;
  std::uint32_t timeout = 3000;  // milliseconds
};

// A USB board does not tell that its measurement did not end: without a rate there are no frames to measure.
bool measureFrames(const Board& board, std::uint32_t timeout) {
  Output& output = board.output();
  const double rate = measureRate(board);
  if (board.isUsb() && !(rate > 0)) return false;
  AutoActual actual{};
  const std::int32_t result = kVexaAutoActualEx(board.handle(), &actual, timeout);
  output.record("kVexaAutoActualEx", result);
  if (result == KVEXA_TIMED_OUT || result == KVEXA_MEASURE_FAILED) return false;
  require("kVexaAutoActualEx", result);
  output.print("frame size %u x %u\nframe rate %.2f\n", actual.firstDimension, actual.secondDimension,
               actual.frameRate);
  output.put("measured/width", actual.firstDimension);
  output.put("measured/height", actual.secondDimension);
  output.put("measured/frameRate", actual.frameRate);
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
  const bool hasFrames = measureFrames(board, options.timeout);
  tellSupplies(board);
  power.off();
  if (hasFrames) return;
  output.put("measured", nullptr);
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
