/* What every program that takes the library checks, in plain C without a run-time library: the numbers of
 * boards, results, doubles and an image come across, whatever compiler and import library the program has.
 * There is no board where these programs run. */
#ifndef KVEXA_CONSUMER_CHECKS_H
#define KVEXA_CONSUMER_CHECKS_H

#include <kvexa.h>

/* Every function of the export table links. */
typedef void (*AnyFunction)(void);
static const AnyFunction everyFunction[] = {
#define EXPORT(name, convention, words) (AnyFunction) name,
#define EXPORT_ALIAS(name, function, words) (AnyFunction) name,
#include "exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
};

static uint8_t grey[16 * 16];
static uint8_t colour[16 * 16 * 3];
static CapParam parameters;

static int imageIsWrong(void) {
  unsigned i;
  for (i = 0; i < sizeof grey; ++i) grey[i] = 100;
  if (kVexaRaw8ToRgb888(grey, colour, 16, 16, KVEXA_BAYER_RGGB) != KVEXA_OK) return 1;
  for (i = 0; i < sizeof colour; ++i) {
    if (colour[i] != 100) return 1;
  }
  return 0;
}

static int sizeIsWrong(void) {
  uint32_t bytes = 0, unit = 0, width = 0, height = 0;
  parameters.HCNT = 640;
  parameters.VCNT = 480;
  parameters.BITWIDTH = 8;
  parameters.INPUTFORMAT = 1;
  return kVexaCalcFrameSizeEx(&parameters, &bytes, &unit, &width, &height, KVEXA_ALIGN_512) != KVEXA_OK ||
         bytes != 640 * 480 || unit != 1 || width != 640 || height != 480;
}

/* The number of the first check that fails, 0 when none does. */
static int failedCheck(void) {
  BoardHandle board = {0, 2, 7};
  uint32_t usb = 9, pcie = 9, count = 0;
  uint8_t byte = 0;
  unsigned i;
  for (i = 0; i < sizeof everyFunction / sizeof everyFunction[0]; ++i) {
    if (everyFunction[i] == 0) return 1;
  }
  if (kVexaDevNum(&usb, &pcie) != 0 || usb != 0 || pcie != 0) return 2;
  if (kVexaDevOpen(KVEXA_BOARD_USB, 0, &board) != KVEXA_OPEN_FAILED) return 3;
  if (kVexaDevOpen(2, 0, &board) != KVEXA_BAD_ARGUMENT || board.boardIndex != 7) return 4;
  if (kVexaPowerV1On(0) != KVEXA_BAD_ARGUMENT || kVexaPowerV1On(&board) != KVEXA_BAD_ARGUMENT) return 5;
  if (kVexaGetFrameRate(&board) != -54.0) return 6;
  if (kVexaSetHV(&board, 1, 2, 3, 4) != -54.0) return 7;
  if (kVexaSetBufSize(&board, 16.0) != KVEXA_BAD_ARGUMENT) return 8;
  if (kUsbGetData(0, 0, &count, &byte, 10) != KVEXA_FAILED) return 9;
  if (sizeIsWrong()) return 10;
  if (imageIsWrong()) return 11;
  return 0;
}

#endif
