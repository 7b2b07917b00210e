/* Captures one frame of the first USB board and saves it as a bitmap: capture [sensor.csv capture.dat
 * frame.bmp]
 *
 * Without arguments it plays the two files that stand beside the program, and writes frame.bmp into the
 * current folder. KVEXA_LIB.dll must stand beside the program.
 *
 *   i686-w64-mingw32-gcc -I../include capture.c -L../lib -lKVEXA_LIB -static -o capture.exe
 *   cl /I..\include capture.c ..\lib\KVEXA_LIB.lib
 */
#include <kvexa.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

static volatile LONG stopped;

/* Ctrl-C: the program goes on to its end, which powers the board down. */
static BOOL WINAPI onKey(DWORD key) {
  if (key != CTRL_C_EVENT && key != CTRL_BREAK_EVENT) return FALSE;
  InterlockedExchange(&stopped, 1);
  return TRUE;
}

static const struct {
  int32_t result;
  const char *text, *advice;
} results[] = {
#define KVEXA_RESULT(name, value, text, advice) {name, text, advice},
#include <kvexa_results.inc>
#undef KVEXA_RESULT
};

/* Says in words what went wrong, about a file or NULL. */
static int failed(const char* call, int32_t result, const char* file) {
  size_t i;
  if (stopped) {
    fprintf(stderr, "stopped\n");
    return 1;
  }
  if (result >= 0) return 0;
  if (file != NULL) fprintf(stderr, "%s: ", file);
  for (i = 0; i < sizeof results / sizeof results[0]; ++i) {
    if (results[i].result != result) continue;
    fprintf(stderr, "%s returned %d (%s)\n%s\n", call, (int)result, results[i].text, results[i].advice);
    return 1;
  }
  fprintf(stderr, "%s returned %d\n", call, (int)result);
  return 1;
}

static int powerUp(const BoardHandle* board) {
  return failed("kVexaPowerV1On", kVexaPowerV1On(board), NULL) ||
         failed("kVexaPowerV2On", kVexaPowerV2On(board), NULL) ||
         failed("kVexaClockOn", kVexaClockOn(board), NULL) ||
         failed("kVexaResetOff", kVexaResetOff(board), NULL);
}

static void powerDown(const BoardHandle* board) {
  kVexaResetOn(board);
  kVexaClockOff(board);
  kVexaPowerV2Off(board);
  kVexaPowerV1Off(board);
}

/* A USB board does not tell when no frame comes: the buffer then stays as it was. */
static int takeFrame(const BoardHandle* board, uint8_t* frame, uint32_t bytes) {
  static const int marks[] = {0xA5, 0x5A};
  uint32_t i, mark;
  for (mark = 0; mark < 2; ++mark) {
    memset(frame, marks[mark], bytes);
    if (failed("kVexaOneShotCapture", kVexaOneShotCapture(board, bytes, frame, 1000), NULL)) return 1;
    for (i = 0; i < bytes; ++i) {
      if (frame[i] != marks[mark]) return 0;
    }
  }
  return failed("kVexaOneShotCapture", KVEXA_TIMED_OUT, NULL);
}

static int savePicture(const BoardHandle* board, uint8_t* frame, uint8_t* colour, uint32_t bytes,
                       uint32_t width, uint32_t height, const char* picture) {
  const SaveRect all = {0, 0, width, height};
  return takeFrame(board, frame, bytes) ||
         failed("kVexaRaw8ToRgb888", kVexaRaw8ToRgb888(frame, colour, width, height, KVEXA_BAYER_GRBG),
                NULL) ||
         failed("kVexaSaveBmpFile",
                kVexaSaveBmpFile(picture, colour, width, height, &all, KVEXA_FORMAT_BGR24, KVEXA_BMP_24_BITS),
                picture);
}

/* The capture itself, with a board that is powered. */
static int capture(const BoardHandle* board, const CapParam* param, const char* registers,
                   const char* picture) {
  uint32_t bytes, unit, width, height;
  uint8_t *frame, *colour;
  int wrong = failed("kVexaSetI2cFile", kVexaSetI2cFile(registers, board), registers) ||
              failed("kVexaSetCapParam", kVexaSetCapParam(board, param), NULL) ||
              failed("kVexaCalcFrameSizeEx",
                     kVexaCalcFrameSizeEx(param, &bytes, &unit, &width, &height, KVEXA_ALIGN_512), NULL);
  if (wrong) return 1;
  if (unit != 1) {
    fprintf(stderr, "this program converts 8-bit Bayer samples only\n");
    return 1;
  }
  frame = malloc(bytes);
  colour = calloc((size_t)width * height, 3);
  if (frame != NULL && colour != NULL) {
    wrong = savePicture(board, frame, colour, bytes, width, height, picture);
  } else {
    fprintf(stderr, "there is no memory for a frame\n");
    wrong = 1;
  }
  free(colour);
  free(frame);
  return wrong;
}

/* The name of a file that stands beside the program. */
static const char* beside(const char* name, char* path) {
  const DWORD length = GetModuleFileNameA(NULL, path, MAX_PATH);
  char* slash;
  if (length == 0 || length >= MAX_PATH) return name;
  slash = strrchr(path, '\\');
  if (slash == NULL || (size_t)(slash + 1 - path) + strlen(name) >= MAX_PATH) return name;
  strcpy(slash + 1, name);
  return path;
}

int main(int argc, char** argv) {
  char paths[2][MAX_PATH];
  const char* registers = argc > 1 ? argv[1] : beside("sensor.csv", paths[0]);
  const char* parameters = argc > 2 ? argv[2] : beside("capture.dat", paths[1]);
  const char* picture = argc > 3 ? argv[3] : "frame.bmp";
  BoardHandle board;
  CapParam param;
  int wrong;
  if (argc > 4) {
    fprintf(stderr, "capture [sensor.csv capture.dat frame.bmp]\n");
    return 2;
  }
  SetConsoleCtrlHandler(onKey, TRUE);
  if (failed("kVexaGetCapFileParam", kVexaGetCapFileParam(parameters, &param), parameters) ||
      failed("kVexaDevOpen", kVexaDevOpen(KVEXA_BOARD_USB, 0, &board), NULL)) {
    return 1;
  }
  wrong = powerUp(&board) || capture(&board, &param, registers, picture);
  powerDown(&board);
  kVexaDevClose(&board);
  if (!wrong) printf("%s\n", picture);
  return wrong;
}
