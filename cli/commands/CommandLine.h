// Which command a command line means.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "cli/board/Command.h"

namespace cli {

// A command and what stands behind its words.
struct CommandLine {
  const Command* command = nullptr;  // null: help is asked for, or the version of the tool
  bool wantsVersion = false;
  std::string group;  // of the help: "reg", "reg get", or empty for all
  std::vector<std::string> arguments;
};

// Throws UsageFailure, with the nearest words, when there is no such command.
CommandLine readCommandLine(const std::vector<std::string>& given, std::span<const Command> commands);

// The candidate that differs from the word in two letters at most; empty when none does.
std::string nearestWord(std::string_view word, const std::vector<std::string>& candidates);

// The list of the commands whose words begin with the group, a line each.
std::string helpText(const std::string& group, std::span<const Command> commands);

}  // namespace cli
