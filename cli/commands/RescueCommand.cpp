// kvexa abort, recover and reload: ways back to a board that answers.
#include <memory>

#include "cli/base/Failure.h"
#include "cli/board/Board.h"
#include "cli/commands/Commands.h"

namespace cli {

namespace {

constexpr std::int32_t busError = 0x60;

void abort(Context& context) {
  const Board board(context);
  board.step("kVexaAbortCapture", kVexaAbortCapture(board.handle()));
  context.output.print("no capture runs\n");
}

void recover(Context& context) {
  const Board board(context);
  if (!board.isUsb()) {
    throw Failure("PCIe boards have no command pipes to recover", ExitCode::usage,
                  "kvexa reload restarts their driver");
  }
  const std::int32_t status = kVexaRecovery(board.handle());
  board.step("kVexaRecovery", status);
  context.output.put("status", status);
  if (status != 0) {
    throw Failure(format("the board's status stays 0x%02X%s", static_cast<unsigned>(status),
                         status == busError ? " (error on the sensor bus)" : ""),
                  ExitCode::board, "power the module off and on, then try again");
  }
  context.output.print("the board is idle\n");
}

void reload(Context& context, bool rescan) {
  Output& output = context.output;
  if (rescan) {
    output.step("kVexaReloadPcieDeviceEx", kVexaReloadPcieDeviceEx());
  } else {
    output.step("kVexaReloadPcieDevice", kVexaReloadPcieDevice());
  }
  output.print("the driver of the PCIe boards was restarted\n");
}

}  // namespace

Action abortCommand(Options& /*options*/) { return abort; }
Action recoverCommand(Options& /*options*/) { return recover; }

Action reloadCommand(Options& options) {
  const auto rescan = std::make_shared<bool>(false);
  options.flag("--rescan", *rescan, "look for the boards anew, and try once more when one is missing");
  return [rescan](Context& context) { reload(context, *rescan); };
}

}  // namespace cli
