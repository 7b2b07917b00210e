// A C++ program with the owners of kvexa.hpp.
#include <cstdio>
#include <kvexa.hpp>

#include "checks.h"

namespace {

bool errorTellsWhatHappened() {
  try {
    const kvexa::Board board(KVEXA_BOARD_PCIE, 3);
  } catch (const kvexa::Error& error) {
    return error.result() == KVEXA_OPEN_FAILED &&
           std::string(error.what()) ==
               "kVexaDevOpen returned -50 (no such board, or its driver would not open it)";
  }
  return false;
}

bool closedBoardIsRefused() {
  kvexa::Board board;
  kvexa::Board other(std::move(board));
  other = kvexa::Board();
  return !other.isOpen() && other.close() == KVEXA_OK && kVexaPowerV1On(other.handle()) == KVEXA_BAD_ARGUMENT;
}

bool captureNeedsABoard() {
  const kvexa::Board board;
  kvexa::CaptureSession session(board, 4096, 3, 100);
  return session.start() == KVEXA_BAD_ARGUMENT && session.next() == kvexa::CaptureSession::Next::ended &&
         session.stop() == KVEXA_BAD_ARGUMENT;
}

bool imageIsConverted() {
  const std::vector<std::uint8_t> frame(64 * 48, 77);
  kvexa::Image image(64, 48);
  return image.fromBayer8(frame.data(), KVEXA_BAYER_GBRG) == KVEXA_OK &&
         image.pixels()[64 * 48 * 3 - 1] == 77;
}

bool picturesAreRefusedWithoutAName() {
  const kvexa::Image image(8, 8);
  return image.saveJpeg("", 90) < 0 && image.saveBmp("") < 0;
}

bool codesHaveTexts() {
  return kvexa::describe(KVEXA_ABORTED) == "-58 (the capture was aborted)" && kvexa::describe(-99) == "-99" &&
         kvexa::findResult(-99) == nullptr && *kvexa::findResult(KVEXA_BUSY)->advice != '\0';
}

}  // namespace

int main() {
  int failed = failedCheck();
  if (failed == 0 && !errorTellsWhatHappened()) failed = 21;
  if (failed == 0 && !closedBoardIsRefused()) failed = 22;
  if (failed == 0 && !captureNeedsABoard()) failed = 23;
  if (failed == 0 && !imageIsConverted()) failed = 24;
  if (failed == 0 && !codesHaveTexts()) failed = 25;
  if (failed == 0 && !picturesAreRefusedWithoutAName()) failed = 26;
  if (failed != 0) std::printf("check %d failed\n", failed);
  return failed;
}
