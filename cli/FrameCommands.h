// The options of the commands that work on raw files, without a board.
#pragma once

#include <CLI/CLI.hpp>

namespace cli {

void addConvert(CLI::App& app);
void addStatistics(CLI::App& app);

}  // namespace cli
