#include "cli/run/RunCommand.h"

#include <windows.h>

#include <memory>
#include <optional>

#include "cli/base/Paths.h"
#include "cli/commands/Commands.h"
#include "cli/run/CommandTail.h"
#include "cli/run/Program.h"
#include "cli/trace/RecordingFile.h"
#include "sim/bench/DescribedBench.h"
#include "sim/bench/Description.h"
#include "sim/bench/Files.h"
#include "sim/program/Variables.h"

namespace cli {

namespace {

constexpr std::uint32_t mostBoards = 100;

struct RunOptions {
  std::string description;                 // a file; empty for the boards below
  std::optional<std::uint32_t> usbBoards;  // nothing for both: one USB board
  std::optional<std::uint32_t> pcieBoards;
  std::string scene;
  std::string trace;
  bool simulatedTime = false;
  bool realBoards = false;
  std::string record;
  bool frames = false;
  std::string replay;
  bool lenient = false;
  bool fast = false;
};

// A TOML text in single quotes holds everything but a single quote and control characters.
std::string quoted(const std::string& text) {
  if (text.find('\'') == std::string::npos) return "'" + text + "'";
  std::string escaped = "\"";
  for (const char each : text) {
    if (each == '\\' || each == '"') escaped += '\\';
    escaped += each;
  }
  return escaped + '"';
}

void addBoards(std::string& text, const char* type, std::uint32_t count, const std::string& scene) {
  if (count == 0) return;
  text += "[[board]]\ntype = \"" + std::string(type) + "\"\ncount = " + std::to_string(count) + "\n";
  if (!scene.empty()) text += "scene = " + quoted(scene) + "\n";
}

std::string describe(const RunOptions& options) {
  const bool namesBoards = options.usbBoards || options.pcieBoards;
  const bool isKnownScene =
      options.scene == "chart" || options.scene.starts_with('#') || options.scene.empty();
  const std::string scene = isKnownScene ? options.scene : absoluteUtf8(options.scene);
  std::string text;
  addBoards(text, "usb", options.usbBoards.value_or(namesBoards ? 0 : 1), scene);
  addBoards(text, "pcie", options.pcieBoards.value_or(0), scene);
  return text;
}

void checkRecording(const std::string& path) {
  const trace::RecordingFile file(absoluteUtf8(path));
  sim::record::RecordingReader reader = file.reader();
  for (sim::record::Line line; reader.next(line);) continue;
}

// A wrong description must start nothing, and say what is wrong before the program runs.
void check(const RunOptions& options, const std::string& text) {
  try {
    if (!options.replay.empty()) return checkRecording(options.replay);
    if (options.realBoards) return;
    const sim::Description description = options.description.empty()
                                             ? sim::parseDescription(text, "boards", ".")
                                             : sim::readDescription(absoluteUtf8(options.description));
    sim::checkScenes(description);
  } catch (const std::exception& error) {
    throw RunFailure(runFailed, error.what());
  }
}

void setVariable(const wchar_t* name, const std::string& value) {
  SetEnvironmentVariableW(name, value.empty() ? nullptr : sim::wideText(value).c_str());
}

// Every process of the run writes behind what is there, so the file is emptied here.
std::string prepareTrace(const std::string& trace) {
  if (trace.empty()) return {};
  std::string path = absoluteUtf8(trace);
  const HANDLE file = CreateFileW(sim::wideText(path).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw RunFailure(runFailed, trace + ": cannot be written");
  CloseHandle(file);
  return path;
}

void setVariables(const RunOptions& options, const std::string& text) {
  namespace variables = sim::variables;
  const bool isSimulated = !options.realBoards && options.replay.empty();
  setVariable(variables::description, isSimulated && options.description.empty() ? text : std::string());
  setVariable(variables::file,
              options.description.empty() ? std::string() : absoluteUtf8(options.description));
  setVariable(variables::trace, prepareTrace(options.trace));
  setVariable(variables::time, options.simulatedTime ? "simulated" : "");
  setVariable(variables::real, options.realBoards ? "1" : "");
  setVariable(variables::replay, options.replay.empty() ? std::string() : absoluteUtf8(options.replay));
  setVariable(variables::lenient, options.lenient ? "1" : "");
  setVariable(variables::fast, options.fast ? "1" : "");
  setVariable(variables::record, prepareTrace(options.record));
  setVariable(variables::frames, options.frames ? "1" : "");
}

// Ctrl-C and the like are the program's to answer; this one lasts as long as it.
BOOL WINAPI stay(DWORD) { return TRUE; }

// Starts the program of this process' own command line after "--", and gives back its exit code when it has
// ended. Throws RunFailure.
std::uint32_t run(const RunOptions& options) {
  const auto commandLine = tailAfterDashes(GetCommandLineW());
  if (!commandLine || commandLine->empty()) {
    throw RunFailure(runFailed, "run needs a program: kvexa run [OPTIONS] -- PROGRAM ARGUMENTS");
  }
  const std::string text = describe(options);
  check(options, text);
  setVariables(options, text);
  SetConsoleCtrlHandler(stay, TRUE);
  return *Program(*commandLine, ownStreams(), Children::stay).awaitEnd(INFINITE);
}

void checkExclusions(const RunOptions& options) {
  const bool namesOthers = options.usbBoards || options.pcieBoards || !options.scene.empty();
  if (!options.description.empty() && namesOthers) {
    throw RunFailure(runFailed, "--boards excludes --usb, --pcie and --scene: the file says what there is");
  }
  const bool namesBoards =
      namesOthers || !options.description.empty() || !options.trace.empty() || options.simulatedTime;
  if (!options.replay.empty() && (namesBoards || options.realBoards || !options.record.empty())) {
    throw RunFailure(runFailed,
                     "--replay excludes --boards, --usb, --pcie, --scene, --trace, --simulated-time, "
                     "--record and --real: the "
                     "recording has what they say");
  }
  if (options.realBoards && (namesBoards || options.record.empty())) {
    throw RunFailure(runFailed, "--real goes with --record, and without what describes simulated boards");
  }
  if (options.frames && options.record.empty()) throw RunFailure(runFailed, "--frames goes with --record");
  if ((options.lenient || options.fast) && options.replay.empty()) {
    throw RunFailure(runFailed, "--lenient and --fast go with --replay");
  }
}

}  // namespace

Action runCommand(Options& options) {
  const auto values = std::make_shared<RunOptions>();
  options.text("--boards", values->description, "description of the boards (TOML)")
      .number("--usb", values->usbBoards, 0, mostBoards, "so many USB boards (one, when no boards are named)")
      .number("--pcie", values->pcieBoards, 0, mostBoards, "so many PCIe boards")
      .text("--scene", values->scene, "BMP or JPEG picture in front of the simulated cameras")
      .text("--trace", values->trace, "write every driver request into a file")
      .flag("--simulated-time", values->simulatedTime, "let time pass only while the program waits")
      .text("--record", values->record, "record everything that reaches boards and comes back")
      .flag("--frames", values->frames, "keep image data in the recording")
      .flag("--real", values->realBoards, "record the real boards instead of simulated ones")
      .text("--replay", values->replay, "boards that answer as a recording says")
      .flag("--lenient", values->lenient, "answer a program that asks something else, too")
      .flag("--fast", values->fast, "do not let pass the time that answers took");
  return [values](Context& context) {
    checkExclusions(*values);
    context.exitCode = run(*values);
  };
}

}  // namespace cli
