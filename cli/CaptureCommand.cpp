#include "CaptureCommand.h"

#include <kvexa.hpp>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "Board.h"
#include "Failure.h"
#include "FrameSetup.h"
#include "OutputFiles.h"

namespace cli {

namespace {

std::vector<std::uint8_t> captureFrame(const Board& board, const FrameLayout& frame, std::uint32_t timeout) {
  // A USB board does not report that no frame came: the buffer then still holds its mark.
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
  kvexa::Image colour(frame.width, frame.height);
  step("kVexaRaw8ToRgb888", colour.fromBayer8(raw.data(), pattern));
  const std::string path = files.name("frame.bmp");
  step("kVexaSaveBmpFile", colour.saveBmp(path));
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
  setUpSensor(board, options.registers, parameters);
  measureRate(board);
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
