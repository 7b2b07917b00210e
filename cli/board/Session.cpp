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
  void describe(const CommonOptions& options, const SessionOptions& how, HMODULE library);
  void setUp(const CommonOptions& options, const SessionOptions& how, HMODULE library);

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

namespace {

std::uint32_t boardCount(const CommonOptions& options) {
  return options.boards.empty() ? 1 : parseNumber(options.boards, "--boards", 1, mostBoards);
}

// So many boards of each type.
sim::Description plainDescription(const CommonOptions& options, const SessionOptions& how) {
  sim::Description description;
  for (std::uint32_t i = 0; i < boardCount(options); ++i) {
    for (const Choice& type : boardTypes) {
      sim::BoardDescription& board = description.boards.emplace_back();
      board.type = type.value;
      board.scenePlace = "--scene";
      if (!options.scene.empty()) board.scene = absoluteUtf8(options.scene);
      if (how.isStreaming) board.sensorResets.push_back({sim::SensorRegister::streaming, 1});
    }
  }
  return description;
}

}  // namespace

void Session::Simulated::describe(const CommonOptions& options, const SessionOptions& how, HMODULE library) {
  try {
    sim::Description description = options.simulate ? plainDescription(options, how)
                                                    : sim::readDescription(absoluteUtf8(options.boards));
    if (!options.trace.empty()) description.trace = absoluteUtf8(options.trace);
    if (how.isRealTime) description.pace = sim::Pace::real;
    described.emplace(description);
  } catch (const std::runtime_error& error) {
    throw Failure(error.what());
  }
  sim::Machine& machine = described->machine();
  clock = &machine.clock();
  machine.trace().listen(how.listener);
  for (unsigned i = 0; i < described->count(KVEXA_BOARD_PCIE); ++i) machine.pciBus().addBoard();
  attachment = std::make_unique<sim::Attachment>(library, machine);
}

void Session::Simulated::setUp(const CommonOptions& options, const SessionOptions& how, HMODULE library) {
  bench.emplace(options.simulate ? sim::Bench::Boards::simulated : sim::Bench::Boards::real);
  // Before the trace file is made: a scene that is no picture leaves no file.
  if (!options.scene.empty()) bench->setScene(sim::Scene::fromFile(options.scene));
  if (!options.trace.empty()) bench->writeTrace(options.trace);
  if (options.simulate) clock = &bench->machine().clock();
  bench->trace().listen(how.listener);
  for (std::uint32_t i = 0; options.simulate && i < boardCount(options); ++i) {
    bench->addBoard(KVEXA_BOARD_USB);
    bench->addBoard(KVEXA_BOARD_PCIE);
    bench->machine().pciBus().addBoard();
  }
  // Real boards that nobody traces need nothing of the bench.
  if (options.simulate || !options.trace.empty() || how.listener) bench->attach(library);
}

Session::Session(const CommonOptions& options, const SessionOptions& how)
    : simulated_(std::make_unique<Simulated>()) {
  const HMODULE library = GetModuleHandleA("KVEXA_LIB.dll");
  SessionOptions heard = how;
  if (how.countsRequests)
    heard.listener = [this](const std::string& line) { simulated_->requests.add(line); };
  if (isDescription(options) || (options.simulate && how.isRealTime)) {
    simulated_->describe(options, heard, library);
  } else {
    simulated_->setUp(options, heard, library);
  }
}

Session::~Session() = default;

const RequestCounts& Session::requests() const { return simulated_->requests; }

double Session::seconds() const {
  constexpr double million = 1e6;
  return static_cast<double>(simulated_->clock->now()) / million;
}

}  // namespace cli
