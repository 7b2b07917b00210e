// What every board function checks before it does anything.
#include <set>

#include "tests/support/BoardFixture.h"
#include "tests/support/BoardFunctions.h"

namespace kvexa::test {
namespace {

using Dispatch = BoardFixture;

std::vector<BoardFunction> allFunctions() {
  auto functions = boardFunctions();
  for (const auto* more : {&captureFunctions(), &pcieFunctions()}) {
    functions.insert(functions.end(), more->begin(), more->end());
  }
  return functions;
}

// Exports that have no BoardHandle, or have rules of their own for it.
const std::set<std::string> otherExports = {
    "kVexaDevNum",
    "kVexaDevOpen",
    "kVexaDevClose",
    "kVexaGetCapFileParam",
    "kVexaCalcFrameSize",
    "kVexaCalcFrameSizeEx",
    "kVexaRaw8ToRgb888",
    "kVexaSaveBinFile",
    "kVexaSaveBmpFile",
    "kVexaSaveJpegFile",
    "kVexaYuyvToRgb565",
    "kVexaYuyvToRgb888",
    "kVexaYuyvToRgb565Ex",
    "kVexaYuyvToRgb888Ex",
    "kVexaYuyvToMtxRgb565",
    "kVexaYuyvToMtxRgb888",
    "kVexaYuyv8ToRgbT2",
    "kVexaYuyv16ToRgbT2",
    "kVexaYuyv8ToMtxRgbT2",
    "kVexaYuyv16ToMtxRgbT2",
    "kVexaRaw8ToRgb565",
    "kVexaRaw8ToMtxRgb565",
    "kVexaRaw8ToMtxRgb888",
    "kVexaRaw8ToMtxRgb565Ex",
    "kVexaRaw8ToMtxRgb888Ex",
    "kVexaRaw16ToRgb565",
    "kVexaRaw16ToRgb888",
    "kVexaRaw16ToMtxRgb565",
    "kVexaRaw16ToMtxRgb888",
    "kVexaRaw16ToMtxRgb565Ex",
    "kVexaRaw16ToMtxRgb888Ex",
    "kVexaReloadPcieDevice",
    "kVexaReloadPcieDeviceEx",
    "kUsbExCmd",
    "kUsbIniFileToBuf",
    "kUsbBufToReg",
    "kUsbGetData",
};

TEST(ExportTable, EveryExportWithABoardIsTestedHere) {
  std::set<std::string> tested = otherExports;
  for (const auto& function : allFunctions()) tested.insert(function.name);
  const std::set<std::string> exported = {
#define EXPORT(name, convention, words) #name,
#define EXPORT_ALIAS(name, function, words) #name,
#include "src/api/exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
  };
  EXPECT_EQ(exported, tested);
}

TEST_F(Dispatch, NullBoardIsRefusedByEveryFunction) {
  for (const auto& function : allFunctions()) EXPECT_EQ(-54.0, function.call(nullptr)) << function.name;
  EXPECT_EQ("", trace());
}

TEST_F(Dispatch, ZeroDriverHandleIsRefusedWhateverTheType) {
  for (const std::uint32_t type : {0U, 1U, 2U}) {
    const BoardHandle closed{nullptr, type, 0};
    for (const auto& function : allFunctions()) {
      EXPECT_EQ(-54.0, function.call(&closed)) << function.name << ", type " << type;
    }
  }
}

TEST_F(Dispatch, UnknownTypeIsRefusedAndNothingIsSent) {
  for (const std::uint32_t type : {2U, 0xFFFFFFFFU}) {
    BoardHandle strange = handle;
    strange.boardType = type;
    for (const auto& function : allFunctions()) {
      EXPECT_EQ(-54.0, function.call(&strange)) << function.name << ", type " << type;
    }
  }
  EXPECT_EQ("", trace());
}

TEST_F(Dispatch, FunctionsOfPcieBoardsHaveACodeOfTheirOwnOnUsbBoards) {
  for (const auto& function : pcieFunctions()) EXPECT_EQ(-101.0, function.call(&handle)) << function.name;
  EXPECT_EQ("", trace());
}

TEST_F(Dispatch, IntervalOfZeroIsRefusedBeforeTheBoardType) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetWaitIntervalParam(&handle, 0));
  EXPECT_EQ(KVEXA_NOT_ON_USB, kVexaSetWaitIntervalParam(&handle, 1));
}

