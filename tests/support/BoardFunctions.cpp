#include "tests/support/BoardFunctions.h"

#include <cstdint>

namespace kvexa::test {

namespace {

// Room for whatever a function reads or writes through its pointer.
std::uint32_t words[8];

// What goes to a board is the same whatever was read before.
const std::uint32_t written[8] = {5, 6, 7, 8, 9, 10, 11, 12};
double coefficients[13];
std::uint8_t frame[4096];
const std::uint32_t pattern = 1;
void* const buffers[] = {frame};
void* const events[] = {nullptr, nullptr};
std::int32_t resultWord;

CapParam capParam() {
  CapParam param{};
  param.HCNT = 64;
  param.VCNT = 64;
  param.BITWIDTH = 8;
  return param;
}

double setCapParam(const BoardHandle* board) {
  const CapParam param = capParam();
  return kVexaSetCapParam(board, &param);
}

double powerControl(const BoardHandle* board) {
  PowerSequence sequence{};
  sequence.stepCount = 2;
  return kVexaPowerControl(board, &sequence);
}

double manyRegWrite(const BoardHandle* board) {
  RegisterBatchEntry entry{0x10, written, 2};
  RegisterBatch batch{0x36, 1, &entry, 1};
  return kVexaManyRegWrite(board, &batch);
}

double fpgaRead(const BoardHandle* board) { return kVexaFpgaRead(board, 0x000A, 2, words); }
double fpgaWrite(const BoardHandle* board) { return kVexaFpgaWrite(board, 0x0504, 2, written); }

double regRead(const BoardHandle* board) { return kVexaRegRead(board, 0x80, 2, 0, 2, words); }
double regWrite(const BoardHandle* board) { return kVexaRegWrite(board, 0x80, 2, 0, 2, written); }
double regReadS(const BoardHandle* board) { return kVexaRegReadS(board, 0x6D, 0, 1, 2, words); }
double regWriteS(const BoardHandle* board) { return kVexaRegWriteS(board, 0x6C, 0, 1, 2, written); }

double switchStatus(const BoardHandle* board,
                    int32_t(KVEXA_CALL* function)(const BoardHandle*, SwitchStatus*)) {
  SwitchStatus status;
  return function(board, &status);
}

double supplyStatus(const BoardHandle* board) {
  SupplyStatus status;
  return kVexaGetSupplyStatus(board, &status);
}

double multiShotCaptureEx(const BoardHandle* board) {
  return kVexaMultiShotCaptureEx(board, 4096, 1, frame, 100, nullptr, nullptr, nullptr);
}

double multiShotCapture2(const BoardHandle* board) {
  return kVexaMultiShotCapture2(board, 4096, 1, 0, frame, 100, nullptr, nullptr, nullptr);
}

double multiShotCaptureArratEx(const BoardHandle* board) {
  return kVexaMultiShotCaptureArratEx(board, 4096, 1, buffers, 100, events, &resultWord);
}

double multiShotCapArrayStart(const BoardHandle* board) {
  return kVexaMultiShotCapArrayStart(board, 4096, 1, buffers, 100, events, &resultWord);
}

double autoActual(const BoardHandle* board) {
  AutoActual actual;
  return kVexaAutoActual(board, &actual);
}

double autoActualEx(const BoardHandle* board) {
  AutoActual actual;
  return kVexaAutoActualEx(board, &actual, 0);
}

constexpr auto returned = OnRefusal::returned;
constexpr auto ignored = OnRefusal::ignored;
constexpr auto special = OnRefusal::special;
constexpr auto notOnPcie = OnPcie::notOnPcie;
constexpr auto nothingToDo = OnPcie::nothingToDo;
constexpr auto served = OnPcie::served;

}  // namespace

const std::vector<BoardFunction>& boardFunctions() {
  using Board = const BoardHandle*;
  static const std::vector<BoardFunction> functions = {
      {"kVexaRegRead", regRead, returned, served},
      {"kVexaRegWrite", regWrite, returned, served},
      {"kVexaRegReadS", regReadS, returned, served},
      {"kVexaRegWriteS", regWriteS, returned, served},
      {"kVexaManyRegWrite", manyRegWrite, ignored, nothingToDo},
      {"kVexaFpgaRead", fpgaRead, returned, served},
      {"kVexaFpgaWrite", fpgaWrite, returned, served},
      {"kVexaSetI2cFile", [](Board b) -> double { return kVexaSetI2cFile("no such file", b); }, special,
       served},
      {"kVexaOneShotCapture", [](Board b) -> double { return kVexaOneShotCapture(b, 4096, frame, 100); },
       special, served},
      {"kVexaAutoActual", autoActual, special, served},
      {"kVexaAutoActualEx", autoActualEx, ignored, served},
      {"kVexaCscSet", [](Board b) -> double { return kVexaCscSet(b, coefficients); }, ignored, served},
      {"kVexaSetCapParam", setCapParam, returned, served},
      {"kVexaLocalReset", [](Board b) -> double { return kVexaLocalReset(b); }, ignored, nothingToDo},
      {"kVexaEp2Flash", [](Board b) -> double { return kVexaEp2Flash(b); }, ignored, nothingToDo},
      {"kVexaWaitVSync", [](Board b) -> double { return kVexaWaitVSync(b, 1); }, ignored, nothingToDo},
      {"kVexaStatusClear", [](Board b) -> double { return kVexaStatusClear(b); }, ignored, nothingToDo},
      {"kVexaStatusRead", [](Board b) -> double { return kVexaStatusRead(b, words); }, special, nothingToDo},
      {"kVexaSetI2Cspeed", [](Board b) -> double { return kVexaSetI2Cspeed(b, 1); }, ignored, served},
      {"kVexaPowerV1Off", [](Board b) -> double { return kVexaPowerV1Off(b); }, returned, served},
      {"kVexaPowerV1On", [](Board b) -> double { return kVexaPowerV1On(b); }, returned, served},
      {"kVexaPowerV2Off", [](Board b) -> double { return kVexaPowerV2Off(b); }, returned, served},
      {"kVexaPowerV2On", [](Board b) -> double { return kVexaPowerV2On(b); }, returned, served},
      {"kVexaClockOff", [](Board b) -> double { return kVexaClockOff(b); }, returned, served},
      {"kVexaClockOn", [](Board b) -> double { return kVexaClockOn(b); }, returned, served},
      {"kVexaResetOff", [](Board b) -> double { return kVexaResetOff(b); }, returned, served},
      {"kVexaResetOn", [](Board b) -> double { return kVexaResetOn(b); }, returned, served},
      {"kVexaI2cOff", [](Board b) -> double { return kVexaI2cOff(b); }, returned, served},
      {"kVexaI2cOn", [](Board b) -> double { return kVexaI2cOn(b); }, returned, served},
      {"kVexaPowerSwControlOff", [](Board b) -> double { return kVexaPowerSwControlOff(b); }, returned,
       served},
      {"kVexaPowerSwControlOn", [](Board b) -> double { return kVexaPowerSwControlOn(b); }, returned, served},
      {"kVexaGetV1Status", [](Board b) { return switchStatus(b, kVexaGetV1Status); }, returned, served},
      {"kVexaGetV2Status", [](Board b) { return switchStatus(b, kVexaGetV2Status); }, returned, served},
      {"kVexaGetClockStatus", [](Board b) { return switchStatus(b, kVexaGetClockStatus); }, returned, served},
      {"kVexaGetResetStatus", [](Board b) -> double { return kVexaGetResetStatus(b, words); }, returned,
       served},
      {"kVexaGetI2cStatus", [](Board b) -> double { return kVexaGetI2cStatus(b, words); }, returned, served},
      {"kVexaGetSupplyStatus", supplyStatus, returned, served},
      {"kVexaGetHwDipStatus", [](Board b) -> double { return kVexaGetHwDipStatus(b, words); }, returned,
       served},
      {"kVexaGetSwDipStatus", [](Board b) -> double { return kVexaGetSwDipStatus(b, words); }, returned,
       served},
      {"kVexaSetSwDip", [](Board b) -> double { return kVexaSetSwDip(b, written); }, returned, served},
      {"kVexaBayerToRgbEnable", [](Board b) -> double { return kVexaBayerToRgbEnable(b); }, returned,
       nothingToDo},
      {"kVexaBayerToRgbDisable", [](Board b) -> double { return kVexaBayerToRgbDisable(b); }, returned,
       nothingToDo},
      {"kVexaBayerToRgbPatternSelect",
       [](Board b) -> double { return kVexaBayerToRgbPatternSelect(b, &pattern); }, returned, nothingToDo},
      {"kVexaGetVersion",
       [](Board b) -> double { return kVexaGetVersion(b, &words[0], &words[1], &words[2], &words[3]); },
       special, served},
      {"kVexaGetFrameRate", [](Board b) { return kVexaGetFrameRate(b); }, special, served},
      {"kVexaSetHV", [](Board b) { return kVexaSetHV(b, 1, 2, 3, 4); }, ignored, nothingToDo},
      {"kVexaI2cRecovery", [](Board b) -> double { return kVexaI2cRecovery(b); }, ignored, nothingToDo},
      {"kVexaRecovery", [](Board b) -> double { return kVexaRecovery(b); }, ignored, nothingToDo},
      {"kVexaGetUsbStatus", [](Board b) -> double { return kVexaGetUsbStatus(b, frame); }, special,
       nothingToDo},
      {"kVexaPowerControl", powerControl, ignored, served},
      {"kVexaIsDropFrame", [](Board b) -> double { return kVexaIsDropFrame(b); }, ignored, nothingToDo},
      {"kVexaSetDout", [](Board b) -> double { return kVexaSetDout(b, 5); }, returned, served},
      {"kVexaGetDout", [](Board b) -> double { return kVexaGetDout(b, words); }, returned, served},
      {"kVexaGetDin", [](Board b) -> double { return kVexaGetDin(b, words); }, returned, served},
  };
  return functions;
}

const std::vector<BoardFunction>& captureFunctions() {
  using Board = const BoardHandle*;
  static const std::vector<BoardFunction> functions = {
      {"kVexaMultiShotCaptureEx", multiShotCaptureEx, special, served},
      {"kVexaMultiShotCapture2", multiShotCapture2, special, served},
      {"kVexaMultiShotCaptureArratEx", multiShotCaptureArratEx, special, notOnPcie},
      {"kVexaMultiShotStorage",
       [](Board b) -> double { return kVexaMultiShotStorage(b, 4096, 1, frame, 100); }, special, notOnPcie},
      {"kVexaAbortCapture", [](Board b) -> double { return kVexaAbortCapture(b); }, special, served},
      {"kVexaMultiShotCapArrayStart", multiShotCapArrayStart, special, notOnPcie},
      {"kVexaMultiShotCapArrayStop", [](Board b) -> double { return kVexaMultiShotCapArrayStop(b); }, special,
       notOnPcie},
      {"kVexaSetBufSize", [](Board b) -> double { return kVexaSetBufSize(b, 1.0); }, special, notOnPcie},
      {"kVexaFrmDropStop", [](Board b) -> double { return kVexaFrmDropStop(b, 1); }, special, notOnPcie},
  };
  return functions;
}

const std::vector<BoardFunction>& pcieFunctions() {
  using Board = const BoardHandle*;
  static std::uint32_t overlapped[5];  // never sent: the boards here refuse it
  static const std::vector<BoardFunction> functions = {
      {"kDBGLutDataWrite", [](Board b) -> double { return kDBGLutDataWrite(b, 1, written); }, special,
       served},
      {"kDBGLutDataRead", [](Board b) -> double { return kDBGLutDataRead(b, 1, words); }, special, served},
      {"kVexaSetWaitIntervalParam", [](Board b) -> double { return kVexaSetWaitIntervalParam(b, 4); },
       special, served},
      {"kVexaWaitInterval", [](Board b) -> double { return kVexaWaitInterval(b, overlapped); }, special,
       served},
      {"kVexaCancelInterval", [](Board b) -> double { return kVexaCancelInterval(b); }, special, served},
      {"kVexaSetWaitAckTimes", [](Board b) -> double { return kVexaSetWaitAckTimes(b, 10); }, special,
       served},
      {"kVexaLockMemory", [](Board b) -> double { return kVexaLockMemory(b, 0x1000, 4096); }, special,
       served},
      {"kVexaUnlockMemory", [](Board b) -> double { return kVexaUnlockMemory(b, 0x1000, 4096); }, special,
       served},
  };
  return functions;
}

}  // namespace kvexa::test
