// kvexa: the command-line tool of the camera-module test boards.
#include <kvexa.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <string>

#include "CaptureCommand.h"
#include "ListCommand.h"
#include "ParamsCommand.h"
#include "RegsCommand.h"
#include "Session.h"
#include "StreamCommand.h"
#include "VersionCommand.h"
#include "run/RunCommand.h"
#include "selftest/AddSelfTest.h"

namespace {

constexpr int usageError = 2;

const std::map<std::string, std::uint32_t> boardTypes{{"usb", KVEXA_BOARD_USB}, {"pcie", KVEXA_BOARD_PCIE}};

const std::map<std::string, std::uint32_t> patterns{{"grbg", KVEXA_BAYER_GRBG},
                                                    {"rggb", KVEXA_BAYER_RGGB},
                                                    {"bggr", KVEXA_BAYER_BGGR},
                                                    {"gbrg", KVEXA_BAYER_GBRG}};

// Takes a name of the choices and stores its number.
CLI::Validator oneOf(const std::map<std::string, std::uint32_t>& choices) {
  std::string names;
  for (const auto& [name, number] : choices) names += (names.empty() ? "" : ", ") + name;
  const auto check = [&choices, names](std::string& text) -> std::string {
    const auto found = choices.find(CLI::detail::to_lower(text));
    if (found == choices.end()) return "'" + text + "' is none of " + names;
    text = std::to_string(found->second);
    return {};
  };
  return {check, names};
}

void addSessionOptions(CLI::App& command, cli::SessionOptions& session) {
  command.add_flag("--simulate", session.simulate, "use simulated boards instead of real ones");
  command.add_option("--boards", session.boardCount, "number of simulated boards")
      ->check(CLI::Range(1U, 255U))
      ->capture_default_str();
  command.add_option("--trace", session.trace, "write every driver request to this file");
}

void addCapture(CLI::App& app, cli::SessionOptions& session, cli::CaptureOptions& options) {
  CLI::App* command = app.add_subcommand("capture",
                                         "capture one frame: power up, play the registers, capture, "
                                         "convert, save");
  addSessionOptions(*command, session);
  command->add_option("--scene", session.scene, "BMP or JPEG picture in front of the simulated camera");
  command->add_option("--board", options.boardType, "board type")
      ->transform(oneOf(boardTypes))
      ->default_str("usb");
  command->add_option("--index", options.boardIndex, "board index, from 0")->capture_default_str();
  command->add_option("--regs", options.registers, "register-setting file of the sensor")->required();
  command->add_option("--params", options.parameters, "capture-parameter file")->required();
  command->add_option("--pattern", options.pattern, "Bayer pattern of the sensor")
      ->transform(oneOf(patterns))
      ->default_str("grbg");
  command->add_option("--timeout", options.timeout, "milliseconds to wait for the frame")
      ->check(CLI::Range(1U, 600000U))
      ->capture_default_str();
  command->add_option("--out", options.folder, "folder for frame.raw and frame.bmp")->capture_default_str();
  command->callback([&] {
    session.boardType = options.boardType;
    const cli::Session boards(session);
    cli::capture(options);
  });
}

void addStream(CLI::App& app, cli::SessionOptions& session, cli::StreamOptions& options) {
  CLI::App* command =
      app.add_subcommand("stream", "capture frame after frame from a USB board, until Ctrl-C ends it");
  addSessionOptions(*command, session);
  command->add_option("--scene", session.scene, "BMP or JPEG picture in front of the simulated camera");
  command->add_option("--index", options.boardIndex, "board index, from 0")->capture_default_str();
  command->add_option("--regs", options.registers, "register-setting file of the sensor")->required();
  command->add_option("--params", options.parameters, "capture-parameter file")->required();
  command->add_option("--count", options.count, "frames to capture; without it there is no end")
      ->check(CLI::Range(1U, 999999999U));
  command->add_option("--out", options.pictures,
                      "name of the pictures, '#' for the frame's number: frame-#.bmp");
  command->add_option("--pattern", options.pattern, "Bayer pattern of the sensor")
      ->transform(oneOf(patterns))
      ->default_str("grbg");
  // Less leaves the board no time to stop.
  command->add_option("--timeout", options.timeout, "milliseconds to wait for a frame")
      ->check(CLI::Range(100U, 600000U))
      ->capture_default_str();
  command->add_option("--buffers", options.buffers, "frames in this computer's memory")
      ->check(CLI::Range(2U, 1000U))
      ->capture_default_str();
  command->add_flag(
      "--frame-counter", options.frameCounter,
      "count missing frames by the number that the sensor draws (the simulated one: register 0x010C)");
  command->callback([&] {
    const cli::Session boards(session);
    cli::stream(options);
  });
}

void addList(CLI::App& app, cli::SessionOptions& session) {
  CLI::App* command = app.add_subcommand("list", "count the boards that are present");
  addSessionOptions(*command, session);
  command->callback([&] {
    const cli::Session boards(session);
    cli::list();
  });
}

void addVersion(CLI::App& app, cli::SessionOptions& session, std::uint32_t& boardIndex) {
  CLI::App* command =
      app.add_subcommand("version", "print the versions of a board, its driver and the library");
  addSessionOptions(*command, session);
  command->add_option("--board", session.boardType, "board type")
      ->transform(oneOf(boardTypes))
      ->default_str("usb");
  command->add_option("--index", boardIndex, "board index, from 0")->capture_default_str();
  command->callback([&] {
    const cli::Session boards(session);
    cli::version(session.boardType, boardIndex);
  });
}

void addFileCommand(CLI::App& app, const char* name, const char* what, void (*explain)(const std::string&)) {
  CLI::App* command = app.add_subcommand(name, what);
  auto path = std::make_shared<std::string>();
  command->add_option("FILE", *path, "the file")->required();
  command->callback([path, explain] { explain(*path); });
}

void addRun(CLI::App& app, cli::RunOptions& options, std::uint32_t& exitCode) {
  CLI::App* command = app.add_subcommand(
      "run", "start any 32-bit program with simulated boards: kvexa run [OPTIONS] -- PROGRAM ARGUMENTS");
  CLI::Option* file =
      command->add_option("--boards", options.description, "description of the boards (TOML)");
  command->add_option("--usb", options.usbBoards, "so many USB boards (one, when no boards are named)")
      ->check(CLI::Range(0U, 100U))
      ->excludes(file);
  command->add_option("--pcie", options.pcieBoards, "so many PCIe boards")
      ->check(CLI::Range(0U, 100U))
      ->excludes(file);
  command->add_option("--scene", options.scene, "BMP or JPEG picture in front of the simulated cameras")
      ->excludes(file);
  command->add_option("--trace", options.trace, "write every driver request into a file");
  command->add_flag("--simulated-time", options.simulatedTime, "let time pass only while the program waits");
  command->callback([&] { exitCode = cli::run(options); });
}

// The program of kvexa run and its arguments are not this program's own.
int ownArguments(int argc, char** argv) {
  const bool runs = argc > 1 && std::strcmp(argv[1], "run") == 0;
  for (int i = 2; runs && i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) return i;
  }
  return argc;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app("Drives camera-module test boards through KVEXA_LIB.dll.", "kvexa");
    app.require_subcommand(1);
    app.allow_windows_style_options(false);  // a path may start with a slash
    cli::SessionOptions session;
    cli::CaptureOptions captureOptions;
    addCapture(app, session, captureOptions);
    cli::StreamOptions streamOptions;
    addStream(app, session, streamOptions);
    addList(app, session);
    std::uint32_t boardIndex = 0;
    addVersion(app, session, boardIndex);
    addFileCommand(app, "params", "explain a capture-parameter file", cli::explainParameters);
    addFileCommand(app, "regs", "explain a register-setting file", cli::explainRegisters);
    cli::RunOptions runOptions;
    std::uint32_t exitCode = 0;
    addRun(app, runOptions, exitCode);
    cli::addSelfTest(app, exitCode);
    try {
      app.parse(ownArguments(argc, argv), argv);
    } catch (const CLI::Success& help) {
      return app.exit(help);
    } catch (const CLI::ParseError& error) {
      std::fprintf(stderr, "kvexa: %s (kvexa --help lists the options)\n", error.what());
      return app.got_subcommand("run") ? cli::runFailed : usageError;
    }
    return static_cast<int>(exitCode);
  } catch (const cli::RunFailure& failure) {
    std::fprintf(stderr, "kvexa: %s\n", failure.what());
    return failure.exitCode;
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "kvexa: %s\n", failure.what());
    return 1;
  }
}
