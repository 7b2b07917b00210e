// Registers, parameters and their files.
#include <array>

#include "cli/base/Failure.h"
#include "cli/files/ParameterFile.h"
#include "cli/files/RegisterFile.h"
#include "cli/frames/FrameSetup.h"
#include "cli/serve/board/LiveBoard.h"
#include "cli/serve/board/TemporaryFile.h"
#include "files/CapParamReader.h"

namespace cli::serve {

namespace {

using kvexa::files::capParamKeys;

constexpr std::uint32_t sensorOfTheBench = 0x36;
constexpr std::uint32_t largestAddress = 0xFFFF;
constexpr std::uint32_t mostRegisters = 4096;

const char* wordOf(std::uint32_t mode) {
  for (const Choice& each : addressModeWords()) {
    if (each.value == mode) return each.name.data();
  }
  return "";
}

Json toJson(const Remarks& remarks) {
  Json all = Json::array();
  for (const Remarks::Remark& each : remarks.all()) {
    all.push_back(
        {{"line", each.line}, {"text", (each.subject.empty() ? "" : each.subject + ": ") + each.reason}});
  }
  return all;
}

Problem badFile(const std::string& what, const std::string& cause) {
  Problem problem(422, "bad-file", what + (cause.empty() ? "" : ": " + cause), "body");
  problem.name = nameOf(ExitCode::file);
  return problem;
}

Json toJson(const CapParam& parameters) {
  Json all = Json::object();
  for (const auto& key : capParamKeys) all[std::string(key.name)] = parameters.*key.field;
  return all;
}

}  // namespace

std::uint32_t LiveBoard::usualSlave() const {
  if (registers_.empty()) return sensorOfTheBench;
  const TemporaryFile file(registers_, ".csv");
  const RegisterFile read = readRegisterFile(file.path());
  return read.lines == 0 ? sensorOfTheBench : read.table[0].number;
}

RegisterAccess LiveBoard::access(const RegisterPlace& place) const {
  RegisterOptions options;
  options.onBoard = place.isOnBoard;
  options.mode = place.mode;
  if (!place.isOnBoard) options.slave = std::to_string(place.slave.value_or(usualSlave()));
  return {options, board().isUsb()};
}

Json LiveBoard::readRegisters(const RegisterPlace& place, std::uint32_t count) {
  const Board& served = board();
  const std::uint32_t step = !place.isOnBoard ? 1 : served.isUsb() ? 2 : 4;
  if (count == 0 || count > mostRegisters) {
    throw Problem(422, "bad-value", "1 to 4096 registers are read at a time", "count");
  }
  const std::uint64_t last = place.address + std::uint64_t{step} * (count - 1);
  if (last > largestAddress)
    throw Problem(422, "bad-value", "the last register has an address above 65535", "count");
  const RegisterAccess registers = access(place);
  Json all = Json::array();
  {
    const auto held = capture_.turn();
    for (const Register& each : registers.read(served, {place.address, static_cast<std::uint32_t>(last)})) {
      all.push_back({{"address", each.address}, {"value", each.value}});
    }
  }
  Json answer{{"target", place.isOnBoard ? "board" : "sensor"}, {"mode", wordOf(place.mode)}};
  if (!place.isOnBoard) answer["slave"] = place.slave.value_or(usualSlave());
  answer["registers"] = all;
  return answer;
}

Json LiveBoard::writeRegisters(const RegisterPlace& place, const std::vector<std::uint32_t>& values) {
  const Board& served = board();
  const RegisterAccess registers = access(place);
  const std::uint32_t step = !place.isOnBoard ? 1 : served.isUsb() ? 2 : 4;
  if (place.address + std::uint64_t{step} * (values.size() - 1) > largestAddress) {
    throw Problem(422, "bad-value", "the last register has an address above 65535", "values");
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i] > registers.largestValue()) {
      throw Problem(422, "bad-value",
                    "the largest value of such a register is " + std::to_string(registers.largestValue()),
                    "values/" + std::to_string(i));
    }
  }
  {
    const auto held = capture_.turn();
    registers.write(served, {place.address, values});
  }
  return readRegisters(place, static_cast<std::uint32_t>(values.size()));
}

Json LiveBoard::frameOf(const CapParam& parameters) {
  Output output;
  output.begin("", true, true);
  const FrameLayout layout = layoutOf(output, parameters);
  return {{"width", layout.width}, {"height", layout.height}, {"bytes", layout.bytes}};
}

Json LiveBoard::parameters() const {
  Json answer{{"parameters", toJson(parameters_)}, {"frame", nullptr}};
  try {
    answer["frame"] = frameOf(parameters_);
  } catch (const Failure&) {
    // Parameters without a size are told as they are.
  }
  return answer;
}

std::exception_ptr LiveBoard::exchangeParameters(const CapParam& parameters) {
  const auto held = capture_.turn();
  try {
    program(parameters);
    parameters_ = parameters;
    findShape();
    return nullptr;
  } catch (const CallFailure&) {
    // The registers before the one that was refused are written: back to what was.
    kVexaSetCapParam(board().handle(), &parameters_);
    return std::current_exception();
  }
}

Json LiveBoard::setParameters(const CapParam& parameters, bool isApplied) {
  const Json frame = frameOf(parameters);
  if (isApplied) {
    board();
    const bool wasRunning = capture_.isStarted();
    capture_.stop();
    const std::exception_ptr failure = exchangeParameters(parameters);
    if (wasRunning) startCapture();
    if (failure) std::rethrow_exception(failure);
    store(facts_.error);
  }
  return {{"parameters", toJson(parameters)}, {"frame", frame}};
}

void LiveBoard::play(const std::string& path) {
  require("kVexaSetI2cFile", kVexaSetI2cFile(path.c_str(), board().handle()));
  isSetUp_ = true;
}

void LiveBoard::playRegisters() {
  const TemporaryFile file(registers_, ".csv");
  play(file.path());
}

Json LiveBoard::takeRegisterFile(const std::string& text, bool isPlayed) {
  const TemporaryFile file(text, ".csv");
  const RegisterFile read = readRegisterFile(file.path());
  if (read.result != KVEXA_OK || read.lines == 0)
    throw badFile("this is no register-setting file", read.remarks.fault());
  if (isPlayed) {
    if (!read.remarks.fault().empty()) throw badFile("the file cannot be played", read.remarks.fault());
    const auto held = capture_.turn();
    play(file.path());
    registers_ = text;
  }
  Json lines = Json::array();
  for (const WriteText& each : describeWrites(read))
    lines.push_back({{"line", each.line}, {"text", each.text}});
  return {{"lines", lines}, {"remarks", toJson(read.remarks)}, {"played", isPlayed}};
}

Json LiveBoard::takeParameterFile(const std::string& text, bool isApplied) {
  const TemporaryFile file(text, ".dat");
  const Remarks remarks = examineParameters(text);
  CapParam parameters{};
  if (kVexaGetCapFileParam(file.path().c_str(), &parameters) != KVEXA_OK) {
    throw badFile("this is no capture-parameter file", remarks.fault());
  }
  Json answer = isApplied ? setParameters(parameters, true) : Json{{"parameters", toJson(parameters)}};
  if (!isApplied) {
    try {
      answer["frame"] = frameOf(parameters);
    } catch (const Failure&) {
      answer["frame"] = nullptr;
    }
  }
  answer["remarks"] = toJson(remarks);
  answer["applied"] = isApplied;
  return answer;
}

}  // namespace cli::serve
