/* A test station with a mistake: a picture that did not come is an error of its own. MENDED is the same
 * program without it, PATIENT one that waits until there is a board. station sensor.csv capture.dat */
#include <kvexa.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

enum { noFrame = 5, internalError = 70 };

static int look(const BoardHandle* board, const CapParam* param) {
  uint32_t bytes, unit, width, height, i, brightest = 0;
  uint8_t* frame;
  if (kVexaCalcFrameSizeEx(param, &bytes, &unit, &width, &height, KVEXA_ALIGN_512) < 0) return internalError;
  frame = calloc(bytes, 1);
  if (frame == NULL || kVexaOneShotCapture(board, bytes, frame, 200) < 0) return internalError;
  for (i = 0; i < bytes; ++i) {
    if (frame[i] > brightest) brightest = frame[i];
  }
  free(frame);
#ifdef MENDED
  if (brightest == 0) {
    fprintf(stderr, "no frame came; does the sensor stream?\n");
    return noFrame;
  }
#endif
  if (brightest == 0) {
    fprintf(stderr, "internal error: the picture is empty\n");
    return internalError;
  }
  printf("brightest sample: %u\n", (unsigned)brightest);
  return 0;
}

static int test(const BoardHandle* board, const char* registers, const CapParam* param) {
  if (kVexaSetI2cFile(registers, board) < 0 || kVexaSetCapParam(board, param) < 0) return internalError;
  return look(board, param);
}

int main(int argc, char** argv) {
  BoardHandle board;
  CapParam param;
  int code;
  if (argc != 3 || kVexaGetCapFileParam(argv[2], &param) < 0) return 2;
  while (kVexaDevOpen(KVEXA_BOARD_USB, 0, &board) < 0) {
#ifdef PATIENT
    Sleep(10);
#else
    return 2;
#endif
  }
  kVexaPowerV1On(&board);
  kVexaPowerV2On(&board);
  kVexaClockOn(&board);
  kVexaResetOff(&board);
  code = test(&board, argv[1], &param);
  kVexaResetOn(&board);
  kVexaClockOff(&board);
  kVexaPowerV2Off(&board);
  kVexaPowerV1Off(&board);
  kVexaDevClose(&board);
  return code;
}
