// Looks at a hundred frames of a USB board, one after another: stream sensor.csv capture.dat
#include <cstdio>
#include <exception>
#include <kvexa.hpp>

namespace {

void bringUp(const kvexa::Board& board, const char* registers, const CapParam& param) {
  kvexa::require("kVexaPowerV1On", kVexaPowerV1On(board.handle()));
  kvexa::require("kVexaPowerV2On", kVexaPowerV2On(board.handle()));
  kvexa::require("kVexaClockOn", kVexaClockOn(board.handle()));
  kvexa::require("kVexaResetOff", kVexaResetOff(board.handle()));
  kvexa::require("kVexaSetI2cFile", kVexaSetI2cFile(registers, board.handle()));
  kvexa::require("kVexaSetCapParam", kVexaSetCapParam(board.handle(), &param));
}

void stream(const char* registers, const char* parameters) {
  CapParam param{};
  kvexa::require("kVexaGetCapFileParam", kVexaGetCapFileParam(parameters, &param));
  std::uint32_t bytes = 0, unit = 0, width = 0, height = 0;
  kvexa::require("kVexaCalcFrameSizeEx",
                 kVexaCalcFrameSizeEx(&param, &bytes, &unit, &width, &height, KVEXA_ALIGN_512));

  kvexa::Board board(KVEXA_BOARD_USB, 0);
  bringUp(board, registers, param);
  kvexa::require("kVexaSetBufSize", kVexaSetBufSize(board.handle(), 31.0));
  kvexa::CaptureSession session(board, bytes, 8, 1000);
  kvexa::require("kVexaMultiShotCapArrayStart", session.start());
  for (int frame = 0; frame < 100; ++frame) {
    if (session.next() == kvexa::CaptureSession::Next::ended)
      throw kvexa::Error("the capture", session.result());
    std::printf("frame %d: first sample %u\n", frame, session.frame()[0]);
    session.giveBack();
  }
  kvexa::require("kVexaMultiShotCapArrayStop", session.stop());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "stream sensor.csv capture.dat\n");
    return 2;
  }
  try {
    stream(argv[1], argv[2]);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
  }
}
