// How every command begins: it adds its options, and gives back what it does.
#pragma once

#include "cli/board/Command.h"

namespace cli {

Action abortCommand(Options& options);
Action captureCommand(Options& options);
Action clockOffCommand(Options& options);
Action clockOnCommand(Options& options);
Action convertCommand(Options& options);
Action dipGetCommand(Options& options);
Action dipSetCommand(Options& options);
Action infoCommand(Options& options);
Action linesGetCommand(Options& options);
Action linesSetCommand(Options& options);
Action listCommand(Options& options);
Action measureCommand(Options& options);
Action paramsExplainCommand(Options& options);
Action paramsWriteCommand(Options& options);
Action powerOffCommand(Options& options);
Action powerOnCommand(Options& options);
Action powerSequenceCommand(Options& options);
Action recoverCommand(Options& options);
Action regDumpCommand(Options& options);
Action regGetCommand(Options& options);
Action regSetCommand(Options& options);
Action regWatchCommand(Options& options);
Action regsDiffCommand(Options& options);
Action regsExplainCommand(Options& options);
Action regsPlayCommand(Options& options);
Action reloadCommand(Options& options);
Action reportCommand(Options& options);
Action resetOffCommand(Options& options);
Action resetOnCommand(Options& options);
Action runCommand(Options& options);
Action selfTestCommand(Options& options);
Action serveCommand(Options& options);
Action statisticsCommand(Options& options);
Action statusCommand(Options& options);
Action streamCommand(Options& options);
Action traceCheckCommand(Options& options);
Action traceDiffCommand(Options& options);
Action traceMinimiseCommand(Options& options);
Action traceShowCommand(Options& options);
Action traceSummaryCommand(Options& options);
Action versionCommand(Options& options);

}  // namespace cli
