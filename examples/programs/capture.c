/* Captures one frame and saves it as a bitmap: capture sensor.csv capture.dat frame.bmp */
#include <kvexa.h>
#include <stdio.h>
#include <stdlib.h>

static int failed(const char* call, int32_t result) {
  if (result < 0) fprintf(stderr, "%s returned %d\n", call, (int)result);
  return result < 0;
}

/* The capture itself, with a board that is open. */
static int capture(const BoardHandle* board, const CapParam* param, const char* registers,
                   const char* picture) {
  uint32_t bytes, unit, width, height;
  uint8_t *frame, *colour;
  int wrong = failed("kVexaPowerV1On", kVexaPowerV1On(board)) ||
              failed("kVexaPowerV2On", kVexaPowerV2On(board)) ||
              failed("kVexaClockOn", kVexaClockOn(board)) || failed("kVexaResetOff", kVexaResetOff(board)) ||
              failed("kVexaSetI2cFile", kVexaSetI2cFile(registers, board)) ||
              failed("kVexaSetCapParam", kVexaSetCapParam(board, param)) ||
              failed("kVexaCalcFrameSizeEx",
                     kVexaCalcFrameSizeEx(param, &bytes, &unit, &width, &height, KVEXA_ALIGN_512));
  if (wrong) return 1;
  if (unit != 1) {
    fprintf(stderr, "this program converts 8-bit Bayer samples only\n");
    return 1;
  }
  frame = calloc(bytes, 1);
  colour = calloc((size_t)width * height, 3);
  if (frame != NULL && colour != NULL) {
    const SaveRect all = {0, 0, width, height};
    wrong = failed("kVexaOneShotCapture", kVexaOneShotCapture(board, bytes, frame, 1000)) ||
            failed("kVexaRaw8ToRgb888", kVexaRaw8ToRgb888(frame, colour, width, height, KVEXA_BAYER_GRBG)) ||
            failed("kVexaSaveBmpFile", kVexaSaveBmpFile(picture, colour, width, height, &all,
                                                        KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS));
  } else {
    wrong = 1;
  }
  free(colour);
  free(frame);
  return wrong;
}

int main(int argc, char** argv) {
  BoardHandle board;
  CapParam param;
  int wrong;
  if (argc != 4) {
    fprintf(stderr, "capture sensor.csv capture.dat frame.bmp\n");
    return 2;
  }
  if (failed("kVexaGetCapFileParam", kVexaGetCapFileParam(argv[2], &param)) ||
      failed("kVexaDevOpen", kVexaDevOpen(KVEXA_BOARD_USB, 0, &board))) {
    return 1;
  }
  wrong = capture(&board, &param, argv[1], argv[3]);
  kVexaPowerV1Off(&board);
  kVexaDevClose(&board);
  return wrong;
}
