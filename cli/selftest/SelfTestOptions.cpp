#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "selftest/AddSelfTest.h"
#include "selftest/SelfTestCommand.h"

namespace cli {

void addSelfTest(CLI::App& app, std::uint32_t& exitCode) {
  auto options = std::make_shared<SelfTestOptions>();
  CLI::App* command = app.add_subcommand("selftest", "check what a board does, one line a check");
  CLI::Option* simulate =
      command->add_flag("--simulate", options->simulate, "check a simulated board, in simulated time");
  command->add_option("--description", options->description, "description of the simulated boards (TOML)")
      ->needs(simulate);
  static const std::map<std::string, std::uint32_t> types{{"usb", 0}, {"pcie", 1}};
  command->add_option("--board", options->boardType, "board type: usb or pcie")
      ->transform(CLI::CheckedTransformer(types, CLI::ignore_case))
      ->default_str("usb");
  command->add_option("--index", options->boardIndex, "board index, from 0")
      ->check(CLI::Range(0U, 254U))
      ->capture_default_str();
  command->add_flag("--read-only", options->readOnly, "leave supplies and registers alone");
  command->add_option("--regs", options->registers, "register-setting file of the sensor");
  command->add_option("--params", options->parameters, "capture-parameter file");
  command
      ->add_option("--scratch", options->scratch, "the first of sixteen sensor registers that may be written")
      ->check(CLI::Range(0U, 0xFFF0U));
  command->add_flag("--frame-counter", options->frameCounter,
                    "the sensor draws its frames' numbers (the simulated one: register 0x010C)");
  command->add_flag("--json", options->json, "print JSON instead of lines");
  command->add_option("--junit", options->junit, "write JUnit XML into this file");
  command->callback([options, &exitCode] { exitCode = selfTest(*options) ? 0 : 1; });
}

}  // namespace cli
