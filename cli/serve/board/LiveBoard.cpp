#include "cli/serve/board/LiveBoard.h"

#include <utility>

#include "cli/base/Failure.h"
#include "cli/board/BoardFacts.h"
#include "cli/board/BoardNames.h"
#include "cli/frames/OneShot.h"

namespace cli::serve {

namespace {

constexpr std::uint32_t oneShotTimeout = 2000;  // milliseconds

Problem noBoard(const BoardOptions& options, const std::string& detail, const std::string& advice) {
  Problem problem(
      503, "no-board",
      std::string(typeTitle(options.type)) + " board " + std::to_string(options.index) + " " + detail);
  problem.name = nameOf(ExitCode::noBoard);
  problem.advice = advice;
  return problem;
}

bool isOn(const Json& supplies, const char* name) { return supplies.at(name).at("on").get<bool>(); }

}  // namespace

LiveBoard::LiveBoard(const BoardOptions& options, CaptureLoop& capture, FrameSlot& slot, FactStore& facts)
    : options_(options),
      capture_(capture),
      slot_(slot),
      store_(facts),
      parameters_(options.parameters),
      registers_(options.registers) {
  // Steps go nowhere, and what the tool's functions put is taken as an object.
  output_.begin("serve", true, true);
  findShape();
}

LiveBoard::~LiveBoard() { shutDown(); }

const Board& LiveBoard::board() const {
  if (!board_) throw noBoard(options_, "is not there", "plug it in: it is found by itself");
  return *board_;
}

void LiveBoard::store(const std::optional<Problem>& error) {
  facts_.isConnected = board_.has_value();
  facts_.isRunning = capture_.isStarted();
  facts_.error = error;
  store_.set(facts_);
}

void LiveBoard::look() {
  try {
    if (!board_) {
      connect();
    } else {
      lookAtDrops();
      refresh();
    }
  } catch (const std::exception&) {
    disconnect(problemOf(std::current_exception()));
  }
}

void LiveBoard::connect() {
  const auto held = capture_.turn();
  board_.emplace(output_, options_.type, options_.index);
  // A program that was ended may have left it capturing.
  kVexaAbortCapture(board_->handle());
  tellVersions(*board_);
  const Json versions = Json::parse(output_.takeMembers()).at("versions");
  facts_.versions = {{"fpga", versions.at("fpga")},
                     {"firmware", versions.at("firmware")},
                     {"driver", versions.at("driver")}};
  isSetUp_ = false;
  // What a module went through with its board is not known, so it begins without power.
  if (std::exchange(wasLost_, false)) board_->powerDown();
  readFacts();
  store({});
}

void LiveBoard::disconnect(const Problem& reason) {
  capture_.stop();
  const bool wasThere = board_.has_value();
  {
    const auto held = capture_.turn();
    board_.reset();
    output_.takeMembers();
  }
  isSetUp_ = false;
  facts_.supplies = nullptr;
  facts_.lines = nullptr;
  facts_.versions = Json::object();
  if (!wasThere) return store(reason);
  wasLost_ = true;
  Problem problem = noBoard(options_, "does not answer any more: " + reason.detail,
                            "check plug and supply; when it is there again it is found by itself");
  problem.call = reason.call;
  problem.code = reason.code;
  if (reason.code) problem.name = reason.name;
  store(problem);
}

void LiveBoard::refresh() {
  const auto held = capture_.turn();
  readFacts();
  store(facts_.error);
}

void LiveBoard::readFacts() {
  tellSupplies(board());
  tellLines(board());
  const Json told = Json::parse(output_.takeMembers());
  facts_.supplies = told.at("supplies");
  facts_.lines = told.at("lines");
}

void LiveBoard::lookAtDrops() {
  if (!capture_.isStarted() || !board().isUsb()) return;
  const auto held = capture_.turn();
  if (kVexaIsDropFrame(board().handle()) != 0) capture_.noteDrop();
}

void LiveBoard::captureEnded(const std::exception_ptr& failure) {
  capture_.stop();
  facts_.error = problemOf(failure);
  look();
}

void LiveBoard::shutDown() {
  capture_.stop();
  if (!board_) return;
  const auto held = capture_.turn();
  try {
    board_->powerDown();
  } catch (const CallFailure&) {
    // It goes on to its end; a board that is gone has no power either.
  }
  board_.reset();
}

void LiveBoard::power(bool on) {
  board();
  if (!on) capture_.stop();
  {
    const auto held = capture_.turn();
    isSetUp_ = false;
    on ? board().powerUp() : board().powerDown();
  }
  facts_.error.reset();
  refresh();
}

void LiveBoard::setSwitches(const SwitchSetting& setting) {
  struct Step {
    std::optional<bool> wanted;
    bool value;
    const char* call;
    decltype(&kVexaPowerV1On) function;
  };
  // Into reset first and out of it last, supplies before the clock and after it.
  const Step steps[] = {
      {setting.reset, true, "kVexaResetOn", kVexaResetOn},
      {setting.clock, false, "kVexaClockOff", kVexaClockOff},
      {setting.v2, false, "kVexaPowerV2Off", kVexaPowerV2Off},
      {setting.v1, false, "kVexaPowerV1Off", kVexaPowerV1Off},
      {setting.v1, true, "kVexaPowerV1On", kVexaPowerV1On},
      {setting.v2, true, "kVexaPowerV2On", kVexaPowerV2On},
      {setting.clock, true, "kVexaClockOn", kVexaClockOn},
      {setting.reset, false, "kVexaResetOff", kVexaResetOff},
  };
  board();
  {
    const auto held = capture_.turn();
    isSetUp_ = false;
    for (const Step& step : steps) {
      if (step.wanted == step.value) board().step(step.call, step.function(board().handle()));
    }
  }
  refresh();
}

void LiveBoard::setLines(std::uint32_t out) {
  {
    const Board& served = board();
    const auto held = capture_.turn();
    served.step("kVexaSetDout", kVexaSetDout(served.handle(), out));
  }
  refresh();
}

void LiveBoard::makeReady() {
  board();
  const auto held = capture_.turn();
  readFacts();
  const Json& supplies = facts_.supplies;
  const bool isPowered = isOn(supplies, "v1") && isOn(supplies, "v2") && isOn(supplies, "clock") &&
                         !supplies.at("reset").get<bool>();
  if (!isPowered) {
    isSetUp_ = false;
    board().powerUp();
  }
  if (!isSetUp_ && !registers_.empty()) playRegisters();
  program(parameters_);
  readFacts();
}

void LiveBoard::program(const CapParam& parameters) {
  board().step("kVexaSetCapParam", kVexaSetCapParam(board().handle(), &parameters));
}

void LiveBoard::findShape() {
  shape_.reset();
  facts_.shape = {{"format", nullptr}, {"bits", nullptr}, {"width", nullptr}, {"height", nullptr}};
  try {
    const FrameLayout layout = layoutOf(output_, parameters_);
    shape_ = std::make_shared<const FrameShape>(parameters_, layout, options_.picture);
    facts_.shape = {{"format", nameOf(shape_->maker.kind())},
                    {"bits", layout.bits},
                    {"width", shape_->maker.width()},
                    {"height", layout.height}};
  } catch (const Failure&) {
    // Parameters without a size: a capture that is wanted tells it.
  }
  output_.takeMembers();
}

const std::shared_ptr<const FrameShape>& LiveBoard::shape() const {
  if (shape_) return shape_;
  Output output;
  output.begin("", true, true);
  layoutOf(output, parameters_);
  throw Failure("the capture parameters have no frame size");
}

const FrameShape& LiveBoard::capturedShape() const {
  if (capture_.isStarted()) return *shape();
  Problem problem(409, "not-capturing", "no frames come");
  problem.advice = "start the capture before (POST /api/v1/capture)";
  throw problem;
}

void LiveBoard::startCapture() {
  if (capture_.isStarted()) return;
  const auto frames = shape();
  makeReady();
  capture_.start(board(), frames);
  store({});
}

void LiveBoard::stopCapture() {
  capture_.stop();
  store({});
}

void LiveBoard::captureOne() {
  const auto frames = shape();
  makeReady();
  {
    const auto held = capture_.turn();
    const std::vector<std::uint8_t> frame = captureFrame(board(), frames->layout, oneShotTimeout);
    capture_.put(frame.data(), frames);
  }
  store({});
}

void LiveBoard::abortEverything() {
  // Starts that wait inside the library go on at once.
  capture_.stop();
  if (!board_) return store(facts_.error);
  {
    const auto held = capture_.turn();
    isSetUp_ = false;
    kVexaAbortCapture(board_->handle());
    board_->powerDown();
  }
  facts_.error.reset();
  refresh();
}

Json LiveBoard::boards() {
  std::uint32_t counts[2] = {0, 0};
  require("kVexaDevNum", kVexaDevNum(&counts[KVEXA_BOARD_USB], &counts[KVEXA_BOARD_PCIE]));
  Json all = Json::array();
  for (const Choice& type : boardTypes) {
    for (std::uint32_t index = 0; index < counts[type.value]; ++index) {
      const bool isOurs = board_ && type.value == options_.type && index == options_.index;
      Json each{{"type", type.name}, {"index", index}};
      if (isOurs) {
        each.update(facts_.versions);
      } else {
        tellListed(output_, type.value, index, "board");
        each.update(Json::parse(output_.takeMembers()).at("board"));
      }
      all.push_back(each);
    }
  }
  return {{"boards", all}};
}

}  // namespace cli::serve
