// The options of kvexa selftest. It brings its simulated board itself, so that it can move the time.
#include <array>
#include <memory>

#include "cli/base/Failure.h"
#include "cli/commands/Commands.h"
#include "cli/selftest/SelfTestCommand.h"

namespace cli {

namespace {

constexpr std::uint32_t mostBoards = 254;
constexpr std::uint32_t lastScratch = 0xFFF0;
constexpr std::array<Choice, 2> boardTypes{{{"usb", 0}, {"pcie", 1}}};

}  // namespace

Action selfTestCommand(Options& options) {
  const auto values = std::make_shared<SelfTestOptions>();
  options.flag("--simulate", values->simulate, "check a simulated board, in simulated time")
      .text("--boards", values->boards, "check a simulated board of this description (TOML)")
      .choice("--board", values->boardType, boardTypes, "board type")
      .number("--index", values->boardIndex, 0, mostBoards, "board index, from 0")
      .flag("--read-only", values->readOnly, "leave supplies and registers alone")
      .text("--regs", values->registers, "register-setting file of the sensor")
      .text("--params", values->parameters, "capture-parameter file")
      .number("--scratch", values->scratch, 0, lastScratch,
              "the first of sixteen sensor registers that may be written")
      .flag("--frame-counter", values->frameCounter,
            "the sensor draws its frames' numbers (the simulated one: register 0x010C)")
      .flag("--json", values->json, "JSON instead of lines")
      .text("--junit", values->junit, "write JUnit XML into this file");
  return [values](Context& context) {
    if (!values->boards.empty() && values->simulate) {
      throw UsageFailure("--simulate and --boards FILE exclude each other: the file says what is simulated");
    }
    context.exitCode = selfTest(*values) ? 0 : 1;
  };
}

}  // namespace cli
