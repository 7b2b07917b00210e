// What a command of the tool is.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "cli/base/Interrupt.h"
#include "cli/base/Options.h"
#include "cli/base/Output.h"
#include "cli/board/Session.h"

namespace cli {

// What a command works with while it runs.
struct Context {
  const CommonOptions& common;
  Output& output;
  const Interrupt* interrupt;  // null for commands that need nothing
  const Session* session;      // null for commands that need no boards
  std::uint32_t exitCode = 0;  // what the process ends with when nothing fails
};

using Action = std::function<void(Context& context)>;

struct Command {
  enum class Needs { files, boards, watchedBoards, nothing };

  const char* words;  // "reg get"
  Needs needs;  // boards: a session; watched: that counts requests; nothing: not even the common options
  const char* help;
  Action (*make)(Options& options);  // adds the command's own options
};

// Every command, in the order of the help.
std::span<const Command> allCommands();

}  // namespace cli
