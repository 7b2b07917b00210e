#include "FrameSetup.h"

#include <cstdio>
#include <fstream>

#include "Failure.h"

namespace cli {

void checkReadable(const std::string& path) {
  if (!std::ifstream(path, std::ios::binary)) throw Failure(path + ": cannot be opened");
}

CapParam readParameters(const std::string& path) {
  CapParam parameters{};
  const std::int32_t result = kVexaGetCapFileParam(path.c_str(), &parameters);
  if (result == KVEXA_BAD_FILE) {
    throw Failure(path +
                  ": is no capture-parameter file (the name must end in \"dat\", every key must be there, "
                  "every line must end in a line feed)");
  }
  step("kVexaGetCapFileParam", result);
  return parameters;
}

FrameLayout layoutOf(const CapParam& parameters) {
  FrameLayout frame;
  step("kVexaCalcFrameSizeEx", kVexaCalcFrameSizeEx(&parameters, &frame.bytes, &frame.bytesPerUnit,
                                                    &frame.width, &frame.height, KVEXA_ALIGN_512));
  std::printf("    frame                  %u x %u, %u byte%s a sample, %u bytes\n", frame.width, frame.height,
              frame.bytesPerUnit, frame.bytesPerUnit == 1 ? "" : "s", frame.bytes);
  return frame;
}

void setUpSensor(const Board& board, const std::string& registers, const CapParam& parameters) {
  step("kVexaSetI2cFile", kVexaSetI2cFile(registers.c_str(), board.handle()));
  step("kVexaSetCapParam", kVexaSetCapParam(board.handle(), &parameters));
}

double measureRate(const Board& board) {
  const double rate = kVexaGetFrameRate(board.handle());
  step("kVexaGetFrameRate", rate < 0 ? static_cast<std::int32_t>(rate) : KVEXA_OK);
  std::printf("    frame rate             %.2f frames a second\n", rate);
  return rate;
}

}  // namespace cli
