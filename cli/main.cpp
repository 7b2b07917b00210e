// kvexa: the command-line tool of the camera-module test boards.
#include <kvexa.hpp>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <shellapi.h>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/board/Command.h"
#include "cli/commands/CommandLine.h"
#include "cli/run/RunCommand.h"

namespace cli {

namespace {

// Windows puts other letters where the ANSI code page has none: that would be another file's name.
void checkLetters() {
  int count = 0;
  wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
  if (arguments == nullptr) return;
  bool isKept = true;
  for (int i = 1; i < count && isKept; ++i) {
    try {
      if (*arguments[i] != L'\0') kvexa::ansi(arguments[i]);
    } catch (const std::invalid_argument&) {
      isKept = false;
    }
  }
  LocalFree(arguments);
  if (!isKept) {
    throw UsageFailure("a name has letters that this computer's ANSI code page does not hold",
                       "rename the file or its folder");
  }
}

// The program of kvexa run or trace minimise and its arguments are not this program's own.
std::vector<std::string> ownArguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto end = std::ranges::find(arguments, "--");
  const bool startsPrograms =
      !arguments.empty() && (arguments[0] == "run" || (arguments.size() > 1 && arguments[1] == "minimise"));
  if (startsPrograms) arguments.erase(end, arguments.end());
  return arguments;
}

// One line on the standard error, and the JSON object of the failure on the standard output.
int tell(Output& output, const Failure& failure) {
  const std::string text = inOneLine(failure.what());
  const char* const link = failure.advice.empty() ? "" : text.ends_with('?') ? " " : "; ";
  std::fflush(stdout);
  std::fprintf(stderr, "kvexa: %s%s%s\n", text.c_str(), link, inOneLine(failure.advice).c_str());
  putFailure(output, failure);
  output.finish();
  return static_cast<int>(failure.exitCode);
}

// What is wrong with an option, with the nearest one where its name is unknown.
std::string complaint(const CLI::App& app, const CLI::ParseError& error,
                      const std::vector<std::string>& arguments) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) names.push_back(option->get_name(false));
  std::string text = inOneLine(error.what());
  for (const std::string& argument : arguments) {
    const std::string name = argument.substr(0, argument.find('='));
    if (!name.starts_with("--") || std::ranges::find(names, name) != names.end()) continue;
    const std::string nearest = nearestWord(name, names);
    return "unknown option " + name + (nearest.empty() ? "" : ", did you mean " + nearest + "?");
  }
  return text;
}

// A wait that Ctrl-C found running may end in another failure: that is not what the command ended for.
void perform(const Action& action, Context& context) {
  try {
    action(context);
  } catch (const Failure& failure) {
    const bool isOfWait = failure.exitCode == ExitCode::board || failure.exitCode == ExitCode::timeLimit;
    if (context.interrupt != nullptr && isOfWait) context.interrupt->check();
    throw;
  }
}

int act(const Command& command, const std::vector<std::string>& arguments, Output& output) {
  CLI::App app(command.help, "kvexa " + std::string(command.words));
  app.allow_windows_style_options(false);  // a path may start with a slash
  Options options(app);
  CommonOptions common;
  const Action action = command.make(options);
  if (command.needs != Command::Needs::nothing) addCommonOptions(options, common);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // it takes the last one first
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& error) {
    throw UsageFailure(complaint(app, error, arguments),
                       "kvexa help " + std::string(command.words) + " lists the options");
  }
  output.begin(command.words, common.json, common.quiet);
  checkCommonOptions(common);
  std::optional<Interrupt> interrupt;
  if (command.needs != Command::Needs::nothing) interrupt.emplace();
  std::optional<Session> session;
  SessionOptions how;
  how.countsRequests = command.needs == Command::Needs::watchedBoards;
  if (how.countsRequests || command.needs == Command::Needs::boards) session.emplace(common, how);
  Context context{common, output, interrupt ? &*interrupt : nullptr, session ? &*session : nullptr};
  perform(action, context);
  if (command.needs != Command::Needs::nothing) output.finish();
  return static_cast<int>(context.exitCode);
}

int start(int argc, char** argv, Output& output) {
  const std::vector<std::string> arguments = ownArguments(argc, argv);
  const bool wantsJson = std::ranges::find(arguments, "--json") != arguments.end();
  output.begin("", wantsJson, false);
  const CommandLine line = readCommandLine(arguments, allCommands());
  if (line.wantsVersion) {
    std::printf("kvexa %d.%d.%d\n", KVEXA_VERSION_MAJOR, KVEXA_VERSION_MINOR, KVEXA_VERSION_PATCH);
    return 0;
  }
  if (line.command == nullptr) {
    std::fputs(helpText(line.group, allCommands()).c_str(), stdout);
    return 0;
  }
  output.begin(line.command->words, wantsJson, false);
  if (line.command->needs != Command::Needs::nothing) checkLetters();
  return act(*line.command, line.arguments, output);
}

int guarded(int argc, char** argv, Output& output) {
  const bool runs = argc > 1 && std::strcmp(argv[1], "run") == 0;
  try {
    return start(argc, argv, output);
  } catch (const RunFailure& failure) {
    std::fprintf(stderr, "kvexa: %s\n", failure.what());
    return failure.exitCode;
  } catch (const Failure& failure) {
    const int code = tell(output, failure);
    return runs ? static_cast<int>(runFailed) : code;
  } catch (const kvexa::Error& error) {
    return tell(output, Failure(error.what(), exitCodeOf(error.result()), error.advice()));
  } catch (const std::bad_alloc&) {
    return tell(output, Failure("there is not enough memory", ExitCode::board));
  } catch (const std::exception& error) {
    return tell(output, Failure(error.what()));
  }
}

}  // namespace

}  // namespace cli

int main(int argc, char** argv) {
  cli::Output output;
  return cli::guarded(argc, argv, output);
}