TEST_F(Dispatch, NoFunctionChangesTheRecord) {
  const BoardHandle before = handle;
  for (const auto& function : boardFunctions()) {
    function.call(&handle);
    EXPECT_EQ(before.driverHandle, handle.driverHandle) << function.name;
    EXPECT_EQ(before.boardType, handle.boardType) << function.name;
    EXPECT_EQ(before.boardIndex, handle.boardIndex) << function.name;
  }
}

TEST_F(Dispatch, WrongBusSpeedIsRefusedWithAnyHandle) {
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2Cspeed(nullptr, 2));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2Cspeed(&handle, 2));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaSetI2Cspeed(&handle, 0xFFFFFFFF));
  EXPECT_EQ("", trace());
}

TEST_F(Dispatch, WrongParityOfTheBusFormIsRefused) {
  std::uint32_t word = untouched;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegReadS(&handle, 0x6C, 0, 1, 1, &word));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaRegWriteS(&handle, 0x6D, 0, 1, 1, &word));
  EXPECT_EQ(untouched, word);
  EXPECT_EQ("", trace());
}

// A pointer beside the handle: refused on an open board, with nothing sent.
TEST_F(Dispatch, NullArgumentsAreRefusedOnAnOpenBoard) {
  const BoardHandle* b = &handle;
  const auto refused = [this](const char* name, std::int32_t code) {
    EXPECT_EQ(KVEXA_BAD_ARGUMENT, code) << name;
    EXPECT_EQ("", trace()) << name;
  };
  refused("kVexaRegRead", kVexaRegRead(b, 0x36, 0, 1, 1, nullptr));
  refused("kVexaRegWrite", kVexaRegWrite(b, 0x36, 0, 1, 1, nullptr));
  refused("kVexaRegReadS", kVexaRegReadS(b, 0x6D, 0, 1, 1, nullptr));
  refused("kVexaRegWriteS", kVexaRegWriteS(b, 0x6C, 0, 1, 1, nullptr));
  refused("kVexaManyRegWrite", kVexaManyRegWrite(b, nullptr));
  refused("kVexaSetI2cFile", kVexaSetI2cFile(nullptr, b));
  refused("kVexaStatusRead", kVexaStatusRead(b, nullptr));
  refused("kVexaGetUsbStatus", kVexaGetUsbStatus(b, nullptr));
  refused("kVexaGetV1Status", kVexaGetV1Status(b, nullptr));
  refused("kVexaGetV2Status", kVexaGetV2Status(b, nullptr));
  refused("kVexaGetClockStatus", kVexaGetClockStatus(b, nullptr));
  refused("kVexaGetResetStatus", kVexaGetResetStatus(b, nullptr));
  refused("kVexaGetI2cStatus", kVexaGetI2cStatus(b, nullptr));
  refused("kVexaGetSupplyStatus", kVexaGetSupplyStatus(b, nullptr));
  refused("kVexaGetHwDipStatus", kVexaGetHwDipStatus(b, nullptr));
  refused("kVexaGetSwDipStatus", kVexaGetSwDipStatus(b, nullptr));
  refused("kVexaSetSwDip", kVexaSetSwDip(b, nullptr));
  refused("kVexaBayerToRgbPatternSelect", kVexaBayerToRgbPatternSelect(b, nullptr));
  refused("kVexaPowerControl", kVexaPowerControl(b, nullptr));
  refused("kVexaGetDout", kVexaGetDout(b, nullptr));
  refused("kVexaGetDin", kVexaGetDin(b, nullptr));
  refused("kVexaSetCapParam", kVexaSetCapParam(b, nullptr));
  refused("kVexaCscSet", kVexaCscSet(b, nullptr));
  refused("kVexaAutoActual", kVexaAutoActual(b, nullptr));
  refused("kVexaAutoActualEx", kVexaAutoActualEx(b, nullptr, 100));
  refused("kVexaOneShotCapture", kVexaOneShotCapture(b, 1024, nullptr, 100));
}

// The address goes out before the data are looked at, so only the code counts here.
TEST_F(Dispatch, BoardRegisterAccessRefusesNullAndEmptyData) {
  std::uint32_t word = untouched;
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaRead(&handle, 0x0A, 2, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaWrite(&handle, 0x0A, 2, nullptr));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaRead(&handle, 0x0A, 0, &word));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaWrite(&handle, 0x0A, 0, &word));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaRead(&handle, 0x0A, 65536, &word));
  EXPECT_EQ(KVEXA_BAD_ARGUMENT, kVexaFpgaWrite(&handle, 0x0A, 65536, &word));
  EXPECT_EQ(untouched, word);
}

}  // namespace
}  // namespace kvexa::test
