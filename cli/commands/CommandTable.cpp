#include "cli/commands/Commands.h"

namespace cli {

namespace {

using Needs = Command::Needs;

constexpr Command table[] = {
    {"list", Needs::boards, "show every board: type, index, firmware, FPGA and driver", listCommand},
    {"info", Needs::boards, "show all that one board tells", infoCommand},
    {"version", Needs::boards, "show the versions of a board, its driver, the library and this tool",
     versionCommand},
    {"status", Needs::boards, "show supplies, clock, reset and the board's state", statusCommand},
    {"power on", Needs::boards, "supplies and clock on, then out of reset", powerOnCommand},
    {"power off", Needs::boards, "into reset, then clock and supplies off", powerOffCommand},
    {"power sequence", Needs::boards, "play a power sequence from a file", powerSequenceCommand},
    {"clock on", Needs::boards, "start the sensor's clock", clockOnCommand},
    {"clock off", Needs::boards, "stop the sensor's clock", clockOffCommand},
    {"reset on", Needs::boards, "hold the sensor in reset", resetOnCommand},
    {"reset off", Needs::boards, "release the sensor from reset", resetOffCommand},
    {"lines get", Needs::boards, "show the general-purpose input and output lines", linesGetCommand},
    {"lines set", Needs::boards, "set the output lines", linesSetCommand},
    {"dip get", Needs::boards, "show the hardware and the software DIP switch", dipGetCommand},
    {"dip set", Needs::boards, "set the software DIP switch", dipSetCommand},
    {"reg get", Needs::boards, "read registers of the sensor or the board", regGetCommand},
    {"reg set", Needs::boards, "write registers of the sensor or the board", regSetCommand},
    {"reg dump", Needs::boards, "read a range of registers as a table", regDumpCommand},
    {"reg watch", Needs::boards, "read registers again and again, and show what changes", regWatchCommand},
    {"regs explain", Needs::files, "show what a register-setting file does, and what looks wrong in it",
     regsExplainCommand},
    {"regs play", Needs::boards, "play a register-setting file into the sensor", regsPlayCommand},
    {"regs diff", Needs::files, "show in which registers two register-setting files differ", regsDiffCommand},
    {"params explain", Needs::files,
     "show what the library reads from a capture-parameter file, and what looks wrong in it",
     paramsExplainCommand},
    {"params write", Needs::files, "write a whole capture-parameter file", paramsWriteCommand},
    {"capture", Needs::boards, "capture one frame: power up, play the registers, capture, convert, save",
     captureCommand},
    {"stream", Needs::boards, "capture frame after frame, until Ctrl-C ends it", streamCommand},
    {"measure", Needs::boards, "measure frame rate and frame size, and read the supplies", measureCommand},
    {"convert", Needs::files, "make pictures of raw files: a single one, or a folder of them",
     convertCommand},
    {"statistics", Needs::files,
     "noise, defects, shading and sharpness of raw frames; several frames of one scene tell more",
     statisticsCommand},
    {"report", Needs::watchedBoards, "bring a module up, and write all that was found as one page of HTML",
     reportCommand},
    {"abort", Needs::boards, "end captures that run on a board", abortCommand},
    {"recover", Needs::boards, "reset a USB board's command pipes after an error on the sensor bus",
     recoverCommand},
    {"reload", Needs::boards, "restart the driver of all PCIe boards", reloadCommand},
    {"serve", Needs::files, "serve the board to a browser, and to programs over HTTP", serveCommand},
    {"selftest", Needs::nothing, "check what a board does, one line a check", selfTestCommand},
    {"trace show", Needs::nothing, "show every call of recordings as text", traceShowCommand},
    {"trace summary", Needs::nothing,
     "sum recordings up: calls by kind, the slowest, failures, frame intervals", traceSummaryCommand},
    {"trace diff", Needs::nothing, "show the first difference of two recordings", traceDiffCommand},
    {"trace check", Needs::nothing, "read recordings whole, and say whether they are complete",
     traceCheckCommand},
    {"trace minimise", Needs::nothing,
     "shorten a recording while a program still fails with it: kvexa trace minimise FILE -- PROGRAM "
     "ARGUMENTS",
     traceMinimiseCommand},
    {"run", Needs::nothing,
     "start any 32-bit program with simulated boards: kvexa run [OPTIONS] -- PROGRAM ARGUMENTS", runCommand},
};

}  // namespace

std::span<const Command> allCommands() { return table; }

}  // namespace cli
