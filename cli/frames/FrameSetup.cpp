#include "cli/frames/FrameSetup.h"

#include <cmath>
#include <fstream>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"
#include "cli/files/ParameterFile.h"
#include "cli/files/RegisterFile.h"

namespace cli {

void checkReadable(const std::string& path) {
  if (isFolder(path)) throw Failure(path + ": is a folder, not a file");
  if (!std::ifstream(path, std::ios::binary)) {
    throw Failure(path + ": cannot be opened", ExitCode::file, "check the name and the rights");
  }
}

CapParam readParameters(Output& output, const std::string& path) {
  CapParam parameters{};
  const std::int32_t result = kVexaGetCapFileParam(path.c_str(), &parameters);
  if (result < 0) {
    const std::string cause = causeOfRefusal(path);
    if (!cause.empty()) {
      output.record("kVexaGetCapFileParam", result);
      throw Failure(path + ": is no capture-parameter file: " + cause, ExitCode::file,
                    "kvexa params explain shows the whole file");
    }
  }
  output.step("kVexaGetCapFileParam", result, path);
  return parameters;
}

FrameLayout layoutOf(Output& output, const CapParam& parameters) {
  FrameLayout frame;
  frame.bits = parameters.BITWIDTH;
  const std::int32_t result = kVexaCalcFrameSizeEx(&parameters, &frame.bytes, &frame.unit, &frame.width,
                                                   &frame.height, KVEXA_ALIGN_512);
  output.record("kVexaCalcFrameSizeEx", result);
  if (result < 0) {
    throw Failure("the capture parameters have no frame size: " + describeFormat(parameters), ExitCode::file,
                  "INPUTFORMAT, BITWIDTH and SPACK must go together, and the area must not be empty");
  }
  output.detail("frame", format("%u x %u, %u byte%s a sample, %u bytes", frame.width, frame.height,
                                frame.unit, frame.unit == 1 ? "" : "s", frame.bytes));
  output.put("frame/width", frame.width);
  output.put("frame/height", frame.height);
  output.put("frame/unitBytes", frame.unit);
  output.put("frame/bytes", frame.bytes);
  output.put("frame/bits", frame.bits);
  return frame;
}

void playRegisters(const Board& board, const std::string& registers) {
  const std::string cause = causeOfMisplay(registers);
  if (!cause.empty()) {
    throw Failure(registers + ": " + cause, ExitCode::file, "kvexa regs explain shows the whole file");
  }
  board.output().step("kVexaSetI2cFile", kVexaSetI2cFile(registers.c_str(), board.handle()), registers);
}

void setUpSensor(const Board& board, const std::string& registers, const CapParam& parameters) {
  playRegisters(board, registers);
  board.step("kVexaSetCapParam", kVexaSetCapParam(board.handle(), &parameters));
}

double measureRate(const Board& board) {
  const double rate = kVexaGetFrameRate(board.handle());
  board.step("kVexaGetFrameRate", rate < 0 ? static_cast<std::int32_t>(rate) : KVEXA_OK);
  board.output().detail("frame rate", format("%.2f frames a second", rate));
  board.output().put("frameRate", rate);
  return rate;
}

}  // namespace cli
