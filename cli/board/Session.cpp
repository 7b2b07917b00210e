#include "cli/board/Session.h"

#include <kvexa.h>

#include <algorithm>
#include <cctype>
#include <optional>

#include "cli/base/Failure.h"
#include "cli/base/Options.h"
#include "cli/base/Paths.h"
#include "cli/board/BoardNames.h"
#include "sim/attach/Bench.h"
#include "sim/bench/DescribedBench.h"
#include "sim/bench/Description.h"

namespace cli {

namespace {

constexpr std::uint32_t mostBoards = 255;

bool isNumber(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c) != 0; });
}

bool isDescription(const CommonOptions& options) {
  return !options.boards.empty() && !isNumber(options.boards);
}

}  // namespace

struct Session::Simulated {
  RequestCounts requests;
  sim::Clock realClock{sim::Pace::real};
  const sim::Clock* clock = &realClock;
  std::optional<sim::Bench> bench;
  std::optional<sim::DescribedBench> described;
  std::unique_ptr<sim::Attachment> attachment;  // last, so that nothing is called any more when the boards go
};

void addCommonOptions(Options& options, CommonOptions& common) {
  options.choice("--board", common.boardType, boardTypes, "board type")
      .number("--index", common.boardIndex, 0, mostBoards - 1, "board index, from 0")
      .flag("--simulate", common.simulate, "use simulated boards of both types instead of real ones")
      .text("--boards", common.boards,
            "number of simulated boards of each type (with --simulate), or a file that describes them")
      .text("--scene", common.scene, "BMP or JPEG picture in front of the simulated camera")
      .text("--trace", common.trace, "write every driver request to this file")
      .flag("--json", common.json, "print one JSON object instead of text")
      .flag("--quiet", common.quiet, "print the result alone, without the steps to it");
}

void checkCommonOptions(const CommonOptions& common) {
  const bool describes = isDescription(common);
  if (!describes && !common.boards.empty()) {
    parseNumber(common.boards, "--boards", 1, mostBoards);
    if (!common.simulate) {
      throw UsageFailure("--boards " + common.boards + " needs --simulate: real boards cannot be added");
    }
  }
  if (describes && common.simulate) {
    throw UsageFailure("--simulate and --boards FILE exclude each other: the file says what is simulated");
  }
  if (!common.scene.empty() && describes) {
    throw UsageFailure("--scene and --boards FILE exclude each other: the file names the scenes");
  }
  if (!common.scene.empty() && !common.simulate) {
    throw UsageFailure("--scene needs --simulate: a real camera looks at what is in front of it");
  }
}

Session::Session(const CommonOptions& options, bool watches) : simulated_(std::make_unique<Simulated>()) {
  const HMODULE library = GetModuleHandleA("KVEXA_LIB.dll");
  const auto watch = [this, watches](sim::Trace& trace) {
    if (watches) trace.watch([this](const std::string& line) { simulated_->requests.add(line); });
  };
  if (isDescription(options)) {
    try {
      sim::Description description = sim::readDescription(absoluteUtf8(options.boards));
      if (!options.trace.empty()) description.trace = absoluteUtf8(options.trace);
      simulated_->described.emplace(description);
    } catch (const std::runtime_error& error) {
      throw Failure(error.what());
    }
    sim::Machine& machine = simulated_->described->machine();
    for (unsigned i = 0; i < simulated_->described->count(KVEXA_BOARD_PCIE); ++i) machine.pciBus().addBoard();
    simulated_->clock = &machine.clock();
    watch(machine.trace());
    simulated_->attachment = std::make_unique<sim::Attachment>(library, machine);
    return;
  }
  sim::Bench& bench =
      simulated_->bench.emplace(options.simulate ? sim::Bench::Boards::simulated : sim::Bench::Boards::real);
  // Before the trace file is made: a scene that is no picture leaves no file.
  if (!options.scene.empty()) bench.setScene(sim::Scene::fromFile(options.scene));
  if (!options.trace.empty()) bench.writeTrace(options.trace);
  const std::uint32_t count =
      options.boards.empty() ? 1 : parseNumber(options.boards, "--boards", 1, mostBoards);
  for (std::uint32_t i = 0; options.simulate && i < count; ++i) {
    bench.addBoard(KVEXA_BOARD_USB);
    bench.addBoard(KVEXA_BOARD_PCIE);
    bench.machine().pciBus().addBoard();
  }
  if (options.simulate) simulated_->clock = &bench.machine().clock();
  watch(bench.trace());
  // Real boards whose requests nobody looks at need nothing of the bench.
  if (options.simulate || !options.trace.empty() || watches) bench.attach(library);
}

Session::~Session() = default;

const RequestCounts& Session::requests() const { return simulated_->requests; }

double Session::seconds() const {
  constexpr double million = 1e6;
  return static_cast<double>(simulated_->clock->now()) / million;
}

}  // namespace cli
