#include "CaptureCommand.h"

#include <kvexa.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <vector>

#include "Board.h"
#include "Failure.h"
#include "OutputFiles.h"

namespace cli {

namespace {

struct FrameLayout {
  std::uint32_t bytes = 0;
  std::uint32_t bytesPerUnit = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

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

void measure(const Board& board) {
  const double rate = kVexaGetFrameRate(board.handle());
  step("kVexaGetFrameRate", rate < 0 ? static_cast<std::int32_t>(rate) : KVEXA_OK);
  std::printf("    frame rate             %.2f frames a second\n", rate);
}

std::vector<std::uint8_t> captureFrame(const Board& board, const FrameLayout& frame, std::uint32_t timeout) {
  // A USB board does not tell when no frame comes: two buffers with different marks do.
  constexpr std::uint8_t mark = 0xA5;
  std::vector<std::uint8_t> raw(frame.bytes, mark);
  step("kVexaOneShotCapture", kVexaOneShotCapture(board.handle(), frame.bytes, raw.data(), timeout));
  if (std::ranges::all_of(raw, [](std::uint8_t byte) { return byte == mark; })) {
    throw Failure("no frame came within " + std::to_string(timeout) + " ms; does the sensor stream?");
  }
  return raw;
}

void savePicture(const FrameLayout& frame, const std::vector<std::uint8_t>& raw, std::uint32_t pattern,
                 OutputFiles& files) {
  std::vector<std::uint8_t> colour(std::size_t{3} * frame.width * frame.height);
  step("kVexaRaw8ToRgb888", kVexaRaw8ToRgb888(raw.data(), colour.data(), frame.width, frame.height, pattern));
  const std::string path = files.name("frame.bmp");
  const SaveRect all{0, 0, frame.width, frame.height};
  step("kVexaSaveBmpFile", kVexaSaveBmpFile(path.c_str(), colour.data(), frame.width, frame.height, &all,
                                            KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS));
  std::printf("    picture                %s\n", path.c_str());
}

}  // namespace

void capture(const CaptureOptions& options) {
  checkReadable(options.registers);
  checkReadable(options.parameters);
  OutputFiles files(options.folder);
  const CapParam parameters = readParameters(options.parameters);
  const FrameLayout frame = layoutOf(parameters);

  Board board(options.boardType, options.boardIndex);
  board.powerUp();
  step("kVexaSetI2cFile", kVexaSetI2cFile(options.registers.c_str(), board.handle()));
  step("kVexaSetCapParam", kVexaSetCapParam(board.handle(), &parameters));
  measure(board);
  const std::vector<std::uint8_t> raw = captureFrame(board, frame, options.timeout);
  board.powerDown();

  files.write("frame.raw", raw);
  if (frame.bytesPerUnit == 1) {
    savePicture(frame, raw, options.pattern, files);
  } else {
    std::printf("    no picture: the samples are not 8-bit Bayer, frame.raw holds them\n");
  }
  files.keep();
}

}  // namespace cli
