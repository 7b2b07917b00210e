#include "cli/frames/OneShot.h"

#include <algorithm>
#include <string>

#include "cli/base/Failure.h"

namespace cli {

std::vector<std::uint8_t> captureFrame(const Board& board, const FrameLayout& frame, std::uint32_t timeout) {
  // A USB board does not report that no frame came: the buffer then still holds its mark.
  constexpr std::uint8_t mark = 0xA5;
  std::vector<std::uint8_t> raw(frame.bytes, mark);
  board.step("kVexaOneShotCapture", kVexaOneShotCapture(board.handle(), frame.bytes, raw.data(), timeout));
  if (std::ranges::all_of(raw, [](std::uint8_t byte) { return byte == mark; })) {
    throw Failure("no frame came within " + std::to_string(timeout) + " ms; does the sensor stream?",
                  ExitCode::timeLimit,
                  "look at the last line of the register-setting file, and at --timeout");
  }
  return raw;
}

std::optional<AutoActual> measureFrames(const Board& board, double rate, std::uint32_t timeout) {
  Output& output = board.output();
  output.put("measured", nullptr);
  if (board.isUsb() && !(rate > 0)) return std::nullopt;
  AutoActual actual{};
  const std::int32_t result = kVexaAutoActualEx(board.handle(), &actual, timeout);
  output.record("kVexaAutoActualEx", result);
  if (result == KVEXA_TIMED_OUT || result == KVEXA_MEASURE_FAILED) return std::nullopt;
  require("kVexaAutoActualEx", result);
  output.put("measured/width", actual.firstDimension);
  output.put("measured/height", actual.secondDimension);
  output.put("measured/frameRate", actual.frameRate);
  return actual;
}

}  // namespace cli
